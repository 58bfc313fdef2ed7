#include "quorel/session/quorel_api.h"

#include <gtest/gtest.h>

#include "quorel/session/scripted_backend.h"

namespace quorel {
namespace {

constexpr const char* base = "https://backend.test/v1/";
using Lines = std::vector<std::string>;

struct CountingExecutor final : Executor {
    void post(std::function<void()> function) override {
        ++posted;
        inner.post(std::move(function));
    }
    bool isCurrent() const override { return inner.isCurrent(); }
    std::atomic<int> posted = 0;
    BackgroundExecutor inner;
};

class QuorelAPITest : public ::testing::Test {
protected:
    QuorelAPITest() {
        PlatformServices services = PlatformServices::standard(loop, nullptr);
        services.urlSession->registerProtocol(backend);
        services.background = background;
        session.install(std::move(services));
    }

    // Runs the operation on `executor` to its end: when the content was created, or the text of what was thrown.
    template <class Model>
    std::string outcome(Task<Model> operation, Executor& executor) {
        std::atomic<bool> done = false;
        std::string result;
        startTask(executor, keepOutcome(std::move(operation), executor, result, done));
        EXPECT_TRUE(loop->drainUntil([&] { return done.load(); }));
        return result;
    }

    const std::shared_ptr<ManualRunLoop> loop = std::make_shared<ManualRunLoop>();
    const std::shared_ptr<ScriptedBackend> backend = std::make_shared<ScriptedBackend>(base);
    const std::shared_ptr<CountingExecutor> background = std::make_shared<CountingExecutor>();
    Quorel session;
    const QuorelAPI api{session, base};

    template <class Model>
    static Task<void> keepOutcome(Task<Model> operation, Executor& executor, std::string& result,
                                  std::atomic<bool>& done) {
        try {
            const Model model = co_await std::move(operation);
            if constexpr (std::is_same_v<Model, PlayerConfigModel>) {
                result = DateFormatter("HH:mm:ss.SSS").string(model.createdAt);
            }
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

    EXPECT_EQ(background->posted, 8) << "to build each request, and to decode its reply";
    EXPECT_EQ(backend->paths(), (Lines{"players/configuration/a/b%20c%3F", "videos/film", "live-streams/show",
                                       "live-streams/show/status"}));
    std::string token = "first";
    for (const URLRequest& request : backend->requests()) {
        EXPECT_EQ(request.headers.fields(),
                  (std::vector<HTTPHeaders::Field>{{"Authorization", "Bearer " + token}}));
        EXPECT_EQ(request.httpMethod, "GET");
        EXPECT_FALSE(request.httpBody);
        EXPECT_EQ(request.timeoutInterval, 60.0);
        token = "";
    }
}

TEST_F(QuorelAPITest, RepliesBecomeModelsOrErrors) {
    session.initialize("t", std::nullopt, false);
    const auto body = [](const std::string& createdAt) {
        return R"({"title":"","broadcasting":false,"videoOnDemand":true,"assets":{"hls":"","thumbnail":"",)"
               R"("endScreen":"","playerColor":""},"createdAt":")" +
               createdAt + R"("})";
    };
    const std::string good = body("2024-01-02T03:04:05.678Z");
    const std::vector<std::tuple<int, std::string, std::string>> rows{
        {200, good, "03:04:05.678"},
        {299, body("2024-01-02T03:04:05+0100"), "02:04:05.000"},
        {200, body("2024-01-02 03:04:05"), "Decode error"},
        {200, "", "Decode error"},
        {204, "", "Decode error"},
        {300, good, "Unknown content"},
        {199, good, "Unknown content"},
        {401, good, "Authorization error"},
    };
    for (const auto& [status, reply, expected] : rows) {
        backend->reply("players/configuration/film", status, reply);
        EXPECT_EQ(outcome(api.fetchPlayerConfig("film"), *loop), expected) << status << " " << reply;
    }
}

TEST_F(QuorelAPITest, AHostMayTakeItsServicesBackWhileARequestIsOnItsWay) {
    struct Late final : Executor {
        void post(std::function<void()> function) override { waiting = std::move(function); }
        bool isCurrent() const override { return false; }
        std::function<void()> waiting;
    };
    const auto late = std::make_shared<Late>();
    PlatformServices services = session.services();
    services.background = late;
    session.install(std::move(services));
    session.initialize("t", std::nullopt, false);
    std::atomic<bool> done = false;
    std::string result;
    startTask(*loop, keepOutcome(api.fetchLiveStatus("show"), *loop, result, done));
    loop->drain();
    session.install({});
    while (const auto function = std::exchange(late->waiting, nullptr)) function();
    EXPECT_EQ(result, "The load was cancelled. (the session has no services)");
    EXPECT_EQ(outcome(api.fetchLiveStatus("show"), *loop), result) << "a poll, say";
}

TEST(QuorelAPIDeathTest, ABaseURLThatIsNoneStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Quorel session;
    EXPECT_DEATH(QuorelAPI(session, "https://[backend/v1/"), "base URL does not parse");
    EXPECT_DEATH(QuorelAPI(session, "backend/v1/"), "base URL does not parse");
}

}  // namespace
}  // namespace quorel
