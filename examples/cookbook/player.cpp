// Recipes around a player. They play on the simulated engine, in virtual time, from a backend that is written here.
#include <memory>
#include <string>
#include <vector>

#include "engines/simulated/simulated_engine.h"
#include "engines/vast/vast_ad_service.h"
#include "examples/cookbook/recipes.h"
#include "quorel/foundation/log.h"
#include "quorel/quorel.h"
#include "quorel/session/scripted_backend.h"
#include "quorel/sideload/master_playlist_parser.h"
#include "quorel/sideload/sideload.h"
#include "quorel/telemetry/network_interceptor.h"

using namespace quorel;
using namespace std::chrono_literals;

namespace cookbook {
namespace {

constexpr std::string_view film =
    R"({"title":"Film","broadcasting":false,"videoOnDemand":true,"createdAt":"2024-01-02T03:04:05Z",)"
    R"("assets":{"hls":"https://cdn.test/film.m3u8","thumbnail":"","endScreen":"","playerColor":""}})";
constexpr std::string_view show =
    R"({"title":"Show","broadcasting":false,"videoOnDemand":false,"createdAt":"2024-01-02T03:04:05Z",)"
    R"("assets":{"hls":"https://cdn.test/show.m3u8","thumbnail":"","endScreen":"","playerColor":""}})";
constexpr std::string_view details =
    R"({"videoId":"v","assets":{"iframe":"","player":"","thumbnail":"","endScreen":"",)"
    R"("availableSrt":{"en":"https://subs.test/en.srt","pt-br":"https://subs.test/pt.srt"}},)"
    R"("ads":{"vast":[{"url":"https://ads.test/tag?cust_params="}]}})";
constexpr std::string_view screens =
    R"("assets":{"thumbnail":"","startSoonScreen":"","pauseScreen":"","endingScreen":"","playerColor":""})";

// An application's parts in one place.
struct Application {
    Application() {
        services.urlSession->registerProtocol(backend);
        services.urlSession->registerProtocol(cdn);
        cdn->reply("film.m3u8", 200, "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=800000\nlow.m3u8\n");
        backend->reply("players/configuration/film", 200, std::string(film));
        backend->reply("videos/film", 200, std::string(details));
        backend->reply("players/configuration/show", 200, std::string(show));
        backend->reply("live-streams/show", 200, "{" + std::string(screens) + R"(,"isPaused":true})");
        backend->reply("live-streams/show/status", 200,
                       "{" + std::string(screens) +
                           R"(,"isLive":true,"isPaused":true,"isShutdown":false,"serverTime":0,"eventDate":0,)"
                           R"("cdn":{"cdn":"https://cdn.test","autoCdn":false,"lastUpdate":1}})");
        engines->setScript(
            "https://cdn.test/film.m3u8",
            {.duration = 90,
             .tracks = {{.label = "English", .language = "en"}, {.label = "Português", .language = "pt-br"}}});
    }
    std::shared_ptr<QuorelPlayerViewController> makePlayer(std::shared_ptr<QuorelPlayerListener> listener) {
        session.install(services);
        session.initialize("token", std::nullopt, false);
        auto player = QuorelPlayerViewController::make(session, api);
        player->registerPlayerListener(listener);
        return player;
    }
    // A load has threads behind it; it is over when it has let go of the player and the engine has its playlist.
    void wait(const std::shared_ptr<QuorelPlayerViewController>& player) {
        expect(loop->drainUntil([&] { return player.use_count() == 1; }), "the load ends");
        const auto engine = std::dynamic_pointer_cast<SimulatedEngine>(player->player());
        if (!engine || !engine->source()) return;
        expect(loop->drainUntil([&] { return !engine->interceptedManifest().empty(); }), "the playlist comes");
    }

    std::shared_ptr<ManualRunLoop> loop = std::make_shared<ManualRunLoop>();
    std::shared_ptr<SimulatedEngineFactory> engines = std::make_shared<SimulatedEngineFactory>(loop);
    std::shared_ptr<ScriptedBackend> backend = std::make_shared<ScriptedBackend>("https://api.test/v1/");
    PlatformServices services = PlatformServices::standard(loop, engines);
    std::shared_ptr<ScriptedBackend> cdn = std::make_shared<ScriptedBackend>("https://cdn.test/");
    Quorel session;
    QuorelAPI api{session, "https://api.test/v1/"};
    LogCapture quiet;
};

}  // namespace

// [listen-to-events]
struct Screen : QuorelPlayerListener {
    void onEvent(const QuorelPlayerEvent& event) override {
        using Event = QuorelPlayerEvent;
        if (const auto* update = event.getIf<Event::timeUpdate>()) {
            position = update->time;  // seconds, about four times a second
        } else if (const auto* error = event.getIf<Event::error>()) {
            message = error->error;  // a sentence for people
            mayRetry = error->canRetry;
        } else if (event.getIf<Event::waiting>()) {
            spinner = true;
        } else if (event.getIf<Event::playing>()) {
            spinner = false;
        } else if (event.getIf<Event::ended>()) {
            over = true;
        }
    }
    double position = 0;
    std::string message;
    bool mayRetry = false, spinner = true, over = false;
};
// [/listen-to-events]

void listenToEvents() {
    Application app;
    auto screen = std::make_shared<Screen>();
    auto player = app.makePlayer(screen);
    player->setup("film", false, 0, std::nullopt, {});
    app.wait(player);
    // The tag of the film finds no ad service: the player says so in its log and plays the film.
    app.loop->advance(5s);
    expect(!screen->spinner && screen->position > 4, "it plays");
    player->seekTo(89);
    app.loop->advance(3s);
    expect(screen->over && screen->message.empty(), "it ends");

    auto other = std::make_shared<Screen>();
    auto missing = app.makePlayer(other);
    missing->setup("nothing", false, 0, std::nullopt, {});
    app.wait(missing);
    expect(other->message == "Unknown content" && !other->mayRetry, "an id that nobody knows");
}

void showSubtitles() {
    Application app;
    struct Subtitles : QuorelPlayerListener {
        void onEvent(const QuorelPlayerEvent& event) override {
            if (const auto* found = event.getIf<QuorelPlayerEvent::subtitlesAvailable>()) menu = found->subtitles;
            if (const auto* chosen = event.getIf<QuorelPlayerEvent::subtitleSelected>())
                current = chosen->subtitle;
        }
        std::vector<std::string> menu;
        std::optional<std::string> current;
    };
    auto listener = std::make_shared<Subtitles>();
    auto player = app.makePlayer(listener);
    // [show-subtitles]
    // The language to begin with; the case does not matter.
    player->setup("film", /*hideUI=*/false, /*startTime=*/0, /*subtitle=*/"pt-br", {});
    // [/show-subtitles]
    app.wait(player);
    app.loop->advance(1s);
    expect(listener->menu == std::vector<std::string>{"en", "pt-br"} && listener->current == "pt-br",
           "the subtitle shows");
    // [change-subtitles]
    player->selectSubtitle("en");          // one of subtitlesAvailable
    player->selectSubtitle(std::nullopt);  // none; subtitleSelected tells each change
    // [/change-subtitles]
    app.loop->advance(1s);
    expect(!listener->current, "no subtitle shows");
}

void followLiveContent() {
    Application app;
    auto player = app.makePlayer(std::make_shared<Screen>());
    player->setup("show", false, 0, std::nullopt, {});
    app.wait(player);
    // [live-content]
    const auto textFor = [](ContentState state) -> std::string {
        switch (state) {
            case ContentState::idle:
                return "";  // on demand, or not loaded yet
            case ContentState::startSoon:
                return "soon";  // no source
            case ContentState::paused:
                return "paused";  // no source
            case ContentState::shutdown:
                return "over";  // no source
            case ContentState::live:
                return "on air";  // a source, paused until somebody plays it
        }
        return "";
    };
    std::string badge = textFor(player->contentState());
    // A player evaluates its title once. To follow it, ask the backend and make the player anew.
    // [/live-content]
    expect(badge == "paused" && !player->player()->source(), "no source while it is paused");
}

void playAds() {
    Application app;
    auto& services = app.services;
    auto& loop = app.loop;
    auto adServer = std::make_shared<ScriptedBackend>("https://ads.test/");
    adServer->reply("tag?cust_params=age=30&plan=free", 200,
                    R"(<VAST version="4.0"><Ad id="1"><InLine><Creatives><Creative><Linear>)"
                    R"(<Duration>00:00:05</Duration><MediaFiles><MediaFile type="video/mp4">)"
                    R"(https://cdn.test/ad.mp4</MediaFile></MediaFiles></Linear></Creative></Creatives>)"
                    R"(</InLine></Ad></VAST>)");
    services.urlSession->registerProtocol(adServer);
    app.engines->setScript("https://cdn.test/ad.mp4", {.duration = 5});
    // [ads]
    auto service = VastAdService::make(loop, services.urlSession, services.engineFactory);
    services.imaFactory = service->imaFactory();                     // the tag at the start
    services.imaIntegrationFactory = service->integrationFactory();  // breaks in the content...
    services.engineFactory = service->engineFactory();               // ...which its engines play
    // [/ads]
    auto screen = std::make_shared<Screen>();
    auto player = app.makePlayer(screen);
    // [ad-targeting]
    // Merged into the item cust_params of each tag's URL.
    player->setup("film", false, 0, std::nullopt, {{"age", "30"}, {"plan", "free"}});
    // [/ad-targeting]
    app.wait(player);
    expect(loop->drainUntil([&] { return app.engines->players().size() == 2; }), "an engine for the ad");
    loop->advance(3s);
    expect(screen->position == 0, "the film waits");
    loop->advance(5s);
    expect(screen->position > 1, "the film plays");
}

void sideloadSubtitles() {
    Application app;
    const auto session = app.services.urlSession;
    const auto player = app.engines->makePlayer(std::nullopt, {});
    // [sideload]
    SourceDescription source;
    source.source = TypedSource{.src = "https://cdn.test/film.m3u8", .type = "application/x-mpegurl"};
    source.textTracks = {{std::make_shared<TextTrackDescription>("https://subs.test/pt.srt", "pt-br",
                                                                 /*default=*/true, TextTrackKind::subtitles,
                                                                 "Português", TextTrackFormat::SRT)}};
    // In place of player->setSource(source), on any engine that intercepts manifests.
    setSourceWithSubtitles(player, source, {.urlSession = session});
    // [/sideload]
    expect(player->developerSettings()->manifestInterceptor() != nullptr,
           "the loader stands before the playlists");
}

void rewritePlaylist() {
    // [rewrite-playlist]
    const auto parser = MasterPlaylistParser::make(*URL::parse("https://cdn.test/film/master.m3u8"));
    expect(parser->accept("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=800000\nlow.m3u8\n"), "a playlist");
    const std::string rewritten = parser->rewrite({std::make_shared<TextTrackDescription>(
        "https://subs.test/pt.srt", "pt-br", true, TextTrackKind::subtitles, "Português", TextTrackFormat::SRT)});
    // #EXT-X-STREAM-INF has SUBTITLES="..." now, its URI is variantm3u8://https://cdn.test/film/low.m3u8,
    // and a row #EXT-X-MEDIA:TYPE=SUBTITLES names subtitlesm3u8://https://subs.test/pt.srt
    // [/rewrite-playlist]
    expect(rewritten.find("variantm3u8://https://cdn.test/film/low.m3u8") != rewritten.npos &&
               rewritten.find("subtitlesm3u8://https://subs.test/pt.srt") != rewritten.npos,
           rewritten);
}

// [own-engine-factory]
// Stands before another factory and prepares each engine that it makes.
class QuietEngines final : public EngineFactory {
public:
    explicit QuietEngines(std::shared_ptr<EngineFactory> inner) : inner_(std::move(inner)) {}

    std::shared_ptr<THEOplayer> makePlayer(std::optional<ui::Rect> frame,
                                           const THEOplayerConfiguration& configuration) override {
        auto engine = inner_->makePlayer(frame, configuration);
        engine->setVolume(0.3);
        engine->addEventListener(PlayerEventTypes::ERROR,
                                 [](const ErrorEvent& event) { logLine("engine: " + event.error); });
        return engine;
    }

private:
    const std::shared_ptr<EngineFactory> inner_;
};
// [/own-engine-factory]

void standBeforeAnEngine() {
    Application app;
    app.services.engineFactory = std::make_shared<QuietEngines>(app.engines);
    app.engines->setScript("https://cdn.test/film.m3u8", {.error = SimulatedError{{}, "No such file."}});
    auto screen = std::make_shared<Screen>();
    auto player = app.makePlayer(screen);
    player->setup("film", false, 0, std::nullopt, {});
    app.wait(player);
    app.loop->advance(1s);
    expect(player->player()->volume() == 0.3 && screen->mayRetry, "the engine is prepared");
    expect(app.quiet.text().find("engine: No such file.") != std::string::npos, app.quiet.text());
}

void trustIssuers() {
    Application app;
    auto& services = app.services;
    // [trusted-issuers]
    UrlSession::Configuration configuration;
    configuration.caFile = "/etc/example/issuers.pem";
    services.urlSession = std::make_shared<UrlSession>(configuration);
    // [/trusted-issuers]
    expect(services.urlSession != nullptr, "a session; the file is read by its first load over TLS");
}

void watchTheNetwork() {
    Application app;
    auto& services = app.services;
    // [network-interceptor]
    // For a debugging build: header fields are printed as they are, bearer tokens among them.
    services.urlSession->registerProtocol(std::make_shared<NetworkInterceptor>());
    setLogSink([](std::string_view line) { std::fprintf(stderr, "%.*s\n", int(line.size()), line.data()); });
    // [/network-interceptor]
    setLogSink({});
    expect(NetworkInterceptor().canInit(URLRequest(*URL::parse("https://api.test/"))), "it takes every request");
}

}  // namespace cookbook
