// A WebSocket server that says what it is told. Try: npx wscat -c ws://127.0.0.1:8080/echo
//
//   echo_server [PORT]        PORT 0 lets the system choose; ends with Enter or the end of standard input
#include <cstdio>
#include <cstdlib>

#include "quorel/httpserver/http_server.h"
#include "quorel/httpserver/websocket.h"

using namespace quorel::http;

int main(int count, char** arguments) {
    using Session = std::shared_ptr<WebSocketSession>;
    auto server = std::make_shared<HttpServer>();
    server->get["/echo"] = websocket({
        .text = [](const Session& session, std::string_view text) { session->writeText(text); },
        .binary = [](const Session& session, std::span<const std::uint8_t> bytes) { session->writeBinary(bytes); },
        .limits = {.message = 64 << 20},
    });
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(static_cast<std::uint16_t>(count > 1 ? std::atoi(arguments[1]) : 8080), true);
    std::printf("ws://127.0.0.1:%u/echo until Enter is pressed\n", server->port());
    std::fflush(stdout);
    std::getchar();
}
