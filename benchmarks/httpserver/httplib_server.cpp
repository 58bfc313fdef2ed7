// cpp-httplib with as many threads as connections and keep-alive without end.
#include <httplib.h>

#include <limits>
#include <thread>

#include "bench_server.h"

int main(int count, char** arguments) {
    httplib::Server server;
    server.new_task_queue = [] { return new httplib::ThreadPool(300); };
    server.set_keep_alive_max_count(std::numeric_limits<std::size_t>::max());
    server.set_tcp_nodelay(true);
    server.Get("/small", [](const httplib::Request&, httplib::Response& response) {
        response.set_content(std::string(bench::smallBody), "text/plain");
    });
    server.Get("/large", [](const httplib::Request&, httplib::Response& response) {
        response.set_content(bench::largeBody(), "text/plain");
    });
    if (count > 1) server.set_mount_point("/files", arguments[1]);
    const int port = server.bind_to_any_port("127.0.0.1");
    if (port < 0) return 1;
    std::thread listening([&] { server.listen_after_bind(); });
    bench::announceAndWait(static_cast<unsigned>(port));
    server.stop();
    listening.join();
}
