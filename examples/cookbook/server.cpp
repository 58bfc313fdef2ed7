// Recipes with the HTTP server. It listens on loopback, on a port that the system chooses.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <string>

#include "examples/cookbook/recipes.h"
#include "quorel/foundation/url_session.h"
#include "quorel/httpserver/file_handlers.h"
#include "quorel/httpserver/http_server.h"
#include "quorel/httpserver/websocket.h"

using namespace quorel;
using namespace quorel::http;

namespace cookbook {
namespace {

DataAndResponse ask(const HttpServer& server, const std::string& path, const HTTPHeaders& headers = {}) {
    UrlSession session;
    std::promise<UrlSession::Result> reply;
    URLRequest request(*URL::parse("http://127.0.0.1:" + std::to_string(server.port()) + path));
    request.headers = headers;
    session.dataTask(request, [&](UrlSession::Result result) { reply.set_value(std::move(result)); })->resume();
    auto result = reply.get_future().get();
    if (const auto* error = std::get_if<std::exception_ptr>(&result)) std::rethrow_exception(*error);
    return std::get<DataAndResponse>(result);
}

// What comes back for the bytes, up to the end that is expected.
std::string exchange(std::uint16_t port, std::string_view sent, std::string_view end) {
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    std::string got;
    if (connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        send(client, sent.data(), sent.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(sent.size())) {
        char byte;
        while (!got.ends_with(end) && recv(client, &byte, 1, 0) == 1) got += byte;
    }
    close(client);
    return got;
}

}  // namespace

void serveRoutes() {
    // [routes]
    auto server = std::make_shared<HttpServer>();
    server->get["/hello/:name"] = [](HttpRequest& request) {  // on a thread of its connection; may block
        return HttpResponse::ok(HttpResponseBody::text("Hello " + request.params.at(":name")));
    };
    server->get["/status"] = [](HttpRequest& request) {
        return HttpResponse::ok(HttpResponseBody::json(JSONObject{{"ok", true}, {"you", *request.address}}));
    };
    server->middleware.push_back([](HttpRequest& request) -> std::optional<HttpResponse> {
        if (request.headers.count("x-forbidden") > 0) return HttpResponse::forbidden();
        return std::nullopt;  // goes on to the routes
    });
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(/*port=*/0, /*forceIPv4=*/true);  // 0: server->port() tells which one; throws SocketError
    // [/routes]
    expect(ask(*server, "/hello/you").data == "Hello you", "the parameter");
    expect(ask(*server, "/status").data == R"({"ok":true,"you":"127.0.0.1"})", "the object");
    HTTPHeaders forbidden;
    forbidden.set("X-Forbidden", "1");
    expect(ask(*server, "/status", forbidden).response.statusCode == 403, "the middleware");
}

void serveFiles() {
    const auto directory = std::filesystem::temp_directory_path() / ("cookbook-www-" + std::to_string(getpid()));
    std::filesystem::create_directories(directory / "posters");
    std::ofstream(directory / "index.html") << "<p>It works.</p>";
    std::ofstream(directory / "posters" / "film.svg") << "<svg/>";
    auto server = std::make_shared<HttpServer>();
    // [static-files]
    // "/files/posters%2Ffilm.svg" is directory/posters/film.svg; what leads out of the directory is 404.
    server->get["/files/:path"] = shareFilesFromDirectory(directory.string());
    server->get["/"] = shareFile((directory / "index.html").string());
    // [/static-files]
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(0, true);
    const auto poster = ask(*server, "/files/posters%2Ffilm.svg");
    const bool safe = ask(*server, "/files/..%2F..%2Fetc%2Fpasswd").response.statusCode == 404;
    const bool home = ask(*server, "/").data == "<p>It works.</p>";
    std::filesystem::remove_all(directory);
    expect(poster.data == "<svg/>" && poster.response.headers.value("Content-Type") == "image/svg+xml", "a file");
    expect(safe && home, "nothing else");
}

void echoWebSocket() {
    using Session = std::shared_ptr<WebSocketSession>;
    auto server = std::make_shared<HttpServer>();
    // [websocket-echo]
    server->get["/echo"] = websocket({
        .text = [](const Session& session, std::string_view text) { session->writeText(text); },
        .binary = [](const Session& session, std::span<const std::uint8_t> bytes) { session->writeBinary(bytes); },
        .limits = {.message = 1 << 20},  // bytes; a larger message ends the session
    });
    // [/websocket-echo]
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(0, true);
    // The handshake of RFC 6455 1.3, and a text frame "hi" under a mask of zeros.
    const std::string handshake =
        "GET /echo HTTP/1.1\r\nHost: x\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";
    const std::string hello("\x81\x82\0\0\0\0hi", 8);
    const std::string reply = exchange(server->port(), handshake + hello, "\x81\x02hi");
    expect(reply.starts_with("HTTP/1.1 101 ") && reply.ends_with("\x81\x02hi"), reply);
    expect(ask(*server, "/echo").response.statusCode == 400, "a request that is no handshake");
}

}  // namespace cookbook
