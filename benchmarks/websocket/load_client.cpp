// Asks a WebSocket echo server as fast as it answers: one thread, many sockets, one message on its way per socket.
//
//   websocket_bench_client PORT SOCKETS BYTES SECONDS
//
// Prints messages per second and the median and 99th percentile of the round trip in microseconds. Every answer is
// checked in length, every 1024th in full.
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/websocket/messages.h"

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "websocket_bench_client: %s\n", what);
    std::exit(1);
}

struct Connection {
    int descriptor;
    std::string_view toSend;
    std::size_t received = 0;
    std::uint64_t answers = 0;
    Clock::time_point begun;
    bool waitsToWrite = false;
};

int connectTo(std::uint16_t port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) fail("cannot connect");
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const std::string request =
        "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";
    if (send(descriptor, request.data(), request.size(), 0) < 0) fail("cannot send");
    std::string answer;
    char byte = 0;
    while (!answer.ends_with("\r\n\r\n") && recv(descriptor, &byte, 1, 0) == 1) answer.push_back(byte);
    if (!answer.starts_with("HTTP/1.1 101")) fail("the handshake was refused");
    return descriptor;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 5) fail("usage: PORT SOCKETS BYTES SECONDS");
    const auto port = static_cast<std::uint16_t>(std::atoi(arguments[1]));
    const auto sockets = static_cast<std::size_t>(std::atoi(arguments[2]));
    const auto size = static_cast<std::size_t>(std::atoi(arguments[3]));
    const auto length = std::chrono::duration<double>(std::atof(arguments[4]));

    const std::string request = bench::question(size);
    const std::string expected = bench::answer(size);
    std::string answer(expected.size(), '\0');

    const int poll = epoll_create1(0);
    std::vector<Connection> connections(sockets);
    std::vector<float> latencies;
    latencies.reserve(1 << 22);

    const auto write = [&](Connection& c, std::uint32_t index) {
        while (!c.toSend.empty()) {
            const ssize_t sent = send(c.descriptor, c.toSend.data(), c.toSend.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            if (sent < 0 && errno != EAGAIN) fail("the server is gone");
            if (sent < 0) break;
            c.toSend.remove_prefix(static_cast<std::size_t>(sent));
        }
        if (c.waitsToWrite == !c.toSend.empty()) return;
        c.waitsToWrite = !c.waitsToWrite;
        epoll_event event{.events = EPOLLIN | (c.waitsToWrite ? std::uint32_t{EPOLLOUT} : 0u),
                          .data = {.u32 = index}};
        epoll_ctl(poll, EPOLL_CTL_MOD, c.descriptor, &event);
    };
    const auto ask = [&](Connection& c, std::uint32_t index) {
        c.begun = Clock::now();
        c.toSend = request;
        c.received = 0;
        write(c, index);
    };
    // The bytes of all answers go to one place; only those of a whole answer read at once can be compared there.
    const auto read = [&](Connection& c, std::uint32_t index, bool measuring) {
        const std::size_t had = c.received;
        const ssize_t got = recv(c.descriptor, answer.data() + had, expected.size() - had, MSG_DONTWAIT);
        if (got == 0 || (got < 0 && errno != EAGAIN)) fail("the server is gone");
        if (got > 0) c.received += static_cast<std::size_t>(got);
        if (c.received < expected.size()) return;
        if (c.answers++ % 1024 == 0 && had == 0 && answer != expected) fail("a wrong answer");
        if (measuring)
            latencies.push_back(std::chrono::duration<float, std::micro>(Clock::now() - c.begun).count());
        ask(c, index);
    };

    for (std::uint32_t i = 0; i < sockets; ++i) {
        connections[i] = {.descriptor = connectTo(port), .toSend = {}, .begun = {}};
        epoll_event event{.events = EPOLLIN, .data = {.u32 = i}};
        epoll_ctl(poll, EPOLL_CTL_ADD, connections[i].descriptor, &event);
    }
    for (std::uint32_t i = 0; i < sockets; ++i) ask(connections[i], i);

    const auto warm = Clock::now() + length / 5;
    auto begin = Clock::now();
    bool measuring = false;
    std::vector<epoll_event> events(sockets);
    while (true) {
        const auto now = Clock::now();
        if (!measuring && now >= warm) {
            measuring = true;
            begin = now;
        }
        if (measuring && now >= begin + length) break;
        const int ready = epoll_wait(poll, events.data(), static_cast<int>(events.size()), 1000);
        for (int i = 0; i < ready; ++i) {
            const epoll_event& event = events[static_cast<std::size_t>(i)];
            Connection& c = connections[event.data.u32];
            if ((event.events & EPOLLOUT) != 0) write(c, event.data.u32);
            if ((event.events & ~std::uint32_t{EPOLLOUT}) != 0) read(c, event.data.u32, measuring);
        }
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    if (latencies.empty()) fail("no answer came");
    std::sort(latencies.begin(), latencies.end());
    std::printf("%.0f %.1f %.1f\n", static_cast<double>(latencies.size()) / seconds,
                static_cast<double>(latencies[latencies.size() / 2]),
                static_cast<double>(latencies[latencies.size() * 99 / 100]));
}
