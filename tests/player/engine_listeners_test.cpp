#include <limits>

#include "tests/player/player_fixture.h"

namespace quorel::testing {
namespace {

using Player = PlayerEventTypes;
using Ads = AdsEventTypes;
using Tracks = TextTrackListEventTypes;

class EngineListeners : public PlayerTest {
protected:
    EngineListeners() {
        SimulatedScript script;
        script.neverLoads = true;  // the events are the test's
        factory->setDefaultScript(script);
        load("film", 20);
        engine = factory->latest();
    }
    // Without those of the overlay, which go with the engine.
    std::size_t listeners() const {
        return engine->listenerCount() + engine->textTracks().listenerCount() + engine->ads().listenerCount() - 8;
    }

    std::shared_ptr<SimulatedEngine> engine;
};

template <class E>
auto send(const EventType<E>& type, std::type_identity_t<E> event = {}) {
    return [&type, event](EventDispatcher& emitter) { emitter.dispatchEvent(type, event); };
}

TEST_F(EngineListeners, EventsAreMapped) {
    enum From { engineItself, ads, tracks };
    enum When { always, untilGone, outsideAdBreaks };
    struct Row {
        From from;
        std::function<void(EventDispatcher&)> send;
        Lines told;
        When when;
    };
    const std::vector<Row> rows{
        {engineItself, send(Player::PLAY), {"play"}, always},
        {engineItself, send(Player::PLAYING), {"playing"}, always},
        {engineItself, send(Player::PAUSE), {"pause"}, always},
        {engineItself, send(Player::WAITING), {"waiting"}, always},
        {engineItself, send(Player::ENDED), {"ended"}, always},
        {engineItself, send(Player::ERROR, {"x"}), {"error(error: \"x\", canRetry: true)"}, always},
        {engineItself, send(Player::VOLUME_CHANGE, {0.01F}), {"unmuted"}, always},
        {engineItself, send(Player::VOLUME_CHANGE, {0}), {"muted"}, always},
        {engineItself, send(Player::RATE_CHANGE), {"playbackRateChanged(rate: 1)"}, untilGone},
        {engineItself, send(Player::CAN_PLAY), {}, untilGone},
        {engineItself, send(Player::DURATION_CHANGE), {"durationUpdate(time: 0)"}, outsideAdBreaks},
        {engineItself, send(Player::TIME_UPDATE, {1.25}), {"timeUpdate(time: 1.25)"}, outsideAdBreaks},
        {engineItself,
         send(Player::LOADED_META_DATA),
         {"metadataLoaded(isLive: false, duration: 0)"},
         outsideAdBreaks},
        {tracks, send(Tracks::ADD_TRACK), {}, untilGone},
        {tracks, send(Tracks::CHANGE), {}, untilGone},
        {ads, send(Ads::AD_BREAK_BEGIN), {"adBreakBegin"}, untilGone},
        {ads, send(Ads::AD_BEGIN), {"adBegin"}, always},
        {ads, send(Ads::AD_END), {"adEnd"}, always},
        {ads, send(Ads::AD_BREAK_END), {"adBreakEnd"}, untilGone},
    };
    controller->setup("other", /*hideUI=*/true, 0, std::nullopt, {});
    finishLoads();
    engine = factory->latest();
    EventDispatcher* const emitters[] = {engine.get(), &engine->ads(), &engine->textTracks()};
    for (const std::string phase : {"outside", "in an ad break", "without the controller"}) {
        if (phase == "in an ad break") engine->ads().dispatchEvent(Ads::AD_BREAK_BEGIN, {});
        // The end of the first phase's ad break shows it against the host's wish.
        EXPECT_EQ(controller->playerUI()->isHidden(), phase != "without the controller");
        if (phase == "without the controller") controller = nullptr;
        recorder->take();
        for (const Row& row : rows) {
            row.send(*emitters[row.from]);
            const bool told = row.when == always || phase == "outside" || (row.when == untilGone && controller);
            EXPECT_EQ(recorder->take(), told ? row.told : Lines{})
                << phase << ": " << ::testing::PrintToString(row.told);
        }
    }
}

TEST_F(EngineListeners, TheStartTimeIsSoughtOnceWhenPlayableAndAtEachMetadata) {
    const auto positionAfter = [&](auto dispatch) {
        engine->setCurrentTime(3);
        dispatch(*engine);
        return engine->currentTime();
    };
    engine->ads().dispatchEvent(Ads::AD_BREAK_BEGIN, {});
    EXPECT_EQ(positionAfter(send(Player::LOADED_META_DATA)), 3);
    EXPECT_EQ(positionAfter(send(Player::CAN_PLAY)), 20) << "an ad break does not hold this one back";
    EXPECT_EQ(positionAfter(send(Player::CAN_PLAY)), 3);
    engine->ads().dispatchEvent(Ads::AD_BREAK_END, {});
    EXPECT_EQ(positionAfter(send(Player::LOADED_META_DATA)), 20);
    EXPECT_EQ(positionAfter(send(Player::LOADED_META_DATA)), 20);
    load("other", 8);
    engine = factory->latest();
    EXPECT_EQ(positionAfter(send(Player::CAN_PLAY)), 8) << "a new content is sought again";
}

TEST_F(EngineListeners, TheListenerLivesAsLongAsTheEngine) {
    const std::weak_ptr<Recorder> weak = recorder;
    recorder = nullptr;
    EXPECT_FALSE(weak.expired());
    engine = nullptr;
    controller = nullptr;
    EXPECT_TRUE(weak.expired());
}

TEST_F(EngineListeners, RegistrationIsIgnoredWhileThereIsAnEngine) {
    const auto late = std::make_shared<Recorder>();
    for (const bool ignored : {true, false}) {
        if (!ignored) controller->unmount();
        controller->registerPlayerListener(late);
        load(ignored ? "other" : "film");
        recorder->take();
        factory->latest()->dispatchEvent(Player::PLAY, {});
        EXPECT_EQ((ignored ? recorder : late)->take(), Lines{"play"});
        EXPECT_EQ((ignored ? late : recorder)->take(), Lines{});
    }
}

TEST_F(EngineListeners, AGoneListenerLeavesTheOldEnginesListenersInPlace) {
    controller->unmount();
    controller->registerPlayerListener(std::make_shared<Recorder>());
    controller->removeEngineListeners(*engine);
    EXPECT_EQ(listeners(), 18u);
    controller->registerEngineListeners(recorder, engine);
    EXPECT_EQ(listeners(), 36u);
    controller->registerEngineListeners(recorder, engine);
    EXPECT_EQ(listeners(), 36u) << "only the second set is known";
}

TEST_F(EngineListeners, ALoadWithoutAListenerHasNone) {
    controller = QuorelPlayerViewController::make(session, api);
    controller->registerPlayerListener(std::make_shared<Recorder>());
    load("film");
    engine = factory->latest();
    EXPECT_TRUE(engine->source());
    EXPECT_EQ(listeners(), 0u);
    backend->reply("players/configuration/other", 404, "");
    load("other");  // its failure has nobody to go to
    EXPECT_FALSE(controller->player()->source());
}

}  // namespace
}  // namespace quorel::testing
