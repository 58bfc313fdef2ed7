// Tests an application in virtual time: its player meets a film that stalls, without network, decoder or waiting.
#include <cstdio>

#include "engines/simulated/simulated_engine.h"
#include "quorel/quorel.h"
#include "quorel/session/scripted_backend.h"

using namespace quorel;
using namespace std::chrono_literals;

// [test]
struct App : QuorelPlayerListener {  // what is to be tested: a spinner that shows while the film waits
    void onEvent(const QuorelPlayerEvent& event) override {
        if (event.getIf<QuorelPlayerEvent::waiting>()) spinner = true;
        if (event.getIf<QuorelPlayerEvent::playing>()) spinner = false;
    }
    bool spinner = true;
};

int main() {
    auto loop = std::make_shared<ManualRunLoop>();
    auto engines = std::make_shared<SimulatedEngineFactory>(loop);
    engines->setScript("https://cdn.example/film.m3u8", {.duration = 90, .stalls = {{.at = 10, .lasts = 2}}});
    auto backend = std::make_shared<ScriptedBackend>(std::string(QuorelAPI::defaultBaseURL()));
    const std::string images = R"("thumbnail":"","endScreen":"","playerColor":"",)";
    backend->reply("players/configuration/film", 200,
                   R"({"title":"Film","broadcasting":false,"videoOnDemand":true,)"
                   R"("createdAt":"2024-01-02T03:04:05Z","assets":{)" +
                       images + R"("hls":"https://cdn.example/film.m3u8"}})");
    backend->reply("videos/film", 200, R"({"videoId":"v","assets":{)" + images + R"("iframe":"","player":""}})");
    auto services = PlatformServices::standard(loop, engines);
    services.urlSession->registerProtocol(backend);
    Quorel::shared().install(std::move(services));
    Quorel::shared().initialize("token", std::nullopt, false);
    auto app = std::make_shared<App>();
    auto player = QuorelPlayerViewController::make();
    player->registerPlayerListener(app);
    player->setup("film", /*hideUI=*/false, /*startTime=*/0, std::nullopt, {});
    loop->drainUntil([&] { return engines->latest() && engines->latest()->source(); });  // the backend has threads
    const auto spinnerAfter = [&](Duration time) { return loop->advance(time), app->spinner; };
    const bool passed = !spinnerAfter(5s) && spinnerAfter(6s) && !spinnerAfter(2s);
    Quorel::shared().install({});
    return std::puts(passed ? "passed" : "FAILED"), passed ? 0 : 1;
}
// [/test]
