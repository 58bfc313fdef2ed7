#include "quorel/telemetry/network_interceptor.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "quorel/foundation/log.h"

namespace quorel {
namespace {

// Answers each connection with the same bytes; nobody listens when they are empty.
class Server {
public:
    explicit Server(std::string reply) : reply_(std::move(reply)), socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        bind(socket_, reinterpret_cast<sockaddr*>(&address), size);
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
        if (reply_.empty()) return;
        listen(socket_, 8);
        thread_ = std::thread([this] {
            for (int one = 0; (one = accept(socket_, nullptr, nullptr)) >= 0; close(one)) {
                char buffer[4096];
                if (recv(one, buffer, sizeof buffer, 0) > 0) send(one, reply_.data(), reply_.size(), MSG_NOSIGNAL);
            }
        });
    }
    ~Server() {
        shutdown(socket_, SHUT_RDWR);
        if (thread_.joinable()) thread_.join();
        close(socket_);
    }
    std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/x"; }

private:
    const std::string reply_;
    const int socket_;
    int port_ = 0;
    std::thread thread_;
};

struct Client final : UrlProtocolClient {
    void didReceiveResponse(URLResponse response) override {
        told += "response " + std::to_string(response.statusCode.value_or(0)) + ", ";
    }
    void didLoad(std::string_view data) override { told += "data " + std::string(data) + ", "; }
    void didFail(const URLError&) override { told += "failure, "; }
    void didFinishLoading() override {
        told += "finish";
        done.set_value();
    }
    std::string told;
    std::promise<void> done;
};

TEST(NetworkInterceptor, ShowsEverythingAndChangesNothing) {
    const std::string head = "HTTP/1.1 201 Created\r\nContent-Length: 2\r\nConnection: close\r\n\r\n";
    const struct {
        std::string reply;
        std::optional<std::string> body;
        std::string told;
        std::string lines;  // behind the first
    } rows[] = {
        {head + "ok", "ção", "response 201, data ok, finish",
         "📝 Headers: [\"A\": \"1\", \"B\": \"2\"]\n📦 Body: ção\n📥 Response: ok\n"},
        {head + "\xff\xfe", "\xff", "response 201, data \xff\xfe, finish",
         "📝 Headers: [\"A\": \"1\", \"B\": \"2\"]\n"},
        {"", {}, "failure, finish", "📝 Headers: [\"A\": \"1\", \"B\": \"2\"]\n"},
    };
    for (const auto& row : rows) {
        const Server server(row.reply);
        URLRequest request(*URL::parse(server.url()));
        request.headers.add("A", "1");
        request.headers.add("B", "2");
        if (row.body) request.httpMethod = "POST";
        request.httpBody = row.body;
        const auto client = std::make_shared<Client>();
        NetworkInterceptor interceptor;
        EXPECT_TRUE(interceptor.canInit(request));
        const LogCapture log;
        interceptor.startLoading(request, client);
        interceptor.stopLoading(client);
        client->done.get_future().wait();
        EXPECT_EQ(client->told, row.told);
        EXPECT_EQ(log.text(), "📡 Intercepted Request: " + server.url() + "\n" + row.lines);
        request.properties["NetworkInterceptorHandled"] = "true";
        EXPECT_FALSE(interceptor.canInit(request));
    }
}

TEST(NetworkInterceptor, StandsBetweenASessionAndTheNetwork) {
    const Server server("HTTP/1.1 200 OK\r\nContent-Length: 5\r\nConnection: close\r\n\r\nhello");
    const LogCapture log;
    std::promise<std::string> reply;
    {
        UrlSession session;
        session.registerProtocol(std::make_shared<NetworkInterceptor>());
        session
            .dataTask(URLRequest(*URL::parse(server.url())),
                      [&](UrlSession::Result result) { reply.set_value(std::get<DataAndResponse>(result).data); })
            ->resume();
        EXPECT_EQ(reply.get_future().get(), "hello");
    }
    EXPECT_EQ(log.text(), "📡 Intercepted Request: " + server.url() + "\n📥 Response: hello\n");
}

}  // namespace
}  // namespace quorel
