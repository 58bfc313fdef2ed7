#include "quorel/foundation/url_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <future>
#include <stdexcept>

#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/text.h"
#include "tests/foundation/scripted_server.h"

namespace quorel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Code = URLError::Code;
using Server = ScriptedServer;
using Client = std::shared_ptr<UrlProtocolClient>;

constexpr const char* cancelled = "The load was cancelled.";

URLRequest requestTo(std::string_view url, std::string_view method = "GET", std::optional<std::string> body = {}) {
    URLRequest request(*URL::parse(url));
    request.httpMethod = method;
    request.httpBody = std::move(body);
    return request;
}

// A task whose completion is kept; completing it twice throws.
struct Load {
    Load(UrlSession& session, URLRequest request)
        : task(session.dataTask(std::move(request), [this, completed = completed_](UrlSession::Result result) {
              if (const auto* reply = std::get_if<DataAndResponse>(&result)) {
                  response = reply->response;
                  text = response->isHTTP() ? std::to_string(*response->statusCode) + " " : "not http ";
                  text += reply->data;
              } else {
                  text = localizedDescription(std::get<std::exception_ptr>(result));
              }
              completed->set_value();
          })) {}
    ~Load() { task->cancel(); }
    Load(const Load&) = delete;
    // Status and body, or the text of the error.
    const std::string& outcome() {
        future_.wait();
        return text;
    }

private:
    const std::shared_ptr<std::promise<void>> completed_ = std::make_shared<std::promise<void>>();
    std::future<void> future_ = completed_->get_future();

public:
    std::string text;
    std::optional<URLResponse> response;
    const std::shared_ptr<UrlSessionDataTask> task;
};

std::string load(UrlSession& session, URLRequest request) {
    Load load(session, std::move(request));
    load.task->resume();
    load.task->resume();  // which changes nothing
    return load.outcome();
}

TEST(UrlSession, SendsWhatTheRequestSaysAndNothingItMadeUp) {
    Server server([](std::string_view) { return Server::ok("fine", "X-A: 1\r\nx-a:  2 \r\n"); });
    UrlSession session;
    URLRequest request = requestTo(server.url("/a/../b%20c?q=1&r#fragment"));
    for (const char* name : {"Authorization", "X-Gone", "authorization", "x-gone"})
        request.headers.add(name, "old");
    request.headers.set("Authorization", "Bearer ");
    request.headers.set("X-Empty", "");
    request.headers.remove("X-GONE");
    Load get(session, request);
    get.task->resume();
    EXPECT_EQ(get.outcome(), "200 fine");
    EXPECT_EQ(get.response->url, request.url);
    EXPECT_EQ(get.response->headers.value("X-a"), "1, 2");
    const std::string large(3'000'000, 'x');
    EXPECT_EQ(load(session, requestTo(server.url("/post"), "POST", large)), "200 fine");
    request = requestTo(server.url("/put"), "PUT", "b");
    request.headers.set("Content-Type", "text/x");
    EXPECT_EQ(load(session, request), "200 fine");
    EXPECT_EQ(load(session, requestTo(server.url("/none"), "POST")), "200 fine");

    const std::string fields = " HTTP/1.1\r\nHost: " + server.host() + "\r\nAccept: */*\r\n";
    EXPECT_THAT(server.requests(),
                ElementsAre("GET /a/../b%20c?q=1&r" + fields + "Authorization: Bearer \r\nX-Empty:\r\n\r\n",
                            "POST /post" + fields + "Content-Length: 3000000\r\n\r\n" + large,
                            "PUT /put" + fields + "Content-Type: text/x\r\nContent-Length: 1\r\n\r\nb",
                            "POST /none" + fields + "Content-Length: 0\r\n\r\n"));
    EXPECT_EQ(server.connections(), 1U);
}

TEST(UrlSession, RepliesOfEveryStatusAreRepliesAndOnlyTheLastOneCounts) {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const struct {
        const char* method;
        std::string bytes, outcome;
    } table[] = {
        {"GET", "HTTP/1.1 500 No\r\nContent-Length: 2\r\n\r\nno", "500 no"},
        {"GET", "HTTP/1.1 204 None\r\n\r\n", "204 "},
        {"GET", "HTTP/1.1 103 Hints\r\nX-Early: 1\r\n\r\n" + ok + "Content-Length: 1\r\n\r\na", "200 a"},
        {"GET", ok + "Transfer-Encoding: chunked\r\n\r\n1\r\na\r\n2\r\nbc\r\n0\r\nX-Late: 1\r\n\r\n", "200 abc"},
        {"GET", "HTTP/1.0 200 OK\r\n\r\nuntil the end", "200 until the end"},
        {"GET", ok + "Content-Encoding: gzip\r\nContent-Length: 2\r\n\r\n\x1f\x8b", "200 \x1f\x8b"},
        {"HEAD", ok + "Content-Length: 99999999999\r\n\r\n", "200 "},
    };
    for (const auto& row : table) {
        Server server([&row](std::string_view) { return Server::Reply{row.bytes, Server::After::close}; });
        UrlSession session;
        Load load(session, requestTo(server.url("/"), row.method));
        load.task->resume();
        EXPECT_EQ(load.outcome(), row.outcome);
        EXPECT_FALSE(load.response &&
                     (load.response->headers.value("X-Early") || load.response->headers.value("X-Late")));
    }
}

TEST(UrlSession, FollowsRedirectsToHttpAndTellsWhereTheReplyCameFrom) {
    Server other(
        [](std::string_view request) { return Server::ok(request.find("Bearer") < 999 ? "leaked" : "other"); });
    Server server([&other](std::string_view request) {
        const std::string_view path = split(request, ' ')[1];
        if (path == "/first/a.m3u8") return Server::redirect(302, "../second?x=1");
        if (path == "/302" || path == "/307") return Server::redirect(path == "/302" ? 302 : 307, "/target");
        if (path == "/other") return Server::redirect(301, other.url("/o"));
        if (path == "/loop") return Server::redirect(302, "/loop");
        if (path == "/file") return Server::redirect(302, "file:///etc/hostname");
        if (path == "/ftp") return Server::redirect(302, "ftp://127.0.0.1/x");
        return Server::ok(std::string(request.substr(0, 5)).append(request.substr(request.size() - 4)));
    });
    UrlSession session;
    Load first(session, requestTo(server.url("/first/a.m3u8")));
    first.task->resume();
    EXPECT_THAT(first.outcome(), StartsWith("200 GET /"));
    EXPECT_EQ(first.response->url.absoluteString(), server.url("/second?x=1"));
    EXPECT_FALSE(first.response->headers.value("X-Hop"));

    URLRequest secret = requestTo(server.url("/other"));
    secret.headers.set("Authorization", "Bearer t");
    EXPECT_EQ(load(session, secret), "200 other");
    EXPECT_EQ(load(session, requestTo(server.url("/302"), "POST", "body")), "200 GET /\r\n\r\n");
    EXPECT_EQ(load(session, requestTo(server.url("/307"), "POST", "body")), "200 POST body");
    EXPECT_THAT(load(session, requestTo(server.url("/loop"))),
                StartsWith("The server redirected too many times."));
    for (const std::string place : {"file:///etc/hostname", "ftp://127.0.0.1/x"}) {
        EXPECT_EQ(load(session, requestTo(server.url("/" + place.substr(0, place.find(':'))))),
                  "URLs of this scheme are not supported. (" + place + ")");
    }
}

TEST(UrlSession, BrokenRepliesAreErrorsThatTellWhatBroke) {
    const std::string ok = "HTTP/1.1 200 OK\r\n", lost = "The connection to the server was lost.";
    const std::string noHttp = "The server's response is not HTTP.", broken = "The server gave a broken response.";
    const std::string large = "The response is larger than allowed.", late = "The request timed out.";
    const auto close = Server::After::close, stall = Server::After::keep;
    std::string endless = ok;
    for (int i = 0; i < 40'000; ++i) endless += "X-Endless: header\r\n";
    const struct {
        Server::Reply reply;
        const std::string& outcome;
    } table[] = {
        {{"", close}, lost},
        {{ok + "Content-Length: 10\r\n\r\nshort", close}, lost},
        {{ok + "Content-Length: 90000\r\n\r\n", close}, lost},
        {{ok + "Transfer-Encoding: chunked\r\n\r\n5\r\nab", close}, lost},
        {{ok + "Transfer-Encoding: chunked\r\n\r\nnohex\r\n", close}, lost},
        {{"SSH-2.0-server\r\n", close}, noHttp},
        {{"HTTP/1.1 abc\r\n\r\n", close}, noHttp},
        {{ok + "X: " + std::string(600'000, 'x'), close}, broken},
        {{endless, close}, broken},
        {{ok + "Content-Length: 99999999999999\r\n\r\n", stall}, large},
        {{ok + "Content-Length: 100001\r\n\r\n", stall}, large},
        {{ok + "\r\n" + std::string(100'001, 'x'), stall}, large},
        {{"", stall}, late},
        {{ok + "Content-Length: 10\r\n\r\nstall", stall}, late},
    };
    UrlSession::Configuration configuration;
    configuration.maximumBodySize = 100'000;
    UrlSession session(configuration);
    for (const auto& row : table) {
        Server server([&row](std::string_view) { return row.reply; });
        URLRequest request = requestTo(server.url("/"));
        if (row.outcome == late) request.timeoutInterval = 0.05;
        EXPECT_THAT(load(session, request),
                    StartsWith(row.outcome + " (127.0.0.1 port " + std::to_string(server.port())))
            << row.reply.bytes.substr(0, 80);
    }
}

TEST(UrlSession, WhatCannotBeSentIsRefusedAndLoopbackNeedsNoProxy) {
    UrlSession session;
    // Port 1 needs a privileged server that nobody runs any more.
    const std::string nowhere = "http://127.0.0.1:1";
    EXPECT_EQ(load(session, requestTo(nowhere)), "Could not connect to the server. (127.0.0.1 port 1)");
    for (const char* url : {"file:///etc/hostname", "ftp://127.0.0.1/", "interceptedm3u8://h/a", "a/b", "//h/a"}) {
        EXPECT_EQ(load(session, requestTo(url)),
                  std::string("URLs of this scheme are not supported. (") + url + ")");
    }
    for (const char* url : {"http:///x", "http:x", "https://%20/"}) {
        EXPECT_THAT(load(session, requestTo(url)), StartsWith("The URL cannot be loaded."));
    }
    // A label of more than 63 letters, which no look-up needs a network to refuse.
    EXPECT_THAT(load(session, requestTo("http://" + std::string(70, 'a') + ".invalid/")),
                StartsWith("A server with this host name could not be found."));
    EXPECT_THAT(load(session, requestTo(nowhere, "GET /x")), HasSubstr("no form in HTTP. (method \"GET /x\")"));
    for (const auto& [name, value] : {std::pair("X", "a\r\nInjected: b"), std::pair("X Y", "")}) {
        URLRequest request = requestTo(nowhere);
        request.headers.set(name, value);
        EXPECT_THAT(load(session, request), HasSubstr(std::string("no form in HTTP. (header field \"") + name));
    }
    Server server([](std::string_view) { return Server::ok("direct"); });
    ::setenv("http_proxy", nowhere.c_str(), 1);
    EXPECT_EQ(load(session, requestTo(server.url("/"))), "200 direct");
    EXPECT_EQ(load(session, requestTo("http://localhost:" + std::to_string(server.port()))), "200 direct");
    EXPECT_THAT(load(session, requestTo("http://proxied.invalid/")),
                StartsWith("Could not connect to the server."));
    ::unsetenv("http_proxy");
}

TEST(UrlSession, ACancelledLoadCompletesOnceAsCancelled) {
    std::promise<void> arrived[2];
    std::atomic<int> requests = 0;
    Server stalling([&](std::string_view) {
        arrived[requests++].set_value();
        return Server::Reply{"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", Server::After::keep};
    });
    auto session = std::make_unique<UrlSession>();
    Load running(*session, requestTo(stalling.url("/"))), unstarted(*session, requestTo(stalling.url("/")));
    running.task->resume();
    arrived[0].get_future().wait();
    running.task->cancel();
    running.task->cancel();
    EXPECT_EQ(running.outcome(), cancelled);
    unstarted.task->cancel();
    unstarted.task->resume();
    EXPECT_EQ(unstarted.outcome(), cancelled);

    Load last(*session, requestTo(stalling.url("/"))), late(*session, requestTo(stalling.url("/")));
    last.task->resume();
    arrived[1].get_future().wait();
    session.reset();
    EXPECT_EQ(last.text, cancelled) << "the session did not wait for the completion";
    EXPECT_EQ(late.text, "");
    late.task->resume();
    EXPECT_EQ(late.text, cancelled);
}

TEST(UrlSession, MayEndInItsOwnCompletion) {
    Server server([](std::string_view request) {
        if (request.starts_with("GET /slow")) return Server::Reply{"HTTP/1.1 200 OK\r\n", Server::After::keep};
        return Server::Reply{Server::ok("one")};
    });
    auto session = std::make_shared<UrlSession>();
    std::promise<std::string> second;
    std::string first;
    // The load that ends lets the session go; the other one, which stalls, is cut.
    const auto slow = session->dataTask(requestTo(server.url("/slow")), [&](UrlSession::Result result) {
        second.set_value(localizedDescription(std::get<std::exception_ptr>(result)));
    });
    const auto quick =
        session->dataTask(requestTo(server.url("/")), [&first, last = session](auto result) mutable {
            first = std::get<DataAndResponse>(result).data;
            last.reset();
        });
    session.reset();
    slow->resume();
    quick->resume();
    EXPECT_EQ(second.get_future().get(), cancelled);
    EXPECT_EQ(first, "one");
}

TEST(UrlSession, ManyThreadsLoadAndCancelAndEachCompletionComesOnce) {
    Server server([](std::string_view) { return Server::ok("x"); });
    UrlSession session;
    std::atomic<int> replies = 0, cancels = 0;
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            std::vector<std::unique_ptr<Load>> loads;
            for (std::size_t i = 0; i < 40; ++i) {
                loads.push_back(std::make_unique<Load>(session, requestTo(server.url("/"))));
                loads.back()->task->resume();
                if ((static_cast<int>(i) + t) % 3 == 0) loads[i / 2]->task->cancel();
            }
            for (const auto& each : loads) ++(each->outcome() == cancelled ? cancels : replies);
            for (const auto& each : loads)
                EXPECT_TRUE(each->text == cancelled || each->text == "200 x") << each->text;
        });
    }
    threads.clear();
    EXPECT_EQ(replies + cancels, 160);
    EXPECT_LE(server.connections(), 6U + static_cast<unsigned>(cancels));
}

// Tells its client what a script says, word by word; keeps the client, so that a test can go on speaking to it.
class ScriptedProtocol final : public UrlProtocol {
public:
    explicit ScriptedProtocol(std::string script) : script_(std::move(script)) {}

    bool canInit(const URLRequest& request) const override {
        return request.url.scheme() == "play" && !request.properties.contains("handled");
    }
    URLRequest canonicalRequest(URLRequest request) const override {
        request.headers.set("X-Canonical", "yes");
        return request;
    }
    void startLoading(const URLRequest& request, Client client) override {
        if (starts++ == 0) kept.set_value(client);
        for (const std::string_view word : split(script_, ' ', EmptyPieces::drop)) {
            if (word == "response")
                client->didReceiveResponse({request.url, 201, request.headers});
            else if (word == "plain")
                client->didReceiveResponse({request.url, std::nullopt, {}});
            else if (word == "finish")
                client->didFinishLoading();
            else if (word == "fail")
                client->didFail(URLError(Code::timedOut));
            else if (word == "throw")
                throw std::runtime_error("thrown");
            else
                client->didLoad(word);
        }
    }
    void stopLoading(const Client&) override { ++stops; }

    std::promise<Client> kept;
    std::atomic<int> starts = 0, stops = 0;

private:
    const std::string script_;
};

TEST(UrlProtocol, WhatItTellsTheClientIsTheOutcome) {
    const struct {
        const char *script, *outcome;
    } table[] = {
        {"response a plain b finish c fail", "201 ab"},
        {"plain finish", "not http "},
        {"response a fail finish", "The request timed out."},
        {"a finish", "The load failed. (a protocol gave no response)"},
        {"throw", "thrown"},
        {"response 12345678 9 finish", "The response is larger than allowed."},
    };
    for (const auto& row : table) {
        UrlSession::Configuration configuration;
        configuration.maximumBodySize = 8;
        configuration.protocols = {std::make_shared<ScriptedProtocol>(row.script)};
        UrlSession session(configuration);
        Load load(session, requestTo("play://h/"));
        load.task->resume();
        EXPECT_EQ(load.outcome(), row.outcome);
        EXPECT_TRUE(!load.text.starts_with("201") || load.response->headers.value("x-canonical"));
    }
}

TEST(UrlProtocol, TheLatestRegisteredIsAskedFirstByTasksThatAreMadeAfterwards) {
    UrlSession::Configuration configuration;
    configuration.protocols = {std::make_shared<ScriptedProtocol>("response first finish"),
                               std::make_shared<ScriptedProtocol>("response second finish")};
    UrlSession session(configuration);
    const auto later = std::make_shared<ScriptedProtocol>("response later finish");
    Load before(session, requestTo("play://h/"));
    session.registerProtocol(later);
    Load after(session, requestTo("play://h/"));
    session.unregisterProtocol(later);
    before.task->resume();
    after.task->resume();
    EXPECT_EQ(before.outcome(), "201 first");
    EXPECT_EQ(after.outcome(), "201 later");
    EXPECT_EQ(load(session, requestTo("play://h/")), "201 first");
    URLRequest marked = requestTo("play://h/");
    marked.properties["handled"] = "true";
    EXPECT_THAT(load(session, marked), StartsWith("URLs of this scheme are not supported."));
}

TEST(UrlProtocol, ACancelledLoadStopsItAndIgnoresWhatItStillGives) {
    const auto silent = std::make_shared<ScriptedProtocol>("");
    auto session = std::make_unique<UrlSession>();
    session->registerProtocol(silent);
    Load running(*session, requestTo("play://h/"));
    running.task->resume();
    const Client client = silent->kept.get_future().get();
    running.task->cancel();
    EXPECT_EQ(running.outcome(), cancelled);
    EXPECT_EQ(silent->stops, 1);
    for (int round = 0; round < 2; ++round) {
        client->didReceiveResponse({*URL::parse("play://h/"), 200, {}});
        client->didLoad("late");
        client->didFinishLoading();
        session.reset();
    }
}

TEST(UrlSession, AwaitedLoadsGoOnWhereTheTaskLives) {
    Server server([](std::string_view) { return Server::ok("awaited"); });
    ManualRunLoop loop;
    UrlSession session;
    std::string log;
    const auto work = [&]() -> Task<> {
        log += (co_await session.data(requestTo(server.url("/")))).data;
        EXPECT_TRUE(loop.isCurrent());
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
