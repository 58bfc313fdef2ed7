// Trouble on demand: slow, failing and broken replies for the paths that match a pattern.
//
//   sandbox.setFault("/v1/videos/*", {.status = 503, .times = 2});      // twice, then all is well again
//   sandbox.setFault("/media/sample/*.ts", {.delay = 500ms, .broken = Fault::Broken::cut});
//
// The same from outside: a query on the request itself (?delay=500&status=503&broken=cut), or POST
// /_control/faults.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quorel/foundation/error.h"
#include "quorel/foundation/json.h"

namespace quorel::sandbox {

// A fault that cannot be had, told to whoever asked for it.
class FaultError : public Error {
public:
    using Error::Error;
};

struct Fault {
    enum class Broken {
        no,
        json,  // status 200 and half a JSON text
        cut,   // the reply announces its length, sends half of it and closes the connection
    };
    static constexpr std::chrono::milliseconds maximumDelay = std::chrono::minutes(10);

    std::chrono::milliseconds delay{0};  // before the reply, up to maximumDelay
    std::optional<int> status = {};      // instead of the reply; 200 to 599
    Broken broken = Broken::no;
    std::optional<int> times = {};  // how many requests it meets; absent for all

    bool operator==(const Fault&) const = default;

    // From names and values as a query or a JSON object has them: "delay" in milliseconds, "status", "broken" of
    // "json" or "cut", "times". Other names are passed over. Throws FaultError for a value that makes no sense.
    static Fault parse(const std::map<std::string, std::string>& values);
};

// The faults in force. Any thread.
class FaultTable {
public:
    // `pattern` is a shell pattern over the whole path, in which "*" also matches "/". A pattern that is set again
    // is replaced. Throws FaultError for a delay or a status out of range.
    void set(std::string pattern, Fault fault);
    void clear();
    // The fault that meets a request for `path`, counted; of several patterns the one set last.
    Fault take(std::string_view path);
    JSONArray list() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::pair<std::string, Fault>> faults_;
};

}  // namespace quorel::sandbox
