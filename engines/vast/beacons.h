// Private to this room. Tracking requests: each URL asked for once, those of one server in the order in which they were
// given; an answer is not looked at. Main thread, but they outlive whoever sends them.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "engines/vast/vast.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_session.h"

namespace quorel::vast {

// What the macros of a URL stand for; those without a value here stay as they are (VAST 4.2, 6).
struct Macros {
    std::optional<ErrorCode> errorCode = {};
    std::optional<double> adPlayhead = {};       // seconds
    std::optional<double> contentPlayhead = {};  // seconds
    std::string assetURL = {};
};

std::vector<std::string> urlsOf(const std::vector<Tracking>& trackings, std::string_view event);

class Beacons : public std::enable_shared_from_this<Beacons> {
public:
    Beacons(RunLoop& loop, std::weak_ptr<UrlSession> session, double timeout)
        : loop_(loop), session_(std::move(session)), timeout_(timeout), random_(std::random_device{}()) {}

    void send(const std::vector<std::string>& urls, const Macros& macros = {});
    // [ERRORCODE], [CACHEBUSTING], [TIMESTAMP], [ADPLAYHEAD], [MEDIAPLAYHEAD], [CONTENTPLAYHEAD] and [ASSETURI], each
    // percent-encoded.
    std::string expanded(const std::string& url, const Macros& macros = {});

private:
    void sendNext(const std::string& server);

    RunLoop& loop_;
    const std::weak_ptr<UrlSession> session_;
    const double timeout_;
    std::mt19937 random_;
    std::map<std::string, std::deque<URL>> waiting_;  // by server; the first one is under way
};

}  // namespace quorel::vast
