#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <future>
#include <thread>

#include "quorel/foundation/url_session.h"
#include "tests/foundation/tls_server.h"

namespace quorel {
namespace {

using ::testing::StartsWith;

// Stands before a server and closes a connection once the server has sent so many bytes.
class CuttingProxy {
public:
    CuttingProxy(std::uint16_t server, std::size_t bytes) : server_(server), bytes_(bytes) {
        listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = loopback(0);
        socklen_t size = sizeof address;
        EXPECT_EQ(::bind(listener_, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(::listen(listener_, 8), 0);
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] {
            for (int client; (client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;
                 ::close(client)) {
                forward(client);
            }
        });
    }
    ~CuttingProxy() {
        ::shutdown(listener_, SHUT_RDWR);
        thread_.join();
        ::close(listener_);
    }
    CuttingProxy(const CuttingProxy&) = delete;

    std::string url() const { return "https://127.0.0.1:" + std::to_string(port_) + "/"; }
    std::size_t forwarded() const { return forwarded_; }

private:
    static sockaddr_in loopback(std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        return address;
    }
    void forward(int client) {
        const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = loopback(server_);
        EXPECT_EQ(::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        std::atomic<std::size_t> asked = 0;
        std::thread asking([&] { copy(client, server, SIZE_MAX, asked); });
        copy(server, client, bytes_, forwarded_);
        ::shutdown(client, SHUT_RDWR);
        asking.join();
        ::close(server);
    }
    // At most so many bytes.
    static void copy(int from, int to, std::size_t most, std::atomic<std::size_t>& copied) {
        std::array<char, 4096> buffer;
        while (most > 0) {
            const ssize_t got = ::recv(from, buffer.data(), std::min(buffer.size(), most), 0);
            if (got <= 0 || ::send(to, buffer.data(), static_cast<std::size_t>(got), MSG_NOSIGNAL) < got) return;
            most -= static_cast<std::size_t>(got);
            copied += static_cast<std::size_t>(got);
        }
    }

    const std::uint16_t server_;
    const std::size_t bytes_;
    int listener_;
    std::uint16_t port_ = 0;
    std::atomic<std::size_t> forwarded_ = 0;
    std::thread thread_;
};

// The status of the reply, or the text of the error.
std::string outcome(const std::string& url, const std::string& caFile) {
    UrlSession::Configuration configuration;
    configuration.caFile = caFile;
    UrlSession session(configuration);
    std::promise<std::string> outcome;
    session
        .dataTask(URLRequest(*URL::parse(url)),
                  [&](UrlSession::Result result) {
                      const auto* reply = std::get_if<DataAndResponse>(&result);
                      outcome.set_value(reply != nullptr
                                            ? std::to_string(*reply->response.statusCode)
                                            : localizedDescription(std::get<std::exception_ptr>(result)));
                  })
        ->resume();
    return outcome.get_future().get();
}

// Whoever stands between may close the connection, but the part that came before is no reply: this one says no length.
TEST(UrlSessionTls, AConnectionThatIsCutIsNoReply) {
    const TlsIssuer issuer;
    const std::string trusted = issuer.file("ca.pem");
    const TlsServer good(issuer, "good.pem");
    std::size_t whole = 0;
    {
        const CuttingProxy proxy(good.port(), 1'000'000);
        EXPECT_EQ(outcome(proxy.url(), trusted), "200");
        whole = proxy.forwarded();
    }
    ASSERT_GT(whole, 1000U);
    for (const std::size_t bytes : {std::size_t{0}, std::size_t{60}, whole / 2, whole - 100, whole - 30}) {
        const CuttingProxy proxy(good.port(), bytes);
        EXPECT_THAT(
            outcome(proxy.url(), trusted),
            ::testing::AnyOf(StartsWith("The connection to the server was lost. (127.0.0.1 port "),
                             StartsWith("A secure connection to the server could not be made. (127.0.0.1 ")))
            << bytes << " of " << whole << " bytes";
    }
}

}  // namespace
}  // namespace quorel
