// How the servers that only show what system calls cost take their connections: a thread for each.
#pragma once

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cstdlib>
#include <thread>

#include "benchmarks/httpserver/bench_server.h"

namespace bench {

// Serves on a port of 127.0.0.1 that the system chooses, until run.py closes standard input; then the process ends.
// `serve` gets each connection, which it closes. Returns when no port can be had.
template <class Serve>
void listenAndServe(Serve serve) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    const int on = 1;
    setsockopt(listener, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    sockaddr_in address{};
    socklen_t length = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listener, 1024) != 0) return;
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    std::thread([listener, serve] {
        for (int client; (client = accept(listener, nullptr, nullptr)) >= 0;) std::thread(serve, client).detach();
    }).detach();
    announceAndWait(ntohs(address.sin_port));
    std::_Exit(0);
}

}  // namespace bench
