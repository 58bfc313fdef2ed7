#include "benchmarks/httpserver/bench_server.h"
#include "quorel/httpserver/http_server.h"
#include "quorel/httpserver/websocket.h"

using namespace quorel::http;

int main() {
    auto server = std::make_shared<HttpServer>();
    server->get["/"] = websocket({.binary = [](const std::shared_ptr<WebSocketSession>& session, auto bytes) {
        session->writeBinary(bytes);
    }});
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(0, true);
    bench::announceAndWait(server->port());
}
