// CivetWeb with as many threads as connections.
#include <civetweb.h>

#include <cstring>

#include "bench_server.h"

namespace {

int answer(mg_connection* connection, void* data) {
    const auto& body = *static_cast<const std::string_view*>(data);
    std::string head =
        "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: keep-alive\r\n\r\n";
    if (body.size() <= 1024) {
        head.append(body);
        mg_write(connection, head.data(), head.size());
    } else {
        mg_write(connection, head.data(), head.size());
        mg_write(connection, body.data(), body.size());
    }
    return 200;
}

}  // namespace

int main(int count, char** arguments) {
    mg_init_library(0);
    const char* options[] = {"listening_ports",
                             "127.0.0.1:0",
                             "num_threads",
                             "300",
                             "enable_keep_alive",
                             "yes",
                             "keep_alive_timeout_ms",
                             "60000",
                             "tcp_nodelay",
                             "1",
                             "listen_backlog",
                             "1024",
                             nullptr};
    static std::string film;
    if (count > 1) film = std::string(arguments[1]) + "/film.bin";
    mg_callbacks callbacks{};
    mg_context* context = mg_start(&callbacks, nullptr, options);
    if (context == nullptr) return 1;
    std::string_view small = bench::smallBody, large = bench::largeBody();
    mg_set_request_handler(context, "/small", answer, &small);
    mg_set_request_handler(context, "/large", answer, &large);
    mg_set_request_handler(
        context, "/files/film.bin",
        [](mg_connection* connection, void* path) {
            mg_send_mime_file(connection, static_cast<const char*>(path), nullptr);
            return 200;
        },
        film.data());
    mg_server_port ports[1]{};
    if (mg_get_server_ports(context, 1, ports) < 1) return 1;
    bench::announceAndWait(static_cast<unsigned>(ports[0].port));
    mg_stop(context);
    mg_exit_library();
}
