// A player between a backend that says what the test wrote and an engine on virtual time.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engines/simulated/simulated_engine.h"
#include "quorel/player/controller.h"
#include "quorel/session/scripted_backend.h"

namespace quorel::testing {

struct Recorder final : QuorelPlayerListener {
    void onEvent(const QuorelPlayerEvent& event) override {
        events.push_back(describe(event));
        if (const auto act = then) act(event);
    }
    std::vector<std::string> take() { return std::exchange(events, {}); }

    std::vector<std::string> events;
    std::function<void(const QuorelPlayerEvent&)> then;
};

using Lines = std::vector<std::string>;

inline std::string configBody(const std::string& id, bool videoOnDemand) {
    return R"({"title":"Title of )" + id + R"(","broadcasting":false,"videoOnDemand":)" +
           (videoOnDemand ? "true" : "false") + R"(,"assets":{"hls":"https://cdn.test/)" + id +
           R"(.m3u8","thumbnail":"https://cdn.test/t.png","endScreen":"","playerColor":""},)"
           R"("createdAt":"2024-01-02T03:04:05Z"})";
}
// `more` goes into the assets, as in ",\"availableSrt\":{}".
inline std::string videoBody(const std::string& more = "") {
    return R"({"assets":{"iframe":"","player":"","thumbnail":"","endScreen":"")" + more + R"(},"videoId":"v"})";
}

constexpr const char* liveBody =
    R"({"assets":{"thumbnail":"","startSoonScreen":"","pauseScreen":"","endingScreen":""},"isPaused":false})";

class PlayerTest : public ::testing::Test {
protected:
    PlayerTest() {
        PlatformServices services = PlatformServices::standard(loop, factory);
        services.urlSession->registerProtocol(backend);
        services.vendorIdentifier = std::make_shared<InstallationIdentifier>("");  // nothing is kept
        session.install(std::move(services));
        session.initialize("token", std::nullopt, false);
        for (const char* film : {"film", "other"}) {
            backend->reply(std::string("players/configuration/") + film, 200, configBody(film, true));
            backend->reply(std::string("videos/") + film, 200, videoBody());
        }
        backend->reply("players/configuration/show", 200, configBody("show", false));
        backend->reply("live-streams/show", 200, liveBody);
        backend->reply("live-streams/show/status", 200,
                       R"({"assets":{"thumbnail":"","startSoonScreen":"","pauseScreen":"","endingScreen":"",)"
                       R"("playerColor":""},"isLive":true,"isPaused":false,"isShutdown":false,"serverTime":0,)"
                       R"("eventDate":0,"cdn":{"cdn":"https://cdn.test","autoCdn":false,"lastUpdate":1}})");
        factory->setScript("https://cdn.test/show.m3u8", SimulatedScript::live());
        controller->registerPlayerListener(recorder);
    }

    // A load keeps the controller until it is done, and nothing else here does.
    void finishLoads() {
        ASSERT_TRUE(loop->drainUntil([&] { return controller.use_count() == 1; })) << "a load does not end";
    }
    void load(const std::string& id, double startTime = 0, const std::optional<std::string>& subtitle = {}) {
        controller->setup(id, false, startTime, subtitle, {});
        finishLoads();
    }
    // Until the background work of the moment has come so far.
    void drainUntilAsked(const std::string& path) {
        ASSERT_TRUE(loop->drainUntil([&] {
            const Lines paths = backend->paths();
            return std::find(paths.begin(), paths.end(), path) != paths.end();
        }));
    }

    const std::shared_ptr<ManualRunLoop> loop = std::make_shared<ManualRunLoop>();
    const std::shared_ptr<SimulatedEngineFactory> factory = std::make_shared<SimulatedEngineFactory>(loop);
    const std::shared_ptr<ScriptedBackend> backend = std::make_shared<ScriptedBackend>("https://backend.test/v1/");
    Quorel session;
    QuorelAPI api{session, "https://backend.test/v1/"};
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
    std::shared_ptr<QuorelPlayerViewController> controller = QuorelPlayerViewController::make(session, api);
};

}  // namespace quorel::testing
