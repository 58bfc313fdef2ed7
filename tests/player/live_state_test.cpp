#include <fmt/format.h>

#include <cmath>
#include <limits>

#include "quorel/foundation/json.h"
#include "quorel/foundation/log.h"
#include "quorel/player/cdn_switch.h"
#include "quorel/player/countdown.h"
#include "quorel/telemetry/analytics_api.h"
#include "quorel/ui/pointer.h"
#include "tests/player/player_fixture.h"
#include "tests/presentation/drawn.h"

namespace quorel::testing {
namespace {

using std::chrono::seconds;

constexpr double start1970 = 1'700'000'000;

struct Status {
    bool isLive = false;
    bool isPaused = false;
    bool isShutdown = false;
    double eventDate = start1970 - 1;
    std::string cdn = "https://cdn.test";
    int lastUpdate = 1;
    std::string screens = "https://img.test/";

    std::string body() const {
        return fmt::format(
            R"({{"assets":{{"thumbnail":"","startSoonScreen":"{0}soon","pauseScreen":"{0}pause",)"
            R"("endingScreen":"{0}end","playerColor":""}},"isLive":{1},"isPaused":{2},"isShutdown":{3},)"
            R"("serverTime":0,"eventDate":{4},"cdn":{{"cdn":"{5}","autoCdn":false,"lastUpdate":{6}}}}})",
            screens, isLive, isPaused, isShutdown, eventDate, cdn, lastUpdate);
    }
};

class Live : public PlayerTest {
protected:
    Live() {
        backend->reply("players/configuration/match", 200, configBody("match", false));
        backend->reply("live-streams/match", 200, liveBody);
        factory->setScript("https://cdn.test/match.m3u8", SimulatedScript::live());
    }
    void setStatus(const std::string& id, const Status& status) {
        backend->reply("live-streams/" + id + "/status", 200, status.body());
    }
    std::shared_ptr<ui::View> named(std::string_view name) const {
        for (const auto& view : controller->view()->subviews()) {
            if (view->accessibilityName() == name) return view;
        }
        return nullptr;
    }
    std::string countdown() const {
        const auto label = std::dynamic_pointer_cast<ui::Label>(named("Countdown"));
        return label ? label->text() : "(no countdown)";
    }
    long asked(const std::string& path) const {
        const Lines paths = backend->paths();
        return std::count(paths.begin(), paths.end(), path);
    }
    // A countdown keeps the controller too.
    void loadAndKeep(const std::string& id, long holders) {
        controller->setup(id, false, 0, {}, {});
        ASSERT_TRUE(loop->drainUntil([&] {
            return controller->contentState() != ContentState::idle && controller.use_count() == holders;
        })) << controller.use_count();
    }
};

TEST(Countdown, SaysTheTimeInPortuguese) {
    const std::pair<double, const char*> rows[] = {
        {0.999, "Em 00 dias, 00 horas e 00 minutos"},
        {1, "Em 01 segundo"},
        {59.9, "Em 59 segundos"},
        {60, "Em 01 minuto e 00 segundos"},
        {121, "Em 02 minutos e 01 segundo"},
        {3599, "Em 59 minutos e 59 segundos"},
        {3600, "Em 01 hora e 00 minutos"},
        {7260, "Em 02 horas e 01 minuto"},
        {86399, "Em 23 horas e 59 minutos"},
        {86400, "Em 01 dia, 00 horas e 00 minutos"},
        {172799, "Em 01 dia, 23 horas e 59 minutos"},
        {8640000 + 3600, "Em 100 dias, 01 hora e 00 minutos"},
        {172800, "Em 02 dias, 00 horas e 00 minutos"},
        {-59, "Em 00 dias, 00 horas e 00 minutos"},
        {-3661, "Em 00 dias, -1 horas e -1 minutos"},
        {-90000, "Em -1 dias, -1 horas e 00 minutos"},
        {-0x1p63, "Em -106751991167300 dias, -15 horas e -30 minutos"},
    };
    for (const auto& [time, text] : rows) EXPECT_EQ(countdownText(time), text) << time;
    for (const double time : {0x1p63, -0x1.0000000000001p63, std::nan(""), HUGE_VAL}) {
        EXPECT_DEATH(countdownText(time), "fatal: a countdown");
    }
}

TEST(CDNSwitch, ReplacesTheHost) {
    const struct {
        const char* hls;
        const char* cdn;
        std::optional<std::string> result;
    } rows[] = {
        {"https://a.example/x/y.m3u8", "https://b.example", "https://b.example/x/y.m3u8"},
        {"https://a.example/x/y.m3u8", "https://a.example", {}},
        {"https://a.example/x?u=https://a.example/z", "https://b.example", "https://b.example/x?u=/z"},
        {"https://a.example", "https://b.example", "https://b.example"},
        {"https:///a.example//x", "https://a.example", {}},
        {"http://a.example/x", "https://b.example", "https://b.examplehttp://a.example/x"},  // only https is known
        // No CDN: nothing would ever be found on it, and the player would go on switching.
        {"https://a.example/x", "https://b.example/", {}},
        {"https://a.example/x", "https://", {}},
        {"https://a.example/x", "", {}},
    };
    for (const auto& row : rows) EXPECT_EQ(hlsOnCDN(row.hls, row.cdn), row.result) << row.hls;
    EXPECT_DEATH(hlsOnCDN("https:///", "https://b.example"), "without a host");
}

TEST_F(Live, TheFirstStatusDecidesWhatIsShown) {
    const struct {
        Status status;
        ContentState state;
        const char* front;  // the view in front of all
    } rows[] = {
        {{.isLive = true, .isPaused = true, .isShutdown = true}, ContentState::paused, "Live badge"},
        {{.isLive = true, .isShutdown = true}, ContentState::shutdown, "Status screen"},
        {{.eventDate = start1970 + 3600}, ContentState::startSoon, "Status screen"},
        {{.isLive = true}, ContentState::live, "Live badge"},
        {{.isPaused = true, .screens = " \\u0001"}, ContentState::paused, "Live badge"},  // no URL: no screen
    };
    for (const auto& row : rows) {
        const bool onAir = row.state == ContentState::live;
        SCOPED_TRACE(row.status.body());
        controller = QuorelPlayerViewController::make(session, api);
        EXPECT_EQ(controller->contentState(), ContentState::idle);
        const auto before = asked("players/configuration/show");
        setStatus("show", row.status);
        loadAndKeep("show", row.state == ContentState::startSoon ? 2 : 1);
        EXPECT_EQ(controller->contentState(), row.state);
        EXPECT_EQ(controller->view()->subviews().back()->accessibilityName(), row.front);
        EXPECT_EQ(controller->view()->subviews().front() == named("Status screen"), onAir);
        EXPECT_EQ(named("Status screen") == nullptr, row.status.screens != "https://img.test/");
        EXPECT_EQ(factory->latest()->source().has_value(), onAir);
        EXPECT_EQ(asked("players/configuration/show") - before, onAir ? 1 : 2) << "asked again for a new state";
        controller->stopAnalytics();
        loop->advance(durationFromSeconds(1));  // ends the countdown, which holds its controller
    }
}

TEST_F(Live, AScreenThatStaysAsksForNoConfigurationAgain) {
    for (const char* id : {"show", "match"}) setStatus(id, {.isPaused = true});
    load("show");
    backend->fail("players/configuration/match", URLError::Code::timedOut);
    load("match");
    EXPECT_EQ(recorder->take(), Lines{R"(error(error: "The request timed out.", canRetry: false))"});
    backend->reply("players/configuration/match", 200, configBody("match", false));
    const auto before = asked("players/configuration/match");
    // What is left of the first load's configuration makes a second call with the same id a repetition.
    load("match");
    EXPECT_EQ(asked("players/configuration/match"), before);
    load("show");
    EXPECT_EQ(asked("players/configuration/show"), 3);
}

TEST_F(Live, PollingMovesNothingButTheCountdown) {
    setStatus("show", {});
    loadAndKeep("show", 2);
    EXPECT_EQ(countdown(), "(no countdown)");
    loop->advance(seconds(1));
    EXPECT_EQ(countdown(), "Em 02 segundos");
    controller->layoutIn({0, 0, 640, 360});
    EXPECT_TRUE(drawn(controller->view(), loop->now())
                    .ends_with("0,0 640x360 image \n80,16 544x24 'Em 02 segundos' Poppins-Bold18 scale 0.7\n"));
    setStatus("show", {.isLive = true, .eventDate = start1970 - 3600});
    loop->advance(seconds(9));
    ASSERT_TRUE(loop->drainUntil([&] { return asked("live-streams/show/status") == 2; }));
    ASSERT_TRUE(loop->drainUntil([&] { return controller.use_count() == 2; }));
    loop->advance(seconds(1));
    EXPECT_EQ(countdown(), "Em 01 hora e 00 minutos");
    EXPECT_EQ(controller->contentState(), ContentState::startSoon);
    EXPECT_FALSE(factory->latest()->source());

    setStatus("show", {.eventDate = start1970 + 1e6});
    controller->updateLivePlayerStatus();
    ASSERT_TRUE(loop->drainUntil([&] { return asked("live-streams/show/status") == 3; }));
    ASSERT_TRUE(loop->drainUntil([&] { return controller.use_count() == 2; }));
    loop->advance(seconds(1));
    EXPECT_EQ(countdown(), "");
    EXPECT_EQ(controller.use_count(), 1) << "before the date the first tick ends the countdown";

    load("film");
    loop->advance(seconds(1));
    controller->playerUI()->toggleControls();
    EXPECT_EQ(ui::hitTest(controller->view(), {604, 28}), controller->playerUI()->settingsButton())
        << "the screen and the countdown take no taps from another content's controls";
}

TEST_F(Live, OnlyAnotherHostWithAnotherStampIsACDNChange) {
    setStatus("show", {.isLive = true});
    const struct {
        Status status;
        bool changes;
    } rows[] = {
        {{.isLive = true, .cdn = "https://b.test", .lastUpdate = 1}, false},
        {{.isLive = true, .cdn = "https://cdn.test", .lastUpdate = 2}, false},
        {{.isLive = true, .cdn = "https://b.test", .lastUpdate = 2}, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.status.body());
        load("show");
        const auto listeners = factory->latest()->listenerCount();
        setStatus("match", row.status);
        load("match");
        // The inner load of the new address begins analytics once more; the outer one then sets the old address.
        EXPECT_EQ(factory->latest()->listenerCount() - listeners, row.changes ? 2u : 0u);
        EXPECT_EQ(factory->latest()->source()->source.src, "https://cdn.test/match.m3u8");
        EXPECT_TRUE(factory->latest()->paused());
    }
    controller->stopAnalytics();
}

// What every poll of two players gets is right or wrong by turns, and every ping is lost.
TEST_F(Live, ADayOfItLeavesEverythingInItsPlace) {
    constexpr std::size_t ticks = 8640;
    const auto ingest = std::make_shared<ScriptedBackend>(std::string(AnalyticsAPI::defaultBaseURL()));
    ingest->fail("", URLError::Code::networkConnectionLost);
    PlatformServices services = session.services();
    services.background = loop;  // decoding in the loop's turn saves a wait for a thread
    services.urlSession->registerProtocol(ingest);
    session.install(std::move(services));
    const LogCapture log;

    // One player counts to an event, another one plays.
    setStatus("show", {.eventDate = start1970});
    setStatus("match", {.isLive = true});
    SimulatedScript script = SimulatedScript::live();
    script.timeUpdateInterval = 1;
    factory->setScript("https://cdn.test/match.m3u8", script);
    auto playing = QuorelPlayerViewController::make(session, api);
    playing->setup("match", false, 0, {}, {});
    loadAndKeep("show", 2);
    ASSERT_TRUE(loop->drainUntil([&] { return playing.use_count() == 1; }));
    playing->play();

    double eventDate = start1970;
    std::string lines = "[AVSubtitlesLoader] Unable to find a valid TextTrackDescription for sideloading.\n";
    for (std::size_t tick = 0; tick < ticks; ++tick) {
        if (tick == 5) session.setSessionId("ssid");
        backend->forgetRequests();
        const Status status{.isLive = tick % 2 == 0,
                            .isPaused = tick % 3 == 0,
                            .eventDate = start1970 - static_cast<double>(tick % 1000)};
        for (const char* path : {"live-streams/show/status", "live-streams/match/status"}) {
            backend->reply(path, tick % 8 == 1 ? 503 : 200, tick % 8 == 2 ? "{\"assets\":{" : status.body());
            if (tick % 8 == 0) backend->fail(path, URLError::Code::timedOut);
            if (tick % 8 <= 2) lines += "QuorelSDK: error updating player status\n";
        }
        if (tick % 8 > 2) eventDate = status.eventDate;
        loop->advance(seconds(10));
        ASSERT_TRUE(loop->drainUntil([&] {
            return backend->paths().size() == 2 && controller.use_count() == 2 && playing.use_count() == 1;
        })) << tick;
        EXPECT_EQ(controller->contentState(), ContentState::startSoon);
        EXPECT_EQ(playing->contentState(), ContentState::live);
    }
    loop->advance(seconds(1));
    EXPECT_EQ(countdown(), countdownText(loop->secondsSince1970() - eventDate));
    EXPECT_FALSE(playing->player()->paused());
    EXPECT_NEAR(playing->player()->currentTime(), 10.0 * ticks + 1, 0.5);

    const std::weak_ptr<QuorelPlayerViewController> players[] = {controller, playing};
    setStatus("show", {.eventDate = start1970 + 1e9});  // the end of the countdown
    loop->advance(seconds(9));
    ASSERT_TRUE(loop->drainUntil([&] { return backend->paths().size() == 4 && playing.use_count() == 1; }));
    playing->stopAnalytics();
    playing = controller = nullptr;
    ASSERT_TRUE(loop->drainUntil([&] {
        loop->advance(seconds(1));
        return players[0].expired() && players[1].expired();
    }));
    loop->advance(seconds(5));  // what the overlays held weakly ends
    EXPECT_EQ(loop->pendingTimers(), 0u);
    EXPECT_TRUE(factory->players().empty());
    EXPECT_EQ(log.text(), lines + "QuorelPlayer deinit\nQuorelPlayer deinit\n");

    ASSERT_TRUE(loop->drainUntil([&] { return ingest->requests().size() == ticks - 4; }));
    std::int64_t sequence = 5;  // those before were counted, too
    for (const URLRequest& request : ingest->requests()) {
        const JSONValue ping = parseJSON(request.httpBody.value_or("null"));
        ASSERT_EQ(ping["eventos"][0]["dados"]["sequencia"].asInt(), sequence++);
    }
}

}  // namespace
}  // namespace quorel::testing
