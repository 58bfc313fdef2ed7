// What arrives at the analytics ingest endpoint, held against what a ping is.
#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/foundation/http_headers.h"
#include "quorel/foundation/json.h"
#include "quorel/foundation/json_coding.h"

namespace quorel::sandbox {

// One ping as it arrived, and what was found wrong with it.
struct PingRecord {
    double received = 0;                // seconds since 1970
    std::optional<std::string> ssid;    // the header x-quorel-ssid
    std::vector<std::string> problems;  // each a sentence; empty for a ping that is as it should be
    JSONValue payload;                  // as it was sent; null when it is no JSON

    QUOREL_JSON_FIELDS(PingRecord, received, ssid, problems, payload)
    bool operator==(const PingRecord&) const = default;
};

// Looks at everything that a ping fixes: the header fields, the three objects with exactly their keys, the type of
// each value, and the values that are constant or repeat each other. A pure function; any thread.
PingRecord checkedPing(double received, const HTTPHeaders& headers, std::string_view body);

// Keeps the last `capacity` pings. Any thread.
class PingLog {
public:
    static constexpr std::size_t capacity = 200;

    // The oldest one goes when there are too many.
    void arrived(PingRecord record);
    std::vector<PingRecord> all() const;
    void clear();  // forgets all

private:
    mutable std::mutex mutex_;
    std::deque<PingRecord> records_;
};

}  // namespace quorel::sandbox
