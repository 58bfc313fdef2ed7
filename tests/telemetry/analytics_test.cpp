#include <gtest/gtest.h>

#include <limits>

#include "engines/simulated/simulated_engine.h"
#include "quorel/foundation/json.h"
#include "quorel/session/scripted_backend.h"
#include "quorel/telemetry/analytics_controller.h"
#include "quorel/telemetry/stream_health_monitor.h"

namespace quorel {
namespace {

using std::chrono::seconds;

struct FixedIdentifier final : VendorIdentifier {
    std::optional<std::string> identifierForVendor() override { return "6F9619FF-8B86-4D01-B42D-00CF4FC964FF"; }
};

class Analytics : public testing::Test {
protected:
    Analytics() {
        PlatformServices services = PlatformServices::standard(loop, factory);
        ingest->fail("in.test/e", URLError::Code::networkConnectionLost);  // which nobody hears of
        services.urlSession->registerProtocol(ingest);
        services.vendorIdentifier = std::make_shared<FixedIdentifier>();
        session.install(std::move(services));
        factory->setDefaultScript(SimulatedScript::live());
    }
    ~Analytics() override { analytics->stop(); }

    void setSource(std::string src) {
        SourceDescription source;
        source.source.src = std::move(src);
        player->setSource(source);
    }
    // The requests of the next `ticks` ticks.
    std::vector<URLRequest> tick(int ticks, std::size_t wanted) {
        loop->advance(seconds(10 * ticks));
        // One more stands for those that must not come.
        session.services()
            .urlSession->dataTask(URLRequest(*URL::parse("https://last.test/")), [](auto) {})
            ->resume();
        std::vector<URLRequest> got;
        EXPECT_TRUE(loop->drainUntil([&] {
            got = ingest->requests();
            return !got.empty() && got.back().url.host() == "last.test";
        }));
        ingest->forgetRequests();
        got.pop_back();
        EXPECT_EQ(got.size(), wanted);
        got.resize(wanted, URLRequest(*URL::parse("https://missing.test/")));
        return got;
    }
    static JSONValue dataOf(const URLRequest& request) {
        return parseJSON(request.httpBody.value_or("null"))["eventos"][0]["dados"];
    }

    const std::shared_ptr<ManualRunLoop> loop = std::make_shared<ManualRunLoop>();
    const std::shared_ptr<SimulatedEngineFactory> factory = std::make_shared<SimulatedEngineFactory>(loop);
    const std::shared_ptr<ScriptedBackend> ingest = std::make_shared<ScriptedBackend>("https://");
    Quorel session;
    std::shared_ptr<THEOplayer> player = factory->makePlayer(ui::Rect{0, 0, 640, 360.5}, {});
    std::shared_ptr<AnalyticsController> analytics = AnalyticsController::make(session, "https://in.test/e");
};

TEST_F(Analytics, APingSaysWhatThePlayerShows) {
    session.setSessionId("session 1");
    setSource("https://cdn.test/show.m3u8");
    player->play();
    analytics->start("show", player);
    loop->advance(std::chrono::milliseconds(9999));
    tick(0, 0);
    loop->advance(std::chrono::milliseconds(1));
    const URLRequest first = tick(0, 1)[0];
    EXPECT_EQ(first.url.absoluteString(), "https://in.test/e");
    EXPECT_EQ(first.httpMethod, "POST");
    EXPECT_EQ(first.timeoutInterval, 60.0);
    HTTPHeaders headers;
    headers.add("x-quorel-ssid", "session 1");
    headers.add("Content-Type", "application/json");
    EXPECT_EQ(first.headers, headers);
    const std::string time = serializeJSON(dataOf(first)["current_time"]);
    EXPECT_EQ(first.httpBody,
              R"({"eventos":[{"evento":"ping","video_nome":"show","dados":{"evento":"ping","video_nome":"show",)"
              R"("usuario_id":"6F9619FF-8B86-4D01-B42D-00CF4FC964FF","fazendo_rebuffer":false,"tamanho_buffer":0,)"
              R"("player_fullscreen":true,"player_autoplay":false,"player_pausado":false,)"
              R"("video_src":"https://cdn.test/show.m3u8","video_altura":360.5,"video_largura":640,)"
              R"("versao_theo":"","current_time":)" +
                  time + R"(,"host":"cdn.test","sequencia":0}}]})");
    EXPECT_NEAR(std::stod(time), 9.9, 0.2);

    // Waiting counts until PLAYING comes, a pause does not end it.
    factory->latest()->simulateStall(100);
    player->pause();
    const auto second = dataOf(tick(1, 1)[0]);
    EXPECT_TRUE(second["fazendo_rebuffer"].asBool());
    EXPECT_TRUE(second["player_pausado"].asBool());
    EXPECT_EQ(second["sequencia"].asInt(), 1);
    player->play();
    EXPECT_FALSE(dataOf(tick(10, 10)[9])["fazendo_rebuffer"].asBool());
}

TEST_F(Analytics, WhatCannotBeToldIsLostInSilence) {
    analytics->start("show", player);
    session.setSessionId("s");
    const struct {
        const char* src;
        std::size_t pings;
        const char* host;
    } rows[] = {
        {"", 0, ""},
        {"https://cdn.test:port/x", 0, ""},
        {"relative/show.m3u8", 1, ""},
        {"https://[::1]/x", 1, "::1"},
    };
    std::int64_t sequence = 0;
    tick(1, 0);  // no source at all
    for (const auto& row : rows) {
        setSource(row.src);
        for (const URLRequest& request : tick(1, row.pings)) {
            EXPECT_EQ(dataOf(request)["host"].asString(), row.host);
            EXPECT_EQ(dataOf(request)["sequencia"].asInt(), sequence++) << "nothing that is not sent is counted";
        }
    }
    player->setFrame({0, 0, std::numeric_limits<double>::infinity(), 9});
    const URLRequest empty = tick(1, 1)[0];
    EXPECT_EQ(empty.httpMethod, "POST");
    EXPECT_FALSE(empty.httpBody || empty.headers.value("Content-Type"));
    EXPECT_EQ(empty.headers.value("x-quorel-ssid"), "s");

    player = nullptr;
    tick(2, 0);
    EXPECT_EQ(analytics.use_count(), 2) << "the timer keeps its controller until stop()";
}

TEST_F(Analytics, TicksWithoutASessionIdAreCounted) {
    setSource("https://cdn.test/show.m3u8");
    analytics->start("show", player);
    tick(7, 0);
    session.setSessionId("s");
    EXPECT_EQ(dataOf(tick(1, 1)[0])["sequencia"].asInt(), 7);
}

TEST_F(Analytics, ASecondStartCountsAnewAndLeavesTheFirstListeners) {
    session.setSessionId("s");
    setSource("https://cdn.test/show.m3u8");
    analytics->start("show", player);
    tick(3, 3);
    const auto count = player->listenerCount();
    analytics->start("other", player);
    EXPECT_EQ(player->listenerCount(), count + 2);
    const auto data = dataOf(tick(1, 1)[0]);
    EXPECT_EQ(data["sequencia"].asInt(), 0);
    EXPECT_EQ(data["video_nome"].asString(), "other");
    analytics->stop();
    analytics->stop();
    EXPECT_EQ(player->listenerCount(), count) << "the first pair stays";
    tick(3, 0);
    EXPECT_EQ(analytics.use_count(), 1);
    EXPECT_EQ(analytics->sequence(), 1);
}

TEST_F(Analytics, AHealthMonitorLetsGo) {
    StreamHealthMonitor monitor;
    for (const bool engineLives : {true, false}) {
        int changes = 0;
        monitor.player = player;
        monitor.listener = player->addEventListener(PlayerEventTypes::READY_STATE_CHANGE,
                                                    [&](const ReadyStateChangeEvent&) { ++changes; });
        monitor.timer = Timer::scheduled(*loop, 1, Timer::Repeats::yes, [&](Timer&) { ++changes; });
        if (!engineLives) player = nullptr;
        monitor.stop();
        if (player) setSource("https://cdn.test/show.m3u8");
        loop->advance(seconds(2));
        EXPECT_EQ(changes, 0);
        EXPECT_FALSE(monitor.timer->isValid());
    }
}

}  // namespace
}  // namespace quorel
