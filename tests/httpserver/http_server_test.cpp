#include "quorel/httpserver/http_server.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include "client.h"
#include "quorel/foundation/log.h"

namespace quorel::http {
namespace {

using Body = HttpResponseBody;
using namespace std::string_literals;

std::shared_ptr<HttpServer> makeServer() {
    auto server = std::make_shared<HttpServer>();
    server->listenAddressIPv4 = "127.0.0.1";
    server->get["/text"] = [](HttpRequest&) { return HttpResponse::ok(Body::text("hello"s)); };
    return server;
}

// One connection: all of `bytes` at once, then the end of what the client sends.
std::string converse(const HttpServer& server, std::string_view bytes) {
    const Client client(server.port());
    client.send(bytes);
    client.endSending();
    return client.readAll();
}

TEST(HttpServer, AnswersAsTheCasesSay) {
    using R = HttpResponse;
    const Body::CustomFunction decimal = [](const std::any& value) {
        return std::to_string(std::any_cast<int>(value));
    };
    const auto write = [](HttpResponseBodyWriter& out) { out.write("ok"); };
    const std::string ok = "HTTP/1.1 200 OK; Connection: keep-alive; Content-Length: ";
    const std::pair<R, std::string> cases[] = {
        {R::ok(Body::text("hello"s)), ok + "5|hello"},
        {R::ok(Body::text(""s)), ok + "0|"},
        {R::ok(Body::html("<p>"s)), ok + "3; Content-Type: text/html|<p>"},
        {R::ok(Body::htmlBody("<p>")), ok + "51|<html><meta charset=\"UTF-8\"><body><p></body></html>"},
        {R::ok(Body::json(JSONObject{{"a", 1}})), ok + "7; Content-Type: application/json|{\"a\":1}"},
        {R::ok(Body::json(0)), ok + "34; Content-Type: application/json|Serialisation error: invalidObject"},
        {R::ok(Body::data({'x', 0xFF, 'y'}, "a/b")), ok + "3; Content-Type: a/b|x\xFFy"},
        {R::ok(Body::custom(7, decimal)), ok + "1|7"},
        {R::ok(Body::custom("7", decimal)), ok + "33|Serialisation error: bad any_cast"},
        {R::badRequest(Body::html("why"s)),
         "HTTP/1.1 400 Bad Request; Connection: keep-alive; Content-Length: 3|why"},
        {R::badRequest(), "HTTP/1.1 400 Bad Request|"},
        {R::created(), "HTTP/1.1 201 Created|"},
        {R::movedPermanently("/x"), "HTTP/1.1 301 Moved Permanently; Location: /x|"},
        {R::movedTemporarily("/y"), "HTTP/1.1 307 Moved Temporarily; Location: /y|"},
        {R::raw(299, "Fine", HttpHeaders{{"Content-Length", "2"}}, write),
         "HTTP/1.1 299 Fine; Content-Length: 2|ok"},
        {R::raw(204, "No Content"), "HTTP/1.1 204 No Content|"},
    };
    auto server = makeServer();
    (*server)["/:case"] = [&](HttpRequest& request) {
        return cases[static_cast<std::size_t>(std::stoi(request.params.at(":case")))].first;
    };
    server->start(0, true);
    const auto get = [&](const std::string& path) {
        return flattened(converse(*server, "GET /" + path + " HTTP/1.1\r\nConnection: keep-alive\r\n\r\n"));
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(get(std::to_string(i)), cases[i].second);
    EXPECT_EQ(get("a/b"), "HTTP/1.1 404 Not Found|");
    const LogCapture log;
    EXPECT_EQ(get("no-number"), "HTTP/1.1 500 Internal Server Error|");
    EXPECT_EQ(log.text(), "Request handler failed: stoi\n");
}

TEST(HttpServer, KeepsAliveOnlyForThoseVeryLetters) {
    auto server = makeServer();
    server->post["/echo"] = [](HttpRequest& request) { return HttpResponse::ok(Body::data(request.body)); };
    server->get["/half"] = [](HttpRequest&) {
        return HttpResponse::raw(200, "OK", {}, [](HttpResponseBodyWriter& out) {
            out.write("half");
            throw std::runtime_error("no more");
        });
    };
    server->start(0, true);
    const std::string kept = "HTTP/1.1 200 OK; Connection: keep-alive; Content-Length: 5|hello";
    const std::string closed = "HTTP/1.1 200 OK; Content-Length: 5|hello";
    const std::string get = "GET /text HTTP/1.1\r\nConnection: keep-alive\r\n\r\n";
    const std::string post = "POST /echo HTTP/1.1\r\nConnection: keep-alive\r\nContent-Length: 5\r\n\r\nG\r\n\r\n";
    const struct {
        std::string bytes;
        std::vector<std::string> expected;  // one for each response
    } cases[] = {
        {"GET /text HTTP/1.1\r\n\r\n", {closed}},
        {"GET /text HTTP/1.1\r\nConnection: Keep-Alive\r\n\r\n", {closed}},
        {"GET /text HTTP/1.1\r\nConnection: keep-alive, x\r\n\r\n" + get, {closed}},
        {get + get + get, {kept, kept, kept}},
        {get + post + get, {kept, "HTTP/1.1 200 OK; Connection: keep-alive; Content-Length: 5|G\r\n\r\n", kept}},
        {get + "GET /none HTTP/1.1\r\nConnection: keep-alive\r\n\r\n" + get, {kept, "HTTP/1.1 404 Not Found|"}},
        {"GET /half HTTP/1.1\r\nConnection: keep-alive\r\n\r\n" + get, {"HTTP/1.1 200 OK|half"}},
        // What was answered before garbage arrives whole, and the garbage gets no answer.
        {get + "GET /\r\nmore of it\r\n\r\n" + get, {kept}},
        {"GET /\r\n\r\n", {}},
        {"POST /echo HTTP/1.1\r\nContent-Length: -1\r\n\r\n", {}},
        {"POST /echo HTTP/1.1\r\nContent-Length: 9\r\n\r\nhalf", {}},
        // A chunked body is not read: the answer arrives all the same.
        {"POST /text HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n",
         {"HTTP/1.1 404 Not Found|"}},
    };
    for (const auto& [bytes, expected] : cases) {
        for (const bool trickle : {false, true}) {
            const Client client(server->port());
            if (trickle) {
                for (const char& byte : bytes) client.send({&byte, 1});
            } else {
                client.send(bytes);
            }
            client.endSending();
            std::string all = client.readAll();
            std::vector<std::string> responses;
            for (std::size_t begin = 0; begin < all.size();) {
                const std::size_t end = std::min(all.find("HTTP/1.1", begin + 1), all.size());
                responses.push_back(flattened(all.substr(begin, end - begin)));
                begin = end;
            }
            EXPECT_EQ(responses, expected) << bytes << (trickle ? "\nbyte by byte" : "");
        }
    }
}

TEST(HttpServer, TellsAClientThatWaitsToGoOn) {
    auto server = makeServer();
    server->post["/echo"] = [](HttpRequest& request) { return HttpResponse::ok(Body::data(request.body)); };
    server->start(0, true);
    const Client client(server->port());
    client.send("POST /echo HTTP/1.1\r\nExpect: 100-Continue\r\nContent-Length: 2\r\n\r\n");
    EXPECT_EQ(client.readUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    client.send("ab");
    EXPECT_EQ(flattened(client.readAll()), "HTTP/1.1 200 OK; Content-Length: 2|ab");
    EXPECT_EQ(
        flattened(converse(*server, "POST /echo HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 0\r\n\r\n")),
        "HTTP/1.1 200 OK; Content-Length: 0|");
}

TEST(HttpServer, DispatchesByMethodMiddlewareAndRoute) {
    auto server = makeServer();
    const auto telling = [](std::string text) {
        return [text](HttpRequest& request) {
            std::string all = text + " " + request.address.value_or("?");
            for (const auto& [key, value] : request.params) all.append(" ").append(key).append("=").append(value);
            return HttpResponse::ok(Body::text(all));
        };
    };
    HttpServer& s = *server;
    for (const MethodRoute* route : {&s.DELETE, &s.PATCH, &s.HEAD, &s.POST, &s.GET, &s.PUT})
        (*route)["/m"] = telling(route->method);
    for (const MethodRoute* route : {&s.delete_, &s.patch, &s.head, &s.post, &s.get, &s.put})
        (*route)["/n"] = telling(route->method);
    (*server)["/any/:id"] = telling("any");
    server->notFoundHandler = telling("nowhere");
    server->middleware = {[](HttpRequest& request) -> std::optional<HttpResponse> {
                              request.headers["seen"] = "1";
                              return std::nullopt;
                          },
                          [](HttpRequest& request) -> std::optional<HttpResponse> {
                              if (request.path != "/secret" || !request.headers.contains("seen"))
                                  return std::nullopt;
                              return HttpResponse::forbidden();
                          }};
    server->start(0, true);
    const auto body = [&](const std::string& requestLine) {
        const std::string text = flattened(converse(*server, requestLine + " HTTP/1.1\r\n\r\n"));
        return text.substr(text.find('|') + 1);
    };
    for (const std::string method : {"DELETE", "PATCH", "HEAD", "POST", "GET", "PUT"})
        for (const std::string path : {"/m", "/n"}) EXPECT_EQ(body(method + " " + path), method + " 127.0.0.1");
    EXPECT_EQ(body("BREW /any/7%20a"), "any 127.0.0.1 :id=7 a");
    EXPECT_EQ(body("get /m"), "nowhere 127.0.0.1");
    EXPECT_EQ(flattened(converse(*server, "GET /secret HTTP/1.1\r\n\r\n")), "HTTP/1.1 403 Forbidden|");
}

TEST(HttpServer, HandsTheSocketOver) {
    struct Delegate final : HttpServerIODelegate {
        std::atomic<int> taken{0};
        void socketTakenOver(const std::shared_ptr<Socket>&) override { ++taken; }
    };
    const auto delegate = std::make_shared<Delegate>();
    auto server = makeServer();
    server->delegate = delegate;
    server->get["/up"] = [](HttpRequest&) {
        return HttpResponse::switchProtocols({{"Upgrade", "echo"}}, [](const std::shared_ptr<Socket>& socket) {
            socket->writeUTF8("you said " + socket->readLine());
        });
    };
    server->start(0, true);
    // What the client sends behind the head, in one piece with it, is the session's.
    EXPECT_EQ(flattened(converse(*server, "GET /up HTTP/1.1\r\nConnection: keep-alive\r\n\r\nhi\r\nunread")),
              "HTTP/1.1 101 Switching Protocols; Upgrade: echo|you said hi");
    EXPECT_EQ(delegate->taken, 1);
}

TEST(HttpServer, OutlivesClientsThatLeaveALargeAnswerUnread) {
    const LogCapture log;
    auto server = makeServer();
    const auto large = std::make_shared<const std::string>(std::string(20 << 20, 'z'));
    server->get["/large"] = [large](HttpRequest&) { return HttpResponse::ok(Body::text(large)); };
    server->start(0, true);
    const Client client(server->port());
    client.send("GET /large HTTP/1.1\r\n\r\n");
    EXPECT_EQ(client.readUntil("\r\n\r\n").substr(0, 15), "HTTP/1.1 200 OK");
    Client(server->port()).send("GET /large HTTP/1.1\r\n\r\n");
    EXPECT_EQ(client.readAll(), *large);
    while (log.text().empty()) std::this_thread::yield();
    EXPECT_EQ(log.text().substr(0, 37), "Failed to send response: writeFailed:");
}

TEST(HttpServer, EndsAConnectionBeyondTheLimits) {
    auto server = makeServer();
    server->limits = {.head = 64, .body = 4};
    server->start(0, true);
    EXPECT_EQ(converse(*server, "GET /text HTTP/1.1\r\nX: " + std::string(1000, 'x') + "\r\n\r\n"), "");
    EXPECT_EQ(converse(*server, "GET /text HTTP/1.1\r\nContent-Length: 5\r\n\r\nabcde"), "");
    EXPECT_NE(converse(*server, "GET /text HTTP/1.1\r\nContent-Length: 4\r\n\r\nabcd"), "");
}

TEST(HttpServer, EndsConnectionsThatKeepItWaiting) {
    constexpr std::chrono::milliseconds patience(250);
    auto server = makeServer();
    server->connectionLimits.patience = patience;
    server->limits.head = 1 << 30;
    server->get["/much"] = [](HttpRequest&) { return HttpResponse::ok(Body::text(std::string(64 << 20, 'x'))); };
    server->get["/session"] = [&](HttpRequest&) {
        std::this_thread::sleep_for(patience);  // neither handlers nor sessions are hurried
        return HttpResponse::switchProtocols(
            {}, [](const std::shared_ptr<Socket>& socket) { socket->writeUTF8(socket->readLine()); });
    };
    server->start(0, true);
    for (const std::string_view bytes :
         {"", "GET /text HT", "POST /text HTTP/1.1\r\nContent-Length: 2\r\n\r\na"}) {
        const Client client(server->port());
        client.send(bytes);
        EXPECT_EQ(client.readAll(), "") << bytes;
    }
    const Client kept(server->port());
    kept.send("GET /text HTTP/1.1\r\nConnection: keep-alive\r\n\r\n");
    EXPECT_TRUE(kept.readAll().ends_with("hello"));

    const Client session(server->port());
    session.send("GET /session HTTP/1.1\r\n\r\n");
    session.readUntil("\r\n\r\n");
    session.send("still here\n");
    EXPECT_EQ(session.readAll(), "still here");

    const Client dripping(server->port());
    std::atomic<bool> ended = false;
    std::thread drip([&] {
        while (!ended) dripping.send("x");
    });
    EXPECT_EQ(dripping.readAll(), "");
    ended = true;
    drip.join();

    const LogCapture log;
    const Client deaf(server->port());
    deaf.send("GET /much HTTP/1.1\r\n\r\n");
    while (log.text().empty()) std::this_thread::yield();
    EXPECT_EQ(log.text(), "Failed to send response: writeFailed: Resource temporarily unavailable\n");
}

TEST(HttpServer, HasNoMoreConnectionsThanItMay) {
    auto server = makeServer();
    server->connectionLimits.connections = 2;
    server->start(0, true);
    auto first = std::make_unique<Client>(server->port());
    Client second(server->port());
    for (const Client* client : {first.get(), &second}) {
        client->send("GET /text HTTP/1.1\r\nConnection: keep-alive\r\n\r\n");
        EXPECT_TRUE(client->readUntil("hello").ends_with("hello"));
    }
    EXPECT_EQ(Client(server->port()).readAll(), "");
    first.reset();
    while (converse(*server, "GET /text HTTP/1.1\r\n\r\n").find("hello") == std::string::npos) {
    }
}

TEST(HttpServer, StopsAndStartsAgain) {
    auto server = makeServer();
    EXPECT_EQ(server->state(), HttpServerIOState::stopped);
    EXPECT_THROW(server->port(), SocketError);
    server->start(0, true);
    const std::uint16_t port = server->port();
    server->start(0, true);  // running: nothing happens
    EXPECT_EQ(server->port(), port);
    EXPECT_TRUE(server->isIPv4());

    auto second = makeServer();
    try {
        second->start(port, true);
        ADD_FAILURE() << "two servers on one port";
    } catch (const SocketError& error) {
        EXPECT_EQ(error.code(), SocketError::Code::bindFailed);
        EXPECT_EQ(error.message(), "Address already in use");
    }
    EXPECT_EQ(second->state(), HttpServerIOState::starting);

    // Clients in every mood: silent, in the middle of a head, kept alive.
    std::vector<std::unique_ptr<Client>> clients;
    for (const std::string_view bytes :
         {"", "GET /text HT", "GET /text HTTP/1.1\r\nConnection: keep-alive\r\n\r\n"}) {
        clients.push_back(std::make_unique<Client>(port));
        clients.back()->send(bytes);
    }
    EXPECT_NE(clients.back()->readUntil("hello").size(), 0u);
    server->stop();
    EXPECT_EQ(server->state(), HttpServerIOState::stopped);
    for (const auto& client : clients) {
        const std::string rest = client->readAll();
        EXPECT_TRUE(rest.empty() || rest == "RESET") << rest;
    }
    EXPECT_FALSE(Client(port).connected());

    second->start(port, true);
    for (const auto& next : {second, server}) {
        next->start(port, true);
        EXPECT_NE(converse(*next, "GET /text HTTP/1.1\r\n\r\n"), "");
        next->stop();
    }
}

TEST(HttpServer, EndsWithItsLastReferenceAndDropsNoAnswerForIt) {
    std::promise<void> entered, released;
    auto server = makeServer();
    server->get["/slow"] = [&](HttpRequest&) {
        entered.set_value();
        released.get_future().wait();
        return HttpResponse::ok(Body::text("done"s));
    };
    server->start(0, true);
    const Client idle(server->port()), busy(server->port());
    idle.send("GET /text HTTP/1.1\r\nConnection: keep-alive\r\n\r\n");
    EXPECT_NE(idle.readUntil("hello").size(), 0u);
    busy.send("GET /slow HTTP/1.1\r\nConnection: keep-alive\r\n\r\n");
    entered.get_future().wait();
    server.reset();
    released.set_value();
    EXPECT_EQ(flattened(busy.readAll()), "HTTP/1.1 200 OK; Connection: keep-alive; Content-Length: 4|done");
    EXPECT_EQ(idle.readAll(), "");
}

TEST(HttpServer, DropsTheAnswerOfAHandlerThatStopsIt) {
    auto server = makeServer();
    std::promise<void> stopped;
    server->get["/stop"] = [&](HttpRequest&) {
        server->stop();
        stopped.set_value();
        return HttpResponse::ok(Body::text("late"s));
    };
    server->start(0, true);
    EXPECT_EQ(converse(*server, "GET /stop HTTP/1.1\r\n\r\n").substr(0, 4), "");
    stopped.get_future().wait();
    EXPECT_EQ(server->state(), HttpServerIOState::stopped);
}

TEST(HttpServer, LeaksNothingOverManyStartsUnderLoad) {
    auto server = makeServer();
    const std::size_t before = openDescriptors();
    std::atomic<std::uint16_t> port{0};
    std::atomic<bool> done{false};
    std::atomic<int> answered{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < 4; ++i) {
        clients.emplace_back([&] {
            while (!done) {
                if (port == 0) continue;
                const Client client(port);
                for (int n = 0; n < 3 && client.connected(); ++n) {
                    client.send("GET /text HTTP/1.1\r\nConnection: keep-alive\r\n\r\n");
                    if (client.readUntil("hello").ends_with("hello")) ++answered;
                }
            }
        });
    }
    for (int round = 0; round < 100; ++round) {
        server->start(0, true);
        const int answeredBefore = answered;
        port = server->port();
        if (round % 4 == 0)
            while (answered == answeredBefore) std::this_thread::yield();
        server->stop();
        port = 0;
    }
    done = true;
    for (std::thread& client : clients) client.join();
    expectDescriptorsBack(before);
}

}  // namespace
}  // namespace quorel::http
