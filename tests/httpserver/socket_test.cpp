#include "quorel/httpserver/socket.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <thread>
#include <utility>

namespace quorel::http {
namespace {

using Code = SocketError::Code;

std::pair<std::shared_ptr<Socket>, std::shared_ptr<Socket>> connectedPair() {
    const auto listener = Socket::tcpSocketForListen(0, true, 1, "127.0.0.1");
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    getsockname(listener->socketFileDescriptor(), reinterpret_cast<sockaddr*>(&address), &length);
    EXPECT_EQ(connect(client, reinterpret_cast<sockaddr*>(&address), length), 0);
    return {std::make_shared<Socket>(client), listener->acceptClientSocket()};
}

void expectError(Code code, const std::function<void()>& function) {
    try {
        function();
        ADD_FAILURE() << "nothing thrown";
    } catch (const SocketError& error) {
        EXPECT_EQ(error.code(), code) << error.what();
    }
}

std::string text(const std::vector<std::uint8_t>& bytes) {
    return {bytes.begin(), bytes.end()};
}

TEST(Socket, ReadsLinesAndBytesAndNothingAhead) {
    const auto [a, b] = connectedPair();
    a->writeUTF8("GET / HTTP/1.1\r\nt\tab\xE9\n\nxyz");
    EXPECT_EQ(b->readLine(), "GET / HTTP/1.1");
    EXPECT_EQ(b->readLine(), "tab\xC3\xA9");
    EXPECT_EQ(b->readLine(), "");
    EXPECT_EQ(b->read(), 'x');
    EXPECT_EQ(text(b->read(0)), "");
    EXPECT_EQ(text(b->read(-1)), "");
    EXPECT_EQ(text(b->read(2)), "yz");

    std::string large(300'000, '\0');
    for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i % 251);
    std::thread writer([&large, socket = a] { socket->writeParts("<", large); });
    EXPECT_EQ(text(b->read(300'001)), "<" + large);
    writer.join();
    a->close();
    expectError(Code::recvFailed, [socket = b] { socket->read(1'000'000'000'000); });
    expectError(Code::recvFailed, [socket = b] { socket->readLine(); });
}

TEST(Socket, CopiesFiles) {
    const auto [a, b] = connectedPair();
    for (const std::size_t size : {std::size_t{0}, std::size_t{10}, std::size_t{16'384}, std::size_t{500'000}}) {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
        const std::string content(size, 'f');
        std::fwrite(content.data(), 1, size, file.get());
        std::rewind(file.get());
        std::thread writer([&file, socket = a] { socket->writeFile("head", file.get()); });
        EXPECT_EQ(text(b->read(static_cast<std::int64_t>(size) + 4)), "head" + content);
        writer.join();
        EXPECT_EQ(std::ftell(file.get()), static_cast<long>(size));
    }
}

TEST(Socket, AClosedPeerIsAnErrorAndNoSignal) {
    std::signal(SIGPIPE, SIG_DFL);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
    const std::string content(4 << 20, 'f');
    std::fwrite(content.data(), 1, content.size(), file.get());
    const std::function<void(Socket&)> writes[] = {
        [&](Socket& socket) { socket.writeUTF8(content); },
        [&](Socket& socket) { socket.writeParts("head", content); },
        [&](Socket& socket) {
            try {
                std::rewind(file.get());
                socket.writeFile(file.get());
            } catch (const SocketError& error) {
                EXPECT_EQ(error.message().substr(0, 10), "sendfile: ");
                throw;
            }
        },
    };
    for (const auto& write : writes) {
        const auto [a, b] = connectedPair();
        b->close();
        expectError(Code::writeFailed, [&, socket = a] {
            while (true) write(*socket);
        });
    }
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGPIPE), 0);
}

TEST(Socket, ClosingWakesWhoWaits) {
    const auto [a, b] = connectedPair();
    const auto listener = Socket::tcpSocketForListen(0, true, 1, "127.0.0.1");
    std::thread reader([socket = b] { expectError(Code::recvFailed, [&] { socket->read(); }); });
    std::thread acceptor([&] { expectError(Code::acceptFailed, [&] { listener->acceptClientSocket(); }); });
    for (int i = 0; i < 2; ++i) {
        b->close();
        listener->close();
    }
    reader.join();
    acceptor.join();
    EXPECT_TRUE(b->shutdown());
    expectError(Code::recvFailed, [socket = a] { socket->read(); });
    expectError(Code::recvFailed, [socket = b] { socket->read(); });
    expectError(Code::writeFailed, [socket = b] { socket->writeUTF8("x"); });
    expectError(Code::getSockNameFailed, [&] { listener->port(); });
    expectError(Code::getPeerNameFailed, [socket = b] { socket->peername(); });
}

TEST(Socket, ListensWhereItIsTold) {
    expectError(Code::bindFailed, [] { Socket::tcpSocketForListen(0, true, 1, "127.0.0.1x"); });
    expectError(Code::bindFailed, [] { Socket::tcpSocketForListen(0, true, 1, "::1"); });
    if (std::filesystem::exists("/proc/net/if_inet6")) {
        const auto six = Socket::tcpSocketForListen(0, false, 1, "::1");
        EXPECT_FALSE(six->isIPv4());
        expectError(Code::bindFailed, [&] { Socket::tcpSocketForListen(six->port(), false, 1, "::1"); });
    }
    const auto [a, b] = connectedPair();
    EXPECT_EQ(b->peername(), "127.0.0.1");
    EXPECT_TRUE(b->isIPv4());
}

}  // namespace
}  // namespace quorel::http
