// A client that sends just the bytes it is given, over a real socket to 127.0.0.1.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "quorel/httpserver/http_server.h"

namespace quorel::http {

class Client {
public:
    explicit Client(std::uint16_t port) : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        connected_ = connect(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        const int on = 1;
        setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    ~Client() { close(descriptor_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool connected() const { return connected_; }
    void send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t sent = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0) return;
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
    }
    void endSending() const { shutdown(descriptor_, SHUT_WR); }
    // Until `end` was read, or the stream ended; "RESET" is appended when that was not in good order.
    std::string readUntil(std::string_view end) const {
        std::string text;
        std::array<char, 64 * 1024> buffer;
        while (end.empty() || !text.ends_with(end)) {
            const ssize_t got = recv(descriptor_, buffer.data(), end.empty() ? buffer.size() : 1, 0);
            if (got < 0) return text + "RESET";
            if (got == 0) break;
            text.append(buffer.data(), static_cast<std::size_t>(got));
        }
        return text;
    }
    std::string readAll() const { return readUntil(""); }
    // Fewer at the end of the stream.
    std::string readExactly(std::size_t size) const {
        std::string text;
        while (text.size() < size) {
            const std::size_t have = text.size();
            text.resize(have + std::min(size - have, std::size_t{64 * 1024}));
            const ssize_t got = recv(descriptor_, text.data() + have, text.size() - have, 0);
            text.resize(have + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
            if (got <= 0) break;
        }
        return text;
    }
    void resetOnClose() const {
        const linger now{.l_onoff = 1, .l_linger = 0};
        setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    }

private:
    int descriptor_;
    bool connected_;
};

// A response with its header lines sorted and joined by "; ": "HTTP/1.1 200 OK; Content-Length: 2; ...|body". The
// line that names the server is checked and left out.
inline std::string flattened(std::string_view response) {
    const std::size_t end = response.find("\r\n\r\n");
    if (end == response.npos) return std::string(response);
    std::vector<std::string> lines;
    for (std::string_view head = response.substr(0, end + 2); !head.empty();) {
        lines.emplace_back(head.substr(0, head.find("\r\n")));
        head.remove_prefix(lines.back().size() + 2);
    }
    std::sort(lines.begin() + 1, lines.end());
    std::string text = lines.front();
    const std::string server = "Server: QuorelHTTP " + std::string(HttpServer::VERSION);
    if (std::find(lines.begin(), lines.end(), server) == lines.end()) text += "; NO SERVER LINE";
    for (std::size_t i = 1; i < lines.size(); ++i)
        if (lines[i] != server) text += "; " + lines[i];
    return text + "|" + std::string(response.substr(end + 4));
}

inline std::size_t openDescriptors() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                                  std::filesystem::directory_iterator()));
}

// A connection's last call may still hold its descriptor for a moment.
inline void expectDescriptorsBack(std::size_t before) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (openDescriptors() > before && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    EXPECT_LE(openDescriptors(), before);
}

}  // namespace quorel::http
