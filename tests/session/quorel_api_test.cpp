#include "quorel/session/quorel_api.h"

#include <gtest/gtest.h>

#include "quorel/session/scripted_backend.h"

namespace quorel {
namespace {

constexpr const char* base = "https://backend.test/v1/";

std::string configBody(const std::string& createdAt) {
    return R"({"title":"Film","broadcasting":false,"videoOnDemand":true,"assets":{"hls":"h","thumbnail":"t",)"
           R"("endScreen":"e","playerColor":"c"},"createdAt":")" +
           createdAt + R"("})";
}

class QuorelAPITest : public ::testing::Test {
protected:
    QuorelAPITest() {
        services.urlSession->registerProtocol(backend);
        session.install(services);
        services = {};
    }

    // Runs the operation on `executor` to its end: the model's text form, or what was thrown.
    template <class Model>
    std::string outcome(Task<Model> operation, Executor& executor) {
        std::atomic<bool> done = false;
        std::string result;
        startTask(executor, keepOutcome(std::move(operation), executor, result, done));
        EXPECT_TRUE(loop->drainUntil([&] { return done.load(); }));
        return result;
    }
    std::string outcome() { return outcome(api.fetchPlayerConfig("film"), *loop); }

    const std::shared_ptr<ManualRunLoop> loop = std::make_shared<ManualRunLoop>();
    const std::shared_ptr<ScriptedBackend> backend = std::make_shared<ScriptedBackend>(base);
    PlatformServices services = PlatformServices::standard(loop, nullptr);
    Quorel session;
    const QuorelAPI api{session, base};

private:
    template <class Model>
    static Task<void> keepOutcome(Task<Model> operation, Executor& executor, std::string& result,
                                  std::atomic<bool>& done) {
        try {
            const Model model = co_await std::move(operation);
            JSONEncoder encoder;
            encoder.dateFormatter = DateFormatter("HH:mm:ss.SSS");
            result = encoder.encode(model);
        } catch (const std::exception& error) {
            result = error.what();
        }
        EXPECT_TRUE(executor.isCurrent()) << "the result came back on another executor";
        done = true;
    }
};

TEST_F(QuorelAPITest, RequestsCarryTheTokenOfTheMomentAndNothingElse) {
    session.initialize("first", std::nullopt, false);
    outcome(api.fetchPlayerConfig("a/b c?"), *loop);
    session.initialize("", std::nullopt, true);
    outcome(api.fetchVideoDetail("film"), *loop);
    outcome(api.fetchLiveStreamDetails("show"), *loop);
    SerialQueue elsewhere("elsewhere");
    outcome(api.fetchLiveStatus("show"), elsewhere);

    EXPECT_EQ(backend->paths(), (std::vector<std::string>{"players/configuration/a/b%20c%3F", "videos/film",
                                                          "live-streams/show", "live-streams/show/status"}));
    const std::vector<URLRequest> requests = backend->requests();
    EXPECT_EQ(requests[0].headers.fields(), (std::vector<HTTPHeaders::Field>{{"Authorization", "Bearer first"}}));
    EXPECT_EQ(requests[1].headers.fields(), (std::vector<HTTPHeaders::Field>{{"Authorization", "Bearer "}}));
    for (const URLRequest& request : requests) {
        EXPECT_EQ(request.httpMethod, "GET");
        EXPECT_FALSE(request.httpBody);
        EXPECT_EQ(request.timeoutInterval, 60.0);
        EXPECT_EQ(request.cachePolicy, CachePolicy::useProtocolCachePolicy);
    }
}

TEST_F(QuorelAPITest, WithoutATokenNothingIsSent) {
    EXPECT_EQ(outcome(), "Missing token error");
    EXPECT_TRUE(backend->paths().empty());
}

TEST_F(QuorelAPITest, RepliesBecomeModelsOrErrors) {
    session.initialize("t", std::nullopt, false);
    const std::string good = configBody("2024-01-02T03:04:05.678Z");
    struct Row {
        std::optional<int> status;
        std::string body;
        std::string expected;
    };
    const std::vector<Row> rows{
        {200, good, configBody("03:04:05.678")},
        {299, configBody("2024-01-02T03:04:05+0100"), configBody("02:04:05.000")},
        {200, configBody("2024-01-02 03:04:05"), "Decode error"},
        {200, "", "Decode error"},
        {200, "{}", "Decode error"},
        {204, "", "Decode error"},
        {300, good, "Unknown content"},
        {199, good, "Unknown content"},
        {404, "", "Unknown content"},
        {403, "", "Unknown content"},
        {500, good, "Unknown content"},
        {401, good, "Authorization error"},
        {std::nullopt, good, "Authorization error"},
    };
    for (const Row& row : rows) {
        const std::string path = "players/configuration/film";
        if (row.status) {
            backend->reply(path, *row.status, row.body);
        } else {
            backend->replyWithoutHTTP(path, row.body);
        }
        EXPECT_EQ(outcome(), row.expected) << row.status.value_or(0) << " " << row.body;
    }
}

TEST_F(QuorelAPITest, TransportErrorsPassThroughUnchanged) {
    session.initialize("t", std::nullopt, false);
    backend->fail("players/configuration/film", URLError::Code::timedOut);
    EXPECT_EQ(outcome(), URLError(URLError::Code::timedOut).localizedDescription());
}

TEST(QuorelAPIDeathTest, ABaseURLThatIsNoneStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Quorel session;
    EXPECT_DEATH(QuorelAPI(session, "https://[backend/v1/"), "base URL does not parse");
}

}  // namespace
}  // namespace quorel
