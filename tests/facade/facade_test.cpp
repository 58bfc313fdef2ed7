#include "quorel/facade/quorel_player_swift_ui.h"
#include "quorel/foundation/log.h"
#include "tests/player/player_fixture.h"

namespace quorel::testing {
namespace {

using namespace std::chrono_literals;

TEST(Published, TellsBeforeItChanges) {
    PlayerController facade;
    Lines told;
    auto will = facade.objectWillChange().subscribe(
        [&] { told.push_back("will change from " + std::to_string(facade.isPlaying.get())); });
    auto first = facade.isPlaying.stream().subscribe([&](bool next) {
        told.push_back(std::to_string(facade.isPlaying.get()) + " becomes " + std::to_string(next));
    });
    facade.isPlaying = true;
    EXPECT_EQ(std::exchange(told, {}), (Lines{"will change from 0", "0 becomes 1"}));
    facade.isPlaying = true;
    EXPECT_EQ(std::exchange(told, {}).size(), 2u) << "every write counts";
    Subscription second;
    will = facade.objectWillChange().subscribe([&] { second.cancel(); });
    second = facade.duration.stream().subscribe([&](double) { told.push_back("after its end"); });
    facade.duration = 5;
    EXPECT_EQ(told, Lines{});
    EXPECT_EQ(facade.duration.get(), 5);
    EXPECT_TRUE(PlayerController().isBuffering.get());
}

class Facade : public PlayerTest {
protected:
    std::shared_ptr<QuorelPlayerViewController> show(QuorelPlayerSwiftUI::Arguments arguments) {
        arguments.controller = facade;
        value = std::make_unique<QuorelPlayerSwiftUI>(std::move(arguments));
        context = {value->makeCoordinator(), [this] { return QuorelPlayerViewController::make(session, api); }};
        view = value->makeUIViewController(context);
        return view;
    }
    void finishLoad() {
        ASSERT_TRUE(loop->drainUntil([&] { return view.use_count() == 1; }));
    }

    const LogCapture log;
    std::shared_ptr<PlayerController> facade = PlayerController::make();
    std::unique_ptr<QuorelPlayerSwiftUI> value;
    QuorelPlayerSwiftUI::Context context;
    std::shared_ptr<QuorelPlayerViewController> view;
};

TEST_F(Facade, EveryEventWritesWhatItIsAbout) {
    using Event = QuorelPlayerEvent;
    QuorelPlayerSwiftUI::Coordinator coordinator;
    coordinator.controller = facade;
    const std::vector<std::pair<Event, std::function<bool()>>> cases{
        {Event::metadataLoaded{{true, 9}},
         [&] {
             return facade->metadata.get() == VideoMetadata{true, 9};
         }},
        {Event::durationUpdate{12}, [&] { return facade->duration.get() == 12; }},
        {Event::timeUpdate{3.5}, [&] { return facade->currentTime.get() == 3.5; }},
        {Event::subtitlesAvailable{{"pt-br", "en"}}, [&] { return facade->availableSubtitles.get().size() == 2; }},
        {Event::subtitleSelected{"en"}, [&] { return facade->subtitle.get() == "en"; }},
        {Event::subtitleSelected{std::nullopt}, [&] { return !facade->subtitle.get(); }},
        {Event::playbackRateChanged{1.5}, [&] { return facade->playbackRate.get() == 1.5; }},
        {Event::play{}, [&] { return facade->isPlaying.get() && facade->isBuffering.get(); }},
        {Event::pause{}, [&] { return !facade->isPlaying.get(); }},
        {Event::playing{}, [&] { return facade->isPlaying.get() && !facade->isBuffering.get(); }},
        {Event::waiting{}, [&] { return facade->isPlaying.get() && facade->isBuffering.get(); }},
        {Event::ended{}, [&] { return facade->isPlaying.get(); }},
        {Event::muted{}, [&] { return facade->isMuted.get(); }},
        {Event::unmuted{}, [&] { return !facade->isMuted.get(); }},
    };
    for (const auto& [event, holds] : cases) {
        coordinator.onEvent(event);
        EXPECT_TRUE(holds()) << describe(event);
    }
    int writes = 0;
    const auto subscription = facade->objectWillChange().subscribe([&] { writes++; });
    for (const Event& event :
         {Event(Event::error{"no", true}), Event(Event::ended{}), Event(Event::enterFullScreen{}),
          Event(Event::exitFullScreen{}), Event(Event::adBegin{}), Event(Event::adBreakEnd{})}) {
        coordinator.onEvent(event);
    }
    EXPECT_EQ(writes, 0);
    facade = nullptr;
    coordinator.onEvent(Event::play{});
    EXPECT_TRUE(log.text().ends_with("adBreakEnd\nplay\n")) << log.text();
}

TEST_F(Facade, FollowsAPlayerAndCommandsIt) {
    facade->play();
    facade->seekTo(5);
    show({.contentId = "film", .startTime = 2});
    facade->mute();
    facade->play();
    facade->selectPlaybackRate(2);
    EXPECT_FALSE(facade->isMuted.get()) << "until the player says so";
    finishLoad();
    const auto engine = factory->latest();
    EXPECT_TRUE(engine->muted()) << "muting is remembered for the engine to come";
    EXPECT_EQ(engine->playbackRate(), 1) << "what came before the engine had no effect later";
    loop->advance(1s);
    EXPECT_TRUE(facade->isPlaying.get());
    EXPECT_FALSE(facade->isBuffering.get());
    EXPECT_GT(facade->currentTime.get(), 2);
    EXPECT_EQ(facade->duration.get(), 60);
    EXPECT_EQ(facade->metadata.get(), (VideoMetadata{false, 60}));

    facade->unmute();
    EXPECT_FALSE(engine->muted());
    facade->selectPlaybackRate(1.5);
    EXPECT_EQ(facade->playbackRate.get(), 1.5);
    facade->seekTo(900);
    EXPECT_EQ(engine->currentTime(), 60) << "clamped by the engine, not here";
    facade->seekTo(10);
    facade->togglePlayPause();
    EXPECT_TRUE(engine->paused());
    EXPECT_FALSE(facade->isPlaying.get());
    facade->isPlaying = true;
    EXPECT_TRUE(engine->paused()) << "writing a property is no command";
    facade->togglePlayPause();
    facade->togglePlayPause();
    EXPECT_TRUE(engine->paused()) << "goes by the property: two pauses in a row";
    facade->isPlaying = false;
    facade->togglePlayPause();
    EXPECT_FALSE(engine->paused());
}

TEST_F(Facade, ASelectedSubtitleComesBackAsAProperty) {
    // Relative addresses are not sideloaded: the engine has the tracks at once.
    backend->reply("videos/film", 200, videoBody(R"(,"availableSrt":{"en":"en.srt","pt-br":"pt.srt"})"));
    show({.contentId = "film", .subtitle = "PT-BR"});
    finishLoad();
    loop->advance(1s);
    EXPECT_EQ(facade->subtitle.get(), "pt-br");
    EXPECT_EQ(facade->availableSubtitles.get(), (Lines{"en", "pt-br"}));
    facade->selectSubtitle(std::nullopt);
    EXPECT_EQ(facade->subtitle.get(), std::nullopt);
}

TEST_F(Facade, WithoutAContentThePlayerIsEmptyAndUnheard) {
    show({});
    EXPECT_EQ(facade->vc.lock(), view);
    EXPECT_TRUE(backend->paths().empty());
    view->setup("film", false, 0, std::nullopt, {});
    finishLoad();
    loop->advance(1s);
    EXPECT_FALSE(facade->isPlaying.get());
    EXPECT_EQ(log.text(), "[AVSubtitlesLoader] Unable to find a valid TextTrackDescription for sideloading.\n")
        << "the title has none, and no event is told";
    EXPECT_NE(QuorelPlayerSwiftUI({}).controller, nullptr);
}

TEST_F(Facade, DismantlingEndsThePlayerAndKeepsTheValues) {
    show({.contentId = "film"});
    QuorelPlayerSwiftUI::dismantleUIViewController(*view, *context.coordinator);
    finishLoad();
    EXPECT_NE(view->player(), nullptr) << "before there is an engine it does nothing";
    loop->advance(1s);
    value->contentId = "other";
    value->updateUIViewController(*view, context);
    loop->drain();
    const auto engine = factory->latest();
    EXPECT_EQ(engine->source()->source.src, "https://cdn.test/film.m3u8");
    QuorelPlayerSwiftUI::dismantleUIViewController(*view, *context.coordinator);
    EXPECT_EQ(view->player(), nullptr);
    EXPECT_TRUE(engine->paused());
    EXPECT_FALSE(engine->source());
    EXPECT_TRUE(facade->isPlaying.get()) << "nobody listened any more";
    QuorelPlayerSwiftUI::dismantleUIViewController(*view, *context.coordinator);
    view = nullptr;
    EXPECT_TRUE(facade->vc.expired()) << "nothing else keeps it";
    facade->play();
    facade->mute();
}

}  // namespace
}  // namespace quorel::testing
