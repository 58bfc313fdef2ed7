// What the system calls alone cost: one recv and one send per request, nothing parsed.
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cstdlib>
#include <thread>

#include "bench_server.h"

namespace {

void serve(int client) {
    const auto answer = [](std::string_view body) {
        return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) +
               "\r\nConnection: keep-alive\r\n\r\n" + std::string(body);
    };
    static const std::string small = answer(bench::smallBody), large = answer(bench::largeBody());
    char buffer[8192];
    while (recv(client, buffer, sizeof buffer, 0) > 0) {
        const std::string& bytes = buffer[5] == 'l' ? large : small;
        if (send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) break;
    }
    close(client);
}

}  // namespace

int main() {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    const int on = 1;
    setsockopt(listener, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    sockaddr_in address{};
    socklen_t length = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listener, 1024) != 0)
        return 1;
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    std::thread([listener] {
        for (int client; (client = accept(listener, nullptr, nullptr)) >= 0;) std::thread(serve, client).detach();
    }).detach();
    bench::announceAndWait(ntohs(address.sin_port));
    std::_Exit(0);
}
