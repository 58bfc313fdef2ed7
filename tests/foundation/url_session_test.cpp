#include "quorel/foundation/url_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <future>
#include <stdexcept>

#include "quorel/foundation/run_loop.h"
#include "tests/foundation/scripted_server.h"

namespace quorel {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using Code = URLError::Code;
using Reply = ScriptedServer::Reply;

struct Outcome {
    std::optional<DataAndResponse> reply;
    std::optional<Code> error;
    std::string text;  // of the error
};

Outcome outcomeOf(UrlSession::Result result) {
    if (auto* reply = std::get_if<DataAndResponse>(&result)) return {std::move(*reply), {}, {}};
    try {
        std::rethrow_exception(std::get<std::exception_ptr>(result));
    } catch (const URLError& error) {
        return {{}, error.code(), error.what()};
    } catch (const std::exception& error) {
        return {{}, {}, error.what()};
    }
}

URLRequest requestTo(std::string_view url) {
    return URLRequest(*URL::parse(url));
}

// A task with a completion that is kept; asking twice for its outcome, or completing twice, throws.
struct Load {
    Load(UrlSession& session, URLRequest request)
        : task(session.dataTask(std::move(request), [promise = promise_](UrlSession::Result result) {
              promise->set_value(outcomeOf(std::move(result)));
          })) {}
    Outcome outcome() { return future_.get(); }
    bool isDone() const { return future_.wait_for(0s) == std::future_status::ready; }

private:
    std::shared_ptr<std::promise<Outcome>> promise_ = std::make_shared<std::promise<Outcome>>();
    std::future<Outcome> future_ = promise_->get_future();

public:
    const std::shared_ptr<UrlSessionDataTask> task;
};

Outcome load(UrlSession& session, URLRequest request) {
    Load load(session, std::move(request));
    load.task->resume();
    load.task->resume();  // which changes nothing
    return load.outcome();
}

TEST(UrlSession, SendsWhatTheRequestSaysAndNothingItMadeUp) {
    ScriptedServer server([](std::string_view) { return ScriptedServer::ok("fine", "X-A: 1\r\nx-a:  2 \r\n"); });
    UrlSession session;
    URLRequest get = requestTo(server.url("/a/../b%20c?q=1&r#fragment"));
    get.headers.set("Authorization", "Bearer ");
    get.headers.set("X-Empty", "");
    const Outcome outcome = load(session, get);
    ASSERT_TRUE(outcome.reply) << outcome.text;
    EXPECT_EQ(outcome.reply->data, "fine");
    EXPECT_EQ(outcome.reply->response.statusCode, 200);
    EXPECT_EQ(outcome.reply->response.url, get.url);
    EXPECT_EQ(outcome.reply->response.headers.value("X-a"), "1, 2");

    URLRequest post = requestTo(server.url("/post"));
    post.httpMethod = "POST";
    post.httpBody = std::string(3'000'000, 'x');
    EXPECT_EQ(load(session, post).reply.value().data, "fine");
    post.httpMethod = "PUT";
    post.httpBody = std::string("\0b", 2);
    post.headers.set("Content-Type", "text/x");
    (void)load(session, post);
    post.httpMethod = "POST";
    post.httpBody.reset();
    post.headers = {};
    (void)load(session, post);

    const std::string host = "Host: " + server.host() + "\r\n", accept = "Accept: */*\r\n";
    EXPECT_THAT(server.requests(),
                ElementsAre("GET /a/../b%20c?q=1&r HTTP/1.1\r\n" + host + accept +
                                "Authorization: Bearer \r\nX-Empty:\r\n\r\n",
                            "POST /post HTTP/1.1\r\n" + host + accept + "Content-Length: 3000000\r\n\r\n" +
                                std::string(3'000'000, 'x'),
                            "PUT /post HTTP/1.1\r\n" + host + accept +
                                "Content-Type: text/x\r\nContent-Length: 2\r\n\r\n" + std::string("\0b", 2),
                            "POST /post HTTP/1.1\r\n" + host + accept + "Content-Length: 0\r\n\r\n"));
    EXPECT_EQ(server.connections(), 1U);
}

TEST(UrlSession, RepliesOfEveryStatusAreRepliesAndOnlyTheLastOneCounts) {
    const struct {
        const char* method;
        std::string bytes;
        int status;
        std::string data;
    } table[] = {
        {"GET", "HTTP/1.1 500 No\r\nContent-Length: 2\r\n\r\nno", 500, "no"},
        {"GET", "HTTP/1.1 204 None\r\n\r\n", 204, ""},
        {"GET", "HTTP/1.1 103 Hints\r\nX-Early: 1\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\na", 200, "a"},
        {"GET", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n2\r\nbc\r\n0\r\nX-Late: 1\r\n\r\n",
         200, "abc"},
        {"GET", "HTTP/1.0 200 OK\r\n\r\nuntil the end", 200, "until the end"},
        {"GET", "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 2\r\n\r\n\x1f\x8b", 200, "\x1f\x8b"},
        {"GET", "HTTP/1.1 304 Same\r\n\r\n", 304, ""},
        {"HEAD", "HTTP/1.1 200 OK\r\nContent-Length: 99999999999\r\n\r\n", 200, ""},
    };
    for (const auto& row : table) {
        ScriptedServer server([&row](std::string_view) { return Reply{row.bytes, Reply::After::close}; });
        UrlSession session;
        URLRequest request = requestTo(server.url("/"));
        request.httpMethod = row.method;
        const Outcome outcome = load(session, request);
        ASSERT_TRUE(outcome.reply) << row.bytes << outcome.text;
        EXPECT_EQ(outcome.reply->response.statusCode, row.status);
        EXPECT_EQ(outcome.reply->data, row.data);
        EXPECT_FALSE(outcome.reply->response.headers.value("X-Early"));
        EXPECT_FALSE(outcome.reply->response.headers.value("X-Late"));
    }
}

TEST(UrlSession, FollowsRedirectsToHttpAndTellsWhereTheReplyCameFrom) {
    ScriptedServer other([](std::string_view) { return ScriptedServer::ok("other"); });
    ScriptedServer server([&other](std::string_view request) {
        if (request.starts_with("GET /first")) return ScriptedServer::redirect(302, "../second?x=1");
        if (request.starts_with("POST /307")) return ScriptedServer::redirect(307, "/target");
        if (request.starts_with("POST /302")) return ScriptedServer::redirect(302, "/target");
        if (request.starts_with("GET /other")) return ScriptedServer::redirect(301, other.url("/o"));
        if (request.starts_with("GET /loop")) return ScriptedServer::redirect(302, "/loop");
        if (request.starts_with("GET /file")) return ScriptedServer::redirect(302, "file:///etc/hostname");
        if (request.starts_with("GET /ftp")) return ScriptedServer::redirect(302, "ftp://127.0.0.1/x");
        return ScriptedServer::ok("there");
    });
    UrlSession session;
    const Outcome outcome = load(session, requestTo(server.url("/first/a.m3u8")));
    ASSERT_TRUE(outcome.reply) << outcome.text;
    EXPECT_EQ(outcome.reply->data, "there");
    EXPECT_EQ(outcome.reply->response.url.absoluteString(), server.url("/second?x=1"));
    EXPECT_FALSE(outcome.reply->response.headers.value("X-Hop"));

    URLRequest secret = requestTo(server.url("/other"));
    secret.headers.set("Authorization", "Bearer t");
    EXPECT_EQ(load(session, secret).reply.value().data, "other");
    EXPECT_THAT(other.requests().at(0), Not(HasSubstr("Bearer")));

    for (const char* path : {"/302", "/307"}) {
        URLRequest post = requestTo(server.url(path));
        post.httpMethod = "POST";
        post.httpBody = "body";
        EXPECT_EQ(load(session, post).reply.value().data, "there");
        const std::string last = server.requests().back();
        EXPECT_THAT(last, StartsWith(path == std::string("/302") ? "GET /target" : "POST /target"));
        EXPECT_EQ(last.ends_with("body"), path == std::string("/307"));
    }
    EXPECT_EQ(load(session, requestTo(server.url("/loop"))).error, Code::tooManyRedirects);
    EXPECT_EQ(load(session, requestTo(server.url("/file"))).error, Code::unsupportedURL);
    EXPECT_EQ(load(session, requestTo(server.url("/ftp"))).text,
              "URLs of this scheme are not supported. (ftp://127.0.0.1/x)");
    UrlSession::Configuration strict;
    strict.maximumRedirects = 0;
    UrlSession strictSession(strict);
    EXPECT_EQ(load(strictSession, requestTo(server.url("/first"))).error, Code::tooManyRedirects);
}

TEST(UrlSession, BrokenRepliesAreErrorsThatTellWhatBroke) {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const auto close = Reply::After::close, stall = Reply::After::keep;
    const struct {
        Reply reply;
        Code code;
    } table[] = {
        {{"", close}, Code::networkConnectionLost},
        {{ok + "Content-Length: 10\r\n\r\nshort", close}, Code::networkConnectionLost},
        {{ok + "Content-Length: 90000\r\n\r\n", close}, Code::networkConnectionLost},
        {{ok + "Transfer-Encoding: chunked\r\n\r\n5\r\nab", close}, Code::networkConnectionLost},
        {{ok + "Transfer-Encoding: chunked\r\n\r\nnohex\r\n", close}, Code::networkConnectionLost},
        {{"SSH-2.0-server\r\n", close}, Code::cannotParseResponse},
        {{"HTTP/1.1 abc\r\n\r\n", close}, Code::cannotParseResponse},
        {{ok + "X: " + std::string(600'000, 'x'), close}, Code::badServerResponse},
        {{ok + "Content-Length: 99999999999999\r\n\r\n", stall}, Code::dataLengthExceedsMaximum},
        {{ok + "Content-Length: 100001\r\n\r\n", stall}, Code::dataLengthExceedsMaximum},
        {{ok + "\r\n" + std::string(100'001, 'x'), stall}, Code::dataLengthExceedsMaximum},
        {{"", stall}, Code::timedOut},
        {{ok + "Content-Length: 10\r\n\r\nstall", stall}, Code::timedOut},
    };
    UrlSession::Configuration configuration;
    configuration.maximumBodySize = 100'000;
    UrlSession session(configuration);
    for (const auto& row : table) {
        ScriptedServer server([&row](std::string_view) { return row.reply; });
        URLRequest request = requestTo(server.url("/"));
        if (row.code == Code::timedOut) request.timeoutInterval = 0.05;
        const Outcome outcome = load(session, request);
        EXPECT_EQ(outcome.error, row.code) << row.reply.bytes.substr(0, 80) << outcome.text;
        EXPECT_THAT(outcome.text, HasSubstr("127.0.0.1 port " + std::to_string(server.port())));
    }
    std::string many = ok;
    for (int i = 0; i < 40'000; ++i) many += "X-Endless: header\r\n";
    ScriptedServer server([&many](std::string_view) { return Reply{many, Reply::After::close}; });
    const Outcome endless = load(session, requestTo(server.url("/")));
    EXPECT_EQ(endless.error, Code::badServerResponse) << endless.text;
}

TEST(UrlSession, WhatCannotBeSentIsRefusedBeforeAnythingGoesOut) {
    UrlSession session;
    const RefusingPort refusing;
    const std::string nowhere = "http://127.0.0.1:" + std::to_string(refusing.port()) + "/";
    EXPECT_EQ(load(session, requestTo(nowhere)).text,
              "Could not connect to the server. (127.0.0.1 port " + std::to_string(refusing.port()) + ")");
    for (const char* url : {"file:///etc/hostname", "ftp://127.0.0.1/", "interceptedm3u8://h/a", "a/b", "//h/a"}) {
        EXPECT_EQ(load(session, requestTo(url)).error, Code::unsupportedURL) << url;
    }
    for (const char* url : {"http:///x", "http:x", "https://%20/"}) {
        EXPECT_EQ(load(session, requestTo(url)).error, Code::badURL) << url;
    }
    // A label of more than 63 letters, which no look-up needs a network to refuse.
    EXPECT_EQ(load(session, requestTo("http://" + std::string(70, 'a') + ".invalid/")).error,
              Code::cannotFindHost);
    URLRequest request = requestTo(nowhere);
    request.headers.set("X", "a\r\nInjected: b");
    EXPECT_EQ(load(session, request).error, Code::badRequest);
    request.headers = {};
    request.headers.set("X Y", "");
    EXPECT_EQ(load(session, request).error, Code::badRequest);
    request.headers = {};
    request.httpMethod = "GET /x";
    EXPECT_EQ(load(session, request).error, Code::badRequest);
}

TEST(UrlSession, TheEnvironmentsProxyIsNotAskedForLoopback) {
    ScriptedServer server([](std::string_view) { return ScriptedServer::ok("direct"); });
    const RefusingPort refusing;
    ::setenv("http_proxy", ("http://127.0.0.1:" + std::to_string(refusing.port())).c_str(), 1);
    {
        UrlSession session;
        EXPECT_EQ(load(session, requestTo(server.url("/"))).reply.value().data, "direct");
        EXPECT_EQ(load(session, requestTo("http://proxied.invalid/")).error, Code::cannotConnectToHost);
    }
    ::unsetenv("http_proxy");
}

// Stalls every request and lets a test wait until one has come.
struct StallingServer {
    std::promise<void> arrived;
    std::atomic<bool> first = true;
    ScriptedServer server{[this](std::string_view) {
        if (first.exchange(false)) arrived.set_value();
        return Reply{"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", Reply::After::keep};
    }};
};

TEST(UrlSession, ACancelledLoadCompletesOnceAsCancelled) {
    StallingServer stalling;
    UrlSession session;
    Load running(session, requestTo(stalling.server.url("/")));
    running.task->resume();
    stalling.arrived.get_future().wait();
    running.task->cancel();
    running.task->cancel();
    EXPECT_EQ(running.outcome().error, Code::cancelled);

    Load suspended(session, requestTo(stalling.server.url("/")));
    suspended.task->cancel();
    suspended.task->resume();
    EXPECT_EQ(suspended.outcome().text, "The load was cancelled.");

    ScriptedServer server([](std::string_view) { return ScriptedServer::ok("x"); });
    Load finished(session, requestTo(server.url("/")));
    finished.task->resume();
    EXPECT_TRUE(finished.outcome().reply);
    finished.task->cancel();
}

TEST(UrlSession, ItsEndCancelsWhatRunsAndWaitsForTheCompletions) {
    StallingServer stalling;
    auto session = std::make_unique<UrlSession>();
    Load running(*session, requestTo(stalling.server.url("/")));
    Load suspended(*session, requestTo(stalling.server.url("/")));
    Load untouched(*session, requestTo(stalling.server.url("/")));
    running.task->resume();
    stalling.arrived.get_future().wait();
    session.reset();
    EXPECT_TRUE(running.isDone());
    EXPECT_EQ(running.outcome().error, Code::cancelled);
    EXPECT_FALSE(suspended.isDone());
    suspended.task->resume();
    EXPECT_EQ(suspended.outcome().error, Code::cancelled);
    untouched.task->cancel();
    EXPECT_EQ(untouched.outcome().error, Code::cancelled);
}

TEST(UrlSession, ManyThreadsLoadAndCancelAndEachCompletionComesOnce) {
    ScriptedServer server([](std::string_view request) { return ScriptedServer::ok(request.substr(0, 12)); });
    UrlSession session;
    std::atomic<int> replies = 0, cancelled = 0, others = 0;
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&, t] {
                std::vector<std::unique_ptr<Load>> loads;
                for (int i = 0; i < 40; ++i) {
                    loads.push_back(
                        std::make_unique<Load>(session, requestTo(server.url("/" + std::to_string(i)))));
                    loads.back()->task->resume();
                    if ((i + t) % 3 == 0) loads[static_cast<std::size_t>(i / 2)]->task->cancel();
                }
                for (const auto& each : loads) {
                    const Outcome outcome = each->outcome();
                    ++(outcome.reply ? replies : outcome.error == Code::cancelled ? cancelled : others);
                }
            });
        }
    }
    EXPECT_EQ(replies + cancelled, 160);
    EXPECT_GE(replies, 100);
    EXPECT_EQ(others, 0);
    EXPECT_LE(server.connections(), 6U + static_cast<unsigned>(cancelled));
}

// Answers what its rule says; keeps its clients, so that a test can go on speaking to them.
class ScriptedProtocol final : public UrlProtocol {
public:
    using Play = std::function<void(const URLRequest&, const std::shared_ptr<UrlProtocolClient>&)>;
    ScriptedProtocol(std::string scheme, Play play) : scheme_(std::move(scheme)), play_(std::move(play)) {}

    bool canInit(const URLRequest& request) const override {
        return request.url.scheme() == scheme_ && !request.properties.contains("handled");
    }
    URLRequest canonicalRequest(URLRequest request) const override {
        request.headers.set("X-Canonical", "yes");
        return request;
    }
    void startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) override {
        play_(request, client);
        kept.set_value(std::move(client));
    }
    void stopLoading(const std::shared_ptr<UrlProtocolClient>&) override { ++stops; }

    std::promise<std::shared_ptr<UrlProtocolClient>> kept;
    std::atomic<int> stops = 0;

private:
    const std::string scheme_;
    const Play play_;
};

TEST(UrlProtocol, WhatItTellsTheClientIsTheOutcome) {
    const auto reply = [](const URLRequest& request) { return URLResponse{request.url, 201, request.headers}; };
    const struct {
        ScriptedProtocol::Play play;
        const char* expected;
    } table[] = {
        {[&](const auto& request, const auto& client) {
             client->didReceiveResponse(reply(request));
             client->didReceiveResponse({request.url, 404, {}});
             client->didLoad("a");
             client->didLoad("b");
             client->didFinishLoading();
             client->didLoad("c");
             client->didFail(URLError(Code::timedOut));
         },
         "201 ab canonical"},
        {[&](const auto& request, const auto& client) {
             client->didReceiveResponse({request.url, std::nullopt, {}});
             client->didFinishLoading();
         },
         "not http "},
        {[&](const auto&, const auto& client) {
             client->didFail(URLError(Code::timedOut));
             client->didFinishLoading();
         },
         "The request timed out."},
        {[&](const auto&, const auto& client) { client->didFinishLoading(); },
         "The load failed. (a protocol gave no response)"},
        {[&](const auto&, const auto&) { throw std::runtime_error("thrown"); }, "thrown"},
        {[&](const auto& request, const auto& client) {
             client->didReceiveResponse(reply(request));
             client->didLoad("12345678");
             client->didLoad("9");
             client->didFinishLoading();
         },
         "The response is larger than allowed."},
    };
    for (const auto& row : table) {
        UrlSession::Configuration configuration;
        configuration.maximumBodySize = 8;
        configuration.protocols = {std::make_shared<ScriptedProtocol>("play", row.play)};
        UrlSession session(configuration);
        const Outcome outcome = load(session, requestTo("play://h/"));
        std::string text = outcome.text;
        if (outcome.reply) {
            const auto& [data, response] = *outcome.reply;
            text = response.isHTTP() ? std::to_string(*response.statusCode) : "not http";
            text += " " + data + (response.headers.value("x-canonical") ? " canonical" : "");
        }
        EXPECT_EQ(text, row.expected);
    }
}

TEST(UrlProtocol, TheLatestRegisteredIsAskedFirstByTasksThatAreMadeAfterwards) {
    const auto saying = [](const char* text) {
        return std::make_shared<ScriptedProtocol>("play", [text](const auto& request, const auto& client) {
            client->didReceiveResponse({request.url, 200, {}});
            client->didLoad(text);
            client->didFinishLoading();
        });
    };
    UrlSession::Configuration configuration;
    configuration.protocols = {saying("first"), saying("second")};
    UrlSession session(configuration);
    Load before(session, requestTo("play://h/"));
    const auto later = saying("later");
    session.registerProtocol(later);
    before.task->resume();
    EXPECT_EQ(before.outcome().reply.value().data, "first");
    Load after(session, requestTo("play://h/"));
    session.unregisterProtocol(later);
    after.task->resume();
    EXPECT_EQ(after.outcome().reply.value().data, "later");
    EXPECT_EQ(load(session, requestTo("other://h/")).error, Code::unsupportedURL);
    URLRequest marked = requestTo("play://h/");
    marked.properties["handled"] = "true";
    EXPECT_EQ(load(session, marked).error, Code::unsupportedURL);
}

TEST(UrlProtocol, ACancelledLoadStopsItAndIgnoresWhatItStillGives) {
    const auto silent = std::make_shared<ScriptedProtocol>("play", [](const auto&, const auto&) {});
    auto session = std::make_unique<UrlSession>();
    session->registerProtocol(silent);
    Load running(*session, requestTo("play://h/"));
    running.task->resume();
    const auto client = silent->kept.get_future().get();
    running.task->cancel();
    EXPECT_EQ(running.outcome().error, Code::cancelled);
    EXPECT_EQ(silent->stops, 1);
    for (int round = 0; round < 2; ++round) {
        client->didReceiveResponse({*URL::parse("play://h/"), 200, {}});
        client->didLoad("late");
        client->didFail(URLError(Code::unknown));
        client->didFinishLoading();
        session.reset();
    }
}

TEST(UrlSession, AwaitedLoadsGoOnWhereTheTaskLives) {
    ScriptedServer server([](std::string_view) { return ScriptedServer::ok("awaited"); });
    ManualRunLoop loop;
    UrlSession session;
    std::string log;
    const auto work = [&]() -> Task<> {
        const DataAndResponse reply = co_await session.data(requestTo(server.url("/")));
        EXPECT_TRUE(loop.isCurrent());
        log += reply.data;
        try {
            (void)co_await session.data(requestTo("nobody://h/"));
        } catch (const URLError& error) {
            EXPECT_TRUE(loop.isCurrent());
            log += error.code() == Code::unsupportedURL ? "!" : "?";
        }
    };
    startTask(loop, work());
    EXPECT_TRUE(loop.drainUntil([&log] { return log.size() == 8; }));
    EXPECT_EQ(log, "awaited!");
}

}  // namespace
}  // namespace quorel
