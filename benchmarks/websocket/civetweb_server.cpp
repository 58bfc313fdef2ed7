// CivetWeb with as many threads as connections.
#include <civetweb.h>

#include "benchmarks/httpserver/bench_server.h"

namespace {

int echo(mg_connection* connection, int, char* data, size_t size, void*) {
    mg_websocket_write(connection, MG_WEBSOCKET_OPCODE_BINARY, data, size);
    return 1;
}

}  // namespace

int main() {
    mg_init_library(0);
    const char* options[] = {"listening_ports", "127.0.0.1:0", "num_threads",          "100",   "tcp_nodelay", "1",
                             "listen_backlog",  "1024",        "websocket_timeout_ms", "60000", nullptr};
    mg_callbacks callbacks{};
    mg_context* context = mg_start(&callbacks, nullptr, options);
    if (context == nullptr) return 1;
    mg_set_websocket_handler(context, "/", nullptr, nullptr, echo, nullptr, nullptr);
    mg_server_port ports[1]{};
    if (mg_get_server_ports(context, 1, ports) < 1) return 1;
    bench::announceAndWait(static_cast<unsigned>(ports[0].port));
    std::_Exit(0);
}
