// Recipes with URL loading, JSON and loops.
#include <poll.h>

#include <string>

#include "examples/cookbook/poll_run_loop.h"
#include "examples/cookbook/recipes.h"
#include "quorel/foundation/json_coding.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/timer.h"
#include "quorel/foundation/url_session.h"

using namespace quorel;
using namespace std::chrono_literals;

namespace cookbook {

// [url-protocol]
// Answers in place of the network, for one host.
struct Canned final : UrlProtocol {
    bool canInit(const URLRequest& request) const override { return request.url.host() == "canned.test"; }
    void startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) override {
        if (request.url.path() == "/broken") return client->didFail(URLError(URLError::Code::cannotConnectToHost));
        client->didReceiveResponse({request.url, 200, {}});
        client->didLoad(R"({"title":"Film","rate":1.5})");
        client->didFinishLoading();
    }
};
// [/url-protocol]

// [load-a-url]
Task<void> show(UrlSession& session, std::string address, std::string& screen) {
    try {
        const DataAndResponse reply = co_await session.data(URLRequest(URL::parse(address).value()));
        screen =
            reply.response.statusCode == 200 ? reply.data : "status " + std::to_string(*reply.response.statusCode);
    } catch (const URLError& error) {
        screen = error.what();  // a sentence; error.code() tells the cases apart
    }
}
// [/load-a-url]

void loadAURL() {
    RealRunLoop loop;
    UrlSession session;
    session.registerProtocol(std::make_shared<Canned>());
    std::string screen;
    startTask(loop, show(session, "https://canned.test/film", screen));
    expect(loop.runUntil([&] { return !screen.empty(); }, 30s) && screen.find("Film") != screen.npos, screen);
}

void answerRequests() {
    RealRunLoop loop;
    // [register-protocol]
    UrlSession session;
    session.registerProtocol(std::make_shared<Canned>());  // the one registered last is asked first
    // [/register-protocol]
    std::string screen;
    startTask(loop, show(session, "https://canned.test/broken", screen));
    expect(loop.runUntil([&] { return !screen.empty(); }, 30s), "an answer");
    expect(screen == URLError(URLError::Code::cannotConnectToHost).what(), screen);
}

// [json-struct]
struct Film {
    std::string title;                  // required
    double rate = 1;                    // required
    std::optional<std::string> poster;  // may be absent or null
    QUOREL_JSON_FIELDS(Film, title, rate, poster)
    bool operator==(const Film&) const = default;
};
// [/json-struct]

void codeJSON() {
    // [json-coding]
    const Film film = JSONDecoder().decode<Film>(R"({"title":"Film","rate":1.5,"unknown":[]})");
    const std::string text = JSONEncoder().encode(film);  // {"title":"Film","rate":1.5}
    try {
        JSONDecoder().decode<Film>(R"({"title":"Film","rate":"fast"})");
    } catch (const JSONError& error) {
        // error.code() is typeMismatch, error.path() is "rate"
        expect(error.code() == JSONError::Code::typeMismatch && error.path() == "rate", error.what());
    }
    // [/json-coding]
    expect(text == R"({"title":"Film","rate":1.5})", text);
}

void adaptAForeignLoop() {
    PollRunLoop loop;
    int ticks = 0;
    const auto timer = Timer::scheduled(loop, 0.01, Timer::Repeats::yes, [&](Timer&) { ++ticks; });
    UrlSession session;
    session.registerProtocol(std::make_shared<Canned>());
    std::string screen;
    startTask(loop, show(session, "https://canned.test/film", screen));
    // [foreign-loop-use]
    while (ticks < 3 || screen.empty()) {
        pollfd watched{.fd = loop.descriptor(), .events = POLLIN, .revents = 0};
        poll(&watched, 1, loop.timeout());
        loop.dispatch();
    }
    // [/foreign-loop-use]
    timer->invalidate();
    expect(screen.find("Film") != screen.npos, screen);
}

}  // namespace cookbook
