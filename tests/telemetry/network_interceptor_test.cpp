#include "quorel/telemetry/network_interceptor.h"

#include <gtest/gtest.h>

#include <future>

#include "quorel/foundation/log.h"
#include "tests/foundation/scripted_server.h"

namespace quorel {
namespace {

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
    const std::string head = "HTTP/1.1 201 Created\r\nContent-Length: 2\r\n\r\n";
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
        const ScriptedServer server([&](auto) {
            return ScriptedServer::Reply{row.reply, ScriptedServer::After::close};
        });
        URLRequest request(*URL::parse(server.url("/x")));
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
        EXPECT_EQ(log.text(), "📡 Intercepted Request: " + server.url("/x") + "\n" + row.lines);
        request.properties["NetworkInterceptorHandled"] = "true";
        EXPECT_FALSE(interceptor.canInit(request));
    }
}

TEST(NetworkInterceptor, StandsBetweenASessionAndTheNetwork) {
    const ScriptedServer server([](auto) { return ScriptedServer::ok("hello"); });
    const LogCapture log;
    std::promise<std::string> reply;
    {
        UrlSession session;
        session.registerProtocol(std::make_shared<NetworkInterceptor>());
        session
            .dataTask(URLRequest(*URL::parse(server.url("/x"))),
                      [&](UrlSession::Result result) { reply.set_value(std::get<DataAndResponse>(result).data); })
            ->resume();
        EXPECT_EQ(reply.get_future().get(), "hello");
    }
    EXPECT_EQ(log.text(), "📡 Intercepted Request: " + server.url("/x") + "\n📥 Response: hello\n");
}

}  // namespace
}  // namespace quorel
