// What arrived at the sandbox, for tests and for people who want to see what a player asks for. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/foundation/json_coding.h"

namespace quorel::sandbox {

// One request and its answer.
struct RequestRecord {
    std::string method;
    std::string path;                          // percent escapes as sent, without the query
    std::optional<std::string> authorization;  // the header as sent
    std::optional<std::string> range;          // the header as sent
    std::optional<int> status;                 // of the reply; absent while it is being made

    QUOREL_JSON_FIELDS(RequestRecord, method, path, authorization, range, status)
    bool operator==(const RequestRecord&) const = default;
};

// Keeps the last `capacity` requests, in the order of their arrival.
class RequestLog {
public:
    static constexpr std::size_t capacity = 1000;

    std::uint64_t arrived(RequestRecord record);  // gives the request's number
    // Adds the status to the request of that number.
    void answered(std::uint64_t number, int status);
    std::vector<RequestRecord> all() const;
    void clear();  // forgets all

private:
    mutable std::mutex mutex_;
    std::deque<RequestRecord> records_;
    std::uint64_t first_ = 0;  // the number of records_.front()
};

}  // namespace quorel::sandbox
