// Trouble on demand: slow, failing and broken replies for the paths that match a pattern.
//
//   sandbox.setFault("/v1/videos/*", {.status = 503, .times = 2});      // twice, then all is well again
//   sandbox.setFault("/media/sample/*.ts", {.delay = 500ms, .broken = Fault::Broken::cut});
//   sandbox.setChaos(Chaos{.seed = 7, .rate = 0.3});                    // any of them, by chance
//
// The same from outside: a query on the request itself (?delay=500&status=503&broken=cut), or POST
// /_control/faults.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
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

// What is wrong with a reply.
struct Fault {
    // How the body is broken.
    enum class Broken {
        no,
        json,     // status 200 and half a JSON text
        cut,      // the reply announces its length, sends half of it and closes the connection
        stall,    // the same, with the delay in the middle instead of before
        garbage,  // as many bytes as the reply has, and none of them its own
        lie,      // status 200 and a web page
        loop,     // a redirect to where it comes from
    };
    static constexpr std::chrono::milliseconds maximumDelay = std::chrono::minutes(10);

    std::chrono::milliseconds delay{0};  // before the reply, up to maximumDelay
    std::optional<int> status = {};      // instead of the reply; 200 to 599
    Broken broken = Broken::no;
    std::optional<int> times = {};  // how many requests it meets; absent for all

    bool operator==(const Fault&) const = default;

    // From names and values as a query or a JSON object has them: "delay" in milliseconds, "status", "broken" as the
    // cases are called, "times". Other names are passed over. Throws FaultError for a value that makes no sense.
    static Fault parse(const std::map<std::string, std::string>& values);
};

// Trouble by chance: which fault meets a request follows from the seed, the path and how often the path was asked for,
// whatever else is asked for meanwhile. The same seed gives the same trouble.
struct Chaos {
    std::uint64_t seed = 0;                        // any number
    double rate = 0;                               // of the requests that meet a fault, 0 to 1
    std::chrono::milliseconds longestDelay{2000};  // of those that are slow or stall

    bool operator==(const Chaos&) const = default;

    // `count` is how many requests for the path came before.
    Fault fault(std::string_view path, std::uint64_t count) const;
};

// The faults in force. Any thread.
class FaultTable {
public:
    // `pattern` is a shell pattern over the whole path, in which "*" also matches "/". A pattern that is set again
    // is replaced. Throws FaultError for a delay or a status out of range.
    void set(std::string pattern, Fault fault);
    void clear();
    // For the requests that no pattern matches; absent ends it. Counts anew. Throws FaultError for a rate out of range.
    void setChaos(std::optional<Chaos> chaos);
    // The fault that meets a request for `path`, counted; of several patterns the one set last.
    Fault take(std::string_view path);
    JSONArray list() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::pair<std::string, Fault>> faults_;
    std::optional<Chaos> chaos_;
    std::map<std::string, std::uint64_t, std::less<>> counts_;  // of requests by path, since chaos_ was set
};

}  // namespace quorel::sandbox
