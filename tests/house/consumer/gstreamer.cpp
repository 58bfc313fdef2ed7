// The player with the engine that plays, and a title that is on no server: what comes is one event that says so.
#include <engines/gstreamer/gstreamer_engine.h>
#include <quorel/quorel.h>
#include <quorel/session/scripted_backend.h>

#include <cstdio>

using namespace quorel;

struct Printer : QuorelPlayerListener {
    void onEvent(const QuorelPlayerEvent& event) override {
        std::puts(describe(event).c_str());
        failed = failed || event.getIf<QuorelPlayerEvent::error>();
    }
    bool failed = false;
};

int main() {
    auto loop = std::make_shared<RealRunLoop>();
    auto backend = std::make_shared<ScriptedBackend>(std::string(QuorelAPI::defaultBaseURL()));
    const std::string images = R"("thumbnail":"","endScreen":"","playerColor":"",)";
    backend->reply(
        "players/configuration/film", 200,
        R"({"title":"Film","broadcasting":false,"videoOnDemand":true,"createdAt":"2024-01-02T03:04:05Z",)"
        R"("assets":{)" +
            images + R"("hls":"http://127.0.0.1:1/film.m3u8"}})");
    backend->reply("videos/film", 200, R"({"videoId":"v","assets":{)" + images + R"("iframe":"","player":""}})");
    auto services = PlatformServices::standard(loop, makeGStreamerEngineFactory(loop));
    services.urlSession->registerProtocol(backend);
    Quorel::shared().install(std::move(services));
    Quorel::shared().initialize("token", std::nullopt, false);
    auto player = QuorelPlayerViewController::make();
    auto printer = std::make_shared<Printer>();
    player->registerPlayerListener(printer);
    player->setup("film", false, 0, std::nullopt, {});
    loop->runUntil([&] { return printer->failed; }, std::chrono::seconds(30));
    player.reset();
    Quorel::shared().install({});
    return printer->failed ? 0 : 1;
}
