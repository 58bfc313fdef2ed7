#include <limits>

#include "tests/player/player_fixture.h"

namespace quorel::testing {
namespace {

class EngineListeners : public PlayerTest {
protected:
    EngineListeners() {
        SimulatedScript script;
        script.neverLoads = true;  // the events are the test's
        factory->setDefaultScript(script);
        load("film", 20);
        engine = factory->latest();
    }
    template <class E>
    Lines told(EventDispatcher& emitter, const EventType<E>& type, std::type_identity_t<E> event = {}) {
        emitter.dispatchEvent(type, event);
        return recorder->take();
    }

    std::shared_ptr<SimulatedEngine> engine;
};

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST_F(EngineListeners, EventsAreMappedInAndOutsideAdBreaks) {
    using Types = PlayerEventTypes;
    Ads& ads = engine->ads();
    for (const bool inAdBreak : {false, true}) {
        const auto outside = [&](const char* line) { return inAdBreak ? Lines{} : Lines{line}; };
        EXPECT_EQ(told(*engine, Types::PLAY), Lines{"play"});
        EXPECT_EQ(told(*engine, Types::PLAYING), Lines{"playing"});
        EXPECT_EQ(told(*engine, Types::PAUSE), Lines{"pause"});
        EXPECT_EQ(told(*engine, Types::WAITING), Lines{"waiting"});
        EXPECT_EQ(told(*engine, Types::ENDED), Lines{"ended"});
        EXPECT_EQ(told(*engine, Types::ERROR, {"broken"}), Lines{"error(error: \"broken\", canRetry: true)"});
        EXPECT_EQ(told(*engine, Types::VOLUME_CHANGE, {0.01F}), Lines{"unmuted"});
        EXPECT_EQ(told(*engine, Types::VOLUME_CHANGE, {0}), Lines{"muted"});
        EXPECT_EQ(told(*engine, Types::RATE_CHANGE), Lines{"playbackRateChanged(rate: 1)"});
        EXPECT_EQ(told(*engine, Types::CAN_PLAY), Lines{});
        EXPECT_EQ(told(*engine, Types::DURATION_CHANGE, {}), outside("durationUpdate(time: 0)"));
        EXPECT_EQ(told(*engine, Types::DURATION_CHANGE, {infinity}), outside("durationUpdate(time: inf)"));
        EXPECT_EQ(told(*engine, Types::TIME_UPDATE, {1.25}), outside("timeUpdate(time: 1.25)"));
        EXPECT_EQ(told(*engine, Types::LOADED_META_DATA), outside("metadataLoaded(isLive: false, duration: 0)"));

        EXPECT_EQ(told(ads, AdsEventTypes::AD_BREAK_BEGIN), Lines{"adBreakBegin"});
        EXPECT_TRUE(controller->playerUI()->isHidden());
        EXPECT_EQ(told(ads, AdsEventTypes::AD_BEGIN), Lines{"adBegin"});
        EXPECT_EQ(told(ads, AdsEventTypes::AD_END), Lines{"adEnd"});
    }
    EXPECT_EQ(told(ads, AdsEventTypes::AD_BREAK_END), Lines{"adBreakEnd"});
    EXPECT_FALSE(controller->playerUI()->isHidden());
    EXPECT_EQ(told(*engine, Types::TIME_UPDATE, {2}), Lines{"timeUpdate(time: 2)"});
}

TEST_F(EngineListeners, AnAdBreaksEndShowsTheOverlayThatTheHostHid) {
    controller->setup("other", true, 0, std::nullopt, {});
    finishLoads();
    factory->latest()->ads().dispatchEvent(AdsEventTypes::AD_BREAK_END, {});
    EXPECT_FALSE(controller->playerUI()->isHidden());
}

TEST_F(EngineListeners, TheStartTimeIsSoughtOnceWhenPlayableAndAtEachMetadata) {
    const auto movesTo = [&](auto dispatch) {
        engine->setCurrentTime(3);
        dispatch();
        return engine->currentTime();
    };
    const auto canPlay = [&] { engine->dispatchEvent(PlayerEventTypes::CAN_PLAY, {}); };
    const auto metadata = [&] { engine->dispatchEvent(PlayerEventTypes::LOADED_META_DATA, {}); };

    engine->ads().dispatchEvent(AdsEventTypes::AD_BREAK_BEGIN, {});
    EXPECT_EQ(movesTo(metadata), 3);
    EXPECT_EQ(movesTo(canPlay), 20) << "an ad break does not hold this one back";
    EXPECT_EQ(movesTo(canPlay), 3);
    engine->ads().dispatchEvent(AdsEventTypes::AD_BREAK_END, {});
    EXPECT_EQ(movesTo(metadata), 20);
    EXPECT_EQ(movesTo(metadata), 20);

    load("other", 8);
    engine = factory->latest();
    EXPECT_EQ(movesTo(canPlay), 8) << "a new content is sought again";
}

TEST_F(EngineListeners, ThoseThatNeedTheListenerAloneOutliveTheController) {
    controller = nullptr;
    recorder->take();
    EXPECT_EQ(told(*engine, PlayerEventTypes::PLAY), Lines{"play"});
    EXPECT_EQ(told(*engine, PlayerEventTypes::PLAYING), Lines{"playing"});
    EXPECT_EQ(told(*engine, PlayerEventTypes::PAUSE), Lines{"pause"});
    EXPECT_EQ(told(*engine, PlayerEventTypes::WAITING), Lines{"waiting"});
    EXPECT_EQ(told(*engine, PlayerEventTypes::ENDED), Lines{"ended"});
    EXPECT_EQ(told(*engine, PlayerEventTypes::ERROR, {"x"}), Lines{"error(error: \"x\", canRetry: true)"});
    EXPECT_EQ(told(*engine, PlayerEventTypes::VOLUME_CHANGE, {1}), Lines{"unmuted"});
    EXPECT_EQ(told(engine->ads(), AdsEventTypes::AD_BEGIN), Lines{"adBegin"});
    EXPECT_EQ(told(engine->ads(), AdsEventTypes::AD_END), Lines{"adEnd"});

    EXPECT_EQ(told(*engine, PlayerEventTypes::LOADED_META_DATA), Lines{});
    EXPECT_EQ(told(*engine, PlayerEventTypes::DURATION_CHANGE), Lines{});
    EXPECT_EQ(told(*engine, PlayerEventTypes::TIME_UPDATE), Lines{});
    EXPECT_EQ(told(*engine, PlayerEventTypes::CAN_PLAY), Lines{});
    EXPECT_EQ(told(*engine, PlayerEventTypes::RATE_CHANGE), Lines{});
    EXPECT_EQ(told(engine->ads(), AdsEventTypes::AD_BREAK_BEGIN), Lines{});
    EXPECT_EQ(told(engine->ads(), AdsEventTypes::AD_BREAK_END), Lines{});
    EXPECT_EQ(told(engine->textTracks(), TextTrackListEventTypes::ADD_TRACK), Lines{});
    EXPECT_EQ(told(engine->textTracks(), TextTrackListEventTypes::CHANGE), Lines{});
}

TEST_F(EngineListeners, TheListenerLivesAsLongAsTheEngine) {
    const std::weak_ptr<Recorder> weak = recorder;
    recorder = nullptr;
    EXPECT_FALSE(weak.expired());
    engine = nullptr;
    controller = nullptr;
    EXPECT_TRUE(weak.expired());
}

using ListenerRegistration = PlayerTest;

TEST_F(ListenerRegistration, IsIgnoredWhileThereIsAnEngine) {
    load("film");
    const auto late = std::make_shared<Recorder>();
    controller->registerPlayerListener(late);
    loop->advance(std::chrono::seconds(1));
    controller->unmount();
    EXPECT_EQ(late->events, Lines{});
    EXPECT_EQ(recorder->take().back(), "pause");

    controller->registerPlayerListener(late);
    load("other");
    loop->advance(std::chrono::seconds(1));
    EXPECT_FALSE(late->events.empty());
    EXPECT_EQ(recorder->take(), Lines{});
}

TEST_F(ListenerRegistration, ALoadWithoutAListenerHasNoEngineListeners) {
    recorder = nullptr;
    load("film", 10);
    loop->advance(std::chrono::seconds(1));
    const auto engine = factory->latest();
    EXPECT_EQ(engine->listenerCount() + engine->textTracks().listenerCount() + engine->ads().listenerCount(), 0u);
    EXPECT_FALSE(engine->paused());
    EXPECT_LT(engine->currentTime(), 2) << "nobody seeks to the start time";
    backend->reply("players/configuration/other", 404, "");
    load("other");  // its failure has nobody to go to
    EXPECT_FALSE(controller->player()->source());
}

TEST_F(ListenerRegistration, AGoneListenerLeavesTheOldEnginesListenersInPlace) {
    load("film");
    const auto engine = factory->latest();
    controller->unmount();
    auto second = std::make_shared<Recorder>();
    controller->registerPlayerListener(second);
    second = nullptr;
    controller->removeEngineListeners(*engine);
    EXPECT_EQ(engine->listenerCount(), 12u);
    EXPECT_EQ(engine->textTracks().listenerCount(), 2u);

    controller->registerPlayerListener(recorder);
    controller->removeEngineListeners(*engine);
    EXPECT_EQ(engine->listenerCount() + engine->textTracks().listenerCount() + engine->ads().listenerCount(), 0u);
}

TEST_F(ListenerRegistration, AHostMayDoAnythingInAnEvent) {
    load("film");
    recorder->then = [&](const QuorelPlayerEvent& event) {
        if (event.getIf<QuorelPlayerEvent::playing>() != nullptr) controller->unmount();
        if (event.getIf<QuorelPlayerEvent::pause>() != nullptr) {
            recorder->then = nullptr;
            controller->setup("other", false, 0, {}, {});
        }
    };
    loop->advance(std::chrono::seconds(1));
    finishLoads();
    loop->advance(std::chrono::seconds(1));
    EXPECT_EQ(factory->players().size(), 1u);
    EXPECT_EQ(factory->latest()->source()->source.src, "https://cdn.test/other.m3u8");
    EXPECT_FALSE(factory->latest()->paused());
}

}  // namespace
}  // namespace quorel::testing
