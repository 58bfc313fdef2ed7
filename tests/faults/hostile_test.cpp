// What somebody tries who can reach the server: a page in a browser on the same machine, another program, a request
// that hides another one.
#include <gtest/gtest.h>

#include <atomic>

#include "quorel/foundation/log.h"
#include "quorel/httpserver/http_server.h"
#include "quorel/httpserver/websocket.h"
#include "tests/httpserver/client.h"

namespace quorel::http {
namespace {

std::string ask(std::uint16_t port, const std::string& request) {
    const Client client(port);
    client.send(request);
    client.endSending();
    return client.readAll();
}

std::string statuses(const std::string& answer) {
    std::string found;
    for (std::size_t at = answer.find("HTTP/1.1 "); at != answer.npos; at = answer.find("HTTP/1.1 ", at + 1)) {
        found += answer.substr(at + 9, 3) + " ";
    }
    return found;
}

// What an application does that serves pages of its own on loopback (docs/security.md): a name that is not its own
// is somebody's who has pointed a name at this machine, another origin is another page's.
std::optional<HttpResponse> onlyOwnPages(HttpRequest& request, std::uint16_t port) {
    const std::string own = "localhost:" + std::to_string(port);
    const auto host = request.headers.find("host");
    const auto origin = request.headers.find("origin");
    const bool isOwn = host != request.headers.end() && host->second == own &&
                       (origin == request.headers.end() || origin->second == "http://" + own);
    return isOwn ? std::nullopt : std::optional(HttpResponse::forbidden());
}

TEST(Hostile, PagesOfOthersAreKeptOutByMiddleware) {
    const LogCapture log;
    const auto server = std::make_shared<HttpServer>();
    server->listenAddressIPv4 = "127.0.0.1";
    std::atomic<std::uint16_t> port = 0;
    std::atomic<int> handled = 0;
    server->middleware.push_back([&](HttpRequest& request) { return onlyOwnPages(request, port); });
    server->post["/state"] = [&](HttpRequest&) {
        ++handled;
        return HttpResponse::accepted();
    };
    server->get["/ws"] = websocket({.connected = [&](const auto&) { ++handled; }});
    server->start(0, true);
    port = server->port();
    const std::string own = "localhost:" + std::to_string(port);
    const std::string upgrade =
        "Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";
    const struct {
        std::string request;
        const char* statuses;
    } rows[] = {
        {"POST /state HTTP/1.1\r\nHost: " + own + "\r\n\r\n", "202 "},
        {"POST /state HTTP/1.1\r\nHost: " + own + "\r\nOrigin: http://" + own + "\r\n\r\n", "202 "},
        {"POST /state HTTP/1.1\r\nHost: " + own + "\r\nOrigin: https://page.example\r\n\r\n", "403 "},
        {"POST /state HTTP/1.1\r\nHost: " + own + "\r\nOrigin: null\r\n\r\n", "403 "},
        {"POST /state HTTP/1.1\r\nHost: rebound.example\r\n\r\n", "403 "},
        {"POST /state HTTP/1.1\r\n\r\n", "403 "},
        {"GET /ws HTTP/1.1\r\nHost: " + own + "\r\nOrigin: http://" + own + "\r\n" + upgrade + "\r\n", "101 "},
        {"GET /ws HTTP/1.1\r\nHost: " + own + "\r\nOrigin: https://page.example\r\n" + upgrade + "\r\n", "403 "},
    };
    for (const auto& row : rows) EXPECT_EQ(statuses(ask(port, row.request)), row.statuses) << row.request;
    EXPECT_EQ(handled, 3);
    server->stop();
}

// A body that the server does not read, or reads otherwise than a proxy before it, is no second request.
TEST(Hostile, RequestsDoNotHideInBodies) {
    const auto server = std::make_shared<HttpServer>();
    server->listenAddressIPv4 = "127.0.0.1";
    (*server)["/a"] = [](HttpRequest&) { return HttpResponse::ok(HttpResponseBody::text("a")); };
    server->start(0, true);
    const std::string hidden = "GET /a HTTP/1.1\r\n\r\n";
    const std::string keepAlive = "Connection: keep-alive\r\n";
    for (const std::string& fields :
         {std::string("Transfer-Encoding: chunked\r\n"),
          "Transfer-Encoding: chunked\r\nContent-Length: " + std::to_string(hidden.size()) + "\r\n",
          std::string("Transfer-Encoding: identity, chunked\r\n")}) {
        const std::string answer =
            ask(server->port(), "POST /a HTTP/1.1\r\n" + keepAlive + fields + "\r\n0\r\n\r\n" + hidden + hidden);
        EXPECT_EQ(statuses(answer), "200 ") << fields;
    }
    // A length that is no number is none: then what follows is a request, as RFC 9112 6.3 has it without a length.
    EXPECT_EQ(statuses(ask(server->port(), "POST /a HTTP/1.1\r\n" + keepAlive + "\r\n" + hidden)), "200 200 ");
    server->stop();
}

TEST(Hostile, ValuesDoNotBecomeHeaderLines) {
    const auto server = std::make_shared<HttpServer>();
    server->listenAddressIPv4 = "127.0.0.1";
    const std::string evil = std::string("/x\r\nSet-Cookie: a=b\r\n\r\n<script>") + '\0';
    server->get["/redirect"] = [&](HttpRequest&) { return HttpResponse::movedTemporarily(evil); };
    server->get["/raw"] = [&](HttpRequest&) {
        return HttpResponse::raw(200, "OK" + evil, HttpHeaders{{"X-Echo", evil}, {evil, "v"}});
    };
    server->start(0, true);
    for (const char* const path : {"/redirect", "/raw"}) {
        const std::string answer = ask(server->port(), std::string("GET ") + path + " HTTP/1.1\r\n\r\n");
        EXPECT_EQ(answer.find("\nSet-Cookie"), answer.npos) << answer;
        EXPECT_EQ(answer.find("\r\n\r\n"), answer.size() - 4) << answer;
    }
    server->stop();
}

}  // namespace
}  // namespace quorel::http
