#include "tests/engines/engine_contract.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace quorel::testing {

using Names = std::vector<std::string>;

void EngineContract::makePlayer() {
    player = harness->factory().makePlayer(std::nullopt, THEOplayerConfigurationBuilder().build());
    using P = PlayerEventTypes;
    const auto note = [this](const auto& type) {
        player->addEventListener(type,
                                 [this, name = std::string(type.name)](const auto&) { events.push_back(name); });
    };
    note(P::DURATION_CHANGE), note(P::LOADED_META_DATA), note(P::CAN_PLAY), note(P::CAN_PLAY_THROUGH);
    note(P::PLAY), note(P::PLAYING), note(P::PAUSE), note(P::WAITING), note(P::ENDED);
    note(P::RATE_CHANGE), note(P::VOLUME_CHANGE), note(P::ERROR);
    player->addEventListener(P::TIME_UPDATE,
                             [this](const auto& event) { timeUpdates.push_back(event.currentTime); });
    player->addEventListener(P::READY_STATE_CHANGE,
                             [this](const auto& event) { readyStates.push_back(event.readyState); });
    player->addEventListener(P::VOLUME_CHANGE, [this](const auto& event) { volumes.push_back(event.volume); });
    player->addEventListener(P::ERROR, [this](const auto& event) { errorText = event.error; });
}

void EngineContract::load(const SourceDescription& source) {
    if (!player) makePlayer();
    player->setSource(source);
    ASSERT_TRUE(waitFor("canplaythrough")) << errorText;
}

void EngineContract::playPast(double position) {
    player->play();
    ASSERT_TRUE(harness->waitUntil([&] { return player->currentTime() > position; })) << errorText;
}

bool EngineContract::waitFor(const std::string& event) {
    return harness->waitUntil([&] { return countOf(event) > 0; });
}

std::size_t EngineContract::countOf(const std::string& event) const {
    return static_cast<std::size_t>(std::count(events.begin(), events.end(), event));
}

Names EngineContract::course() const {
    Names names;
    for (const auto& event : events) {
        if (event == "waiting" || event == "canplay" || event == "canplaythrough" || event == "durationchange")
            continue;
        if (event == "playing" && !names.empty() && names.back() == event) continue;
        names.push_back(event);
    }
    return names;
}

// Nothing of the new source is told before setSource() returns; then the order of player.h, each event with the
// ready state that it needs, and with what it announces already to be read.
TEST_P(EngineContract, TellsLoadingInOrder) {
    makePlayer();
    std::optional<double> durationAtMetadata;
    ReadyState atMetadata{}, atCanPlay{};
    player->addEventListener(PlayerEventTypes::LOADED_META_DATA, [&](const auto&) {
        durationAtMetadata = player->duration();
        atMetadata = player->readyState();
    });
    player->addEventListener(PlayerEventTypes::CAN_PLAY, [&](const auto&) { atCanPlay = player->readyState(); });
    player->setSource(harness->vodSource());
    EXPECT_TRUE(events.empty());
    EXPECT_EQ(player->duration(), std::nullopt);
    ASSERT_TRUE(waitFor("canplaythrough")) << errorText;
    EXPECT_EQ(events, (Names{"durationchange", "loadedmetadata", "canplay", "canplaythrough"}));
    EXPECT_NEAR(durationAtMetadata.value_or(0), harness->vodDuration(), harness->seekTolerance());
    EXPECT_GE(atMetadata, ReadyState::haveMetadata);
    EXPECT_GE(atCanPlay, ReadyState::haveFutureData);
    EXPECT_TRUE(std::is_sorted(readyStates.begin(), readyStates.end()));
    EXPECT_TRUE(player->paused());
    EXPECT_EQ(player->currentTime(), 0);
}

// play() tells PLAY before it returns and PLAYING later; at the end come a last TIME_UPDATE with the duration,
// PAUSE and ENDED. play() then starts again from 0.
TEST_P(EngineContract, PlaysToTheEndAndAgain) {
    load(harness->vodSource());
    events.clear();
    player->setCurrentTime(harness->vodDuration() - 1);
    player->play();
    EXPECT_EQ(course(), Names{"play"});
    EXPECT_FALSE(player->paused());
    double lastUpdate = 0;
    player->addEventListener(PlayerEventTypes::PAUSE, [&](const auto&) { lastUpdate = timeUpdates.back(); });
    ASSERT_TRUE(waitFor("ended"));
    EXPECT_EQ(course(), (Names{"play", "playing", "pause", "ended"}));
    EXPECT_TRUE(player->paused());
    EXPECT_EQ(lastUpdate, player->duration());
    EXPECT_NEAR(player->currentTime(), harness->vodDuration(), harness->seekTolerance());

    events.clear();
    timeUpdates.clear();
    playPast(0.3);
    EXPECT_LT(player->currentTime(), harness->vodDuration() - 1);
    EXPECT_EQ(course(), (Names{"play", "playing"}));
}

// TIME_UPDATE comes about four times a second while playing, never goes back, and not at all while paused.
TEST_P(EngineContract, TellsTheTimeWhilePlaying) {
    load(harness->vodSource());
    playPast(0.1);
    timeUpdates.clear();
    playPast(3);
    player->pause();
    ASSERT_GE(timeUpdates.size(), 3u);
    EXPECT_TRUE(std::is_sorted(timeUpdates.begin(), timeUpdates.end()));
    EXPECT_LE(timeUpdates.size(), 3 * 4 * 2u);
    for (std::size_t i = 1; i < timeUpdates.size(); ++i) {
        EXPECT_LE(timeUpdates[i] - timeUpdates[i - 1], harness->longestTimeUpdateGap());
    }
    timeUpdates.clear();
    const double position = player->currentTime();
    harness->step(0.4);
    EXPECT_TRUE(timeUpdates.empty());
    EXPECT_EQ(player->currentTime(), position);
}

// A seek, paused or playing, ends at its exact target, clamped to the source: currentTime() gives it at once, one
// TIME_UPDATE tells it, then the handler is called once, later. What is no position is no seek.
TEST_P(EngineContract, SeeksExactly) {
    load(harness->vodSource());
    const double duration = player->duration().value();
    const double target = 2.345;
    const struct {
        double to, expected;
        bool told;
    } cases[] = {{target, target, true},
                 {-5, 0, true},
                 {std::nan(""), 0, false},
                 {std::numeric_limits<double>::infinity(), 0, false},
                 {1e9, duration, true}};
    for (const auto& c : cases) {
        timeUpdates.clear();
        int calls = 0;
        player->setCurrentTime(c.to, [&] { calls += timeUpdates.empty() == c.told ? 100 : 1; });
        EXPECT_EQ(calls, 0);
        EXPECT_NEAR(player->currentTime(), c.expected, harness->seekTolerance()) << c.to;
        EXPECT_TRUE(harness->waitUntil([&] { return calls > 0; })) << c.to;
        harness->step(0.1);
        EXPECT_EQ(calls, 1) << c.to;
        EXPECT_NEAR(player->currentTime(), c.expected, harness->seekTolerance()) << c.to;
        ASSERT_EQ(timeUpdates.size(), c.told ? 1u : 0u) << c.to;
        for (const double time : timeUpdates) EXPECT_NEAR(time, c.expected, harness->seekTolerance());
    }
    EXPECT_TRUE(player->paused());

    // The target is a moment of the past once playback has gone on from it.
    player->setCurrentTime(0);
    playPast(0.3);
    timeUpdates.clear();
    bool done = false;
    player->setCurrentTime(4, [&] { done = true; });
    ASSERT_TRUE(harness->waitUntil([&] { return done; }));
    EXPECT_NE(std::find_if(timeUpdates.begin(), timeUpdates.end(),
                           [&](double time) { return std::abs(time - 4) <= harness->seekTolerance(); }),
              timeUpdates.end());
    ASSERT_TRUE(harness->waitUntil([&] { return player->currentTime() > 4.3; }));
    EXPECT_LT(player->currentTime(), harness->vodDuration());
}

// The handler of a seek that another one overtakes is called too, in order and once.
TEST_P(EngineContract, AnswersEachOfSeveralSeeks) {
    load(harness->vodSource());
    Names done;
    player->setCurrentTime(1, [&] { done.push_back("first"); });
    player->setCurrentTime(3, [&] { done.push_back("second"); });
    EXPECT_NEAR(player->currentTime(), 3, harness->seekTolerance());
    ASSERT_TRUE(harness->waitUntil([&] { return done.size() == 2; }));
    player->setCurrentTime(1, [&] { done.push_back("replaced"); });
    player->setSource(harness->otherVodSource());
    player->setSource(std::nullopt);
    player->setCurrentTime(2, [&] { done.push_back("no source"); });
    EXPECT_EQ(player->currentTime(), 0);
    ASSERT_TRUE(harness->waitUntil([&] { return done.size() == 4; }));
    EXPECT_EQ(done, (Names{"first", "second", "replaced", "no source"}));
}

// A seek before the metadata says where playback begins; a play() from then is remembered, and its PLAY comes
// after CAN_PLAY.
TEST_P(EngineContract, RemembersSeekAndPlayUntilReady) {
    makePlayer();
    player->setSource(harness->vodSource());
    int calls = 0;
    player->setCurrentTime(2.5, [&] { ++calls; });
    player->play();
    player->play();
    EXPECT_FALSE(player->paused());
    EXPECT_EQ(player->currentTime(), 2.5);
    EXPECT_TRUE(events.empty());
    ASSERT_TRUE(harness->waitUntil([&] { return player->currentTime() > 2.8; })) << errorText;
    EXPECT_EQ(calls, 1);
    EXPECT_GE(*std::min_element(timeUpdates.begin(), timeUpdates.end()), 2.5 - harness->seekTolerance());
    EXPECT_EQ(course(), (Names{"loadedmetadata", "play", "playing"}));
    EXPECT_LT(std::find(events.begin(), events.end(), "canplay"), std::find(events.begin(), events.end(), "play"));

    // pause() takes back a play() that was not told yet, in silence.
    events.clear();
    player->pause();
    player->setSource(harness->vodSource());
    player->play();
    player->pause();
    ASSERT_TRUE(waitFor("canplaythrough"));
    harness->step(0.3);
    EXPECT_EQ(course(), (Names{"pause", "loadedmetadata"}));
    EXPECT_EQ(player->currentTime(), 0);
}

// play() and pause() tell what they change, before they return, and nothing when they change nothing.
TEST_P(EngineContract, PlaysAndPausesOnce) {
    makePlayer();
    player->play();
    player->pause();
    EXPECT_TRUE(player->paused());
    load(harness->vodSource());
    events.clear();
    player->pause();
    playPast(0.2);
    player->play();
    player->pause();
    EXPECT_TRUE(player->paused());
    player->pause();
    harness->step(0.2);
    EXPECT_EQ(course(), (Names{"play", "playing", "pause"}));
    player->play();
    player->pause();
    harness->step(0.2);
    EXPECT_EQ(course(), (Names{"play", "playing", "pause", "play", "pause"}));
}

TEST_P(EngineContract, PlaysByItselfWithAutoplay) {
    makePlayer();
    player->setAutoplay(true);
    player->setSource(harness->vodSource());
    ASSERT_TRUE(harness->waitUntil([&] { return player->currentTime() > 0.2; })) << errorText;
    EXPECT_EQ(course(), (Names{"loadedmetadata", "play", "playing"}));
}

// The rate is clamped to 0.1 to 16, what is not finite is ignored, and RATE_CHANGE tells real changes only, before
// the call returns. The rate stays when the source changes.
TEST_P(EngineContract, ChangesTheRate) {
    load(harness->vodSource());
    events.clear();
    const struct {
        double set, expected;
        std::size_t told;
    } cases[] = {{1, 1, 0},   {100, 16, 1},           {17, 16, 0},
                 {0, 0.1, 1}, {std::nan(""), 0.1, 0}, {std::numeric_limits<double>::infinity(), 0.1, 0},
                 {2, 2, 1}};
    for (const auto& c : cases) {
        events.clear();
        player->setPlaybackRate(c.set);
        EXPECT_EQ(player->playbackRate(), c.expected);
        EXPECT_EQ(events.size(), c.told) << c.set;
    }
    playPast(0.1);
    const double from = player->currentTime();
    const Duration since = harness->loop().now();
    playPast(from + 2);
    const double took = secondsFromDuration(harness->loop().now() - since);
    if (harness->clockIsVirtual()) {
        EXPECT_NEAR(took, 1, 0.1);
    }
    player->setSource(harness->otherVodSource());
    EXPECT_EQ(player->playbackRate(), 2);
}

// VOLUME_CHANGE tells what is heard, and only when that changes: nothing while muted.
TEST_P(EngineContract, TellsTheVolumeThatIsHeard) {
    makePlayer();
    player->setVolume(0.5);
    player->setVolume(0.5);
    player->setMuted(true);
    player->setVolume(0.25);
    player->setMuted(true);
    player->setMuted(false);
    player->setVolume(std::nan(""));
    player->setVolume(7);
    player->setVolume(-1);
    player->setMuted(true);
    player->setMuted(false);
    EXPECT_EQ(volumes, (std::vector<float>{0.5F, 0, 0.25F, 1, 0}));
    EXPECT_EQ(player->volume(), 0);
}

// A source that replaces another in the middle of its playback: PAUSE and haveNothing for the old one at once,
// then the new one from 0, paused.
TEST_P(EngineContract, ReplacesASourceThatPlays) {
    load(harness->vodSource());
    playPast(0.5);
    events.clear();
    readyStates.clear();
    player->setSource(harness->otherVodSource());
    EXPECT_EQ(course(), Names{"pause"});
    EXPECT_EQ(readyStates, std::vector<ReadyState>{ReadyState::haveNothing});
    EXPECT_EQ(player->duration(), std::nullopt);
    EXPECT_EQ(player->source(), harness->otherVodSource());
    ASSERT_TRUE(waitFor("canplaythrough")) << errorText;
    harness->step(0.3);
    EXPECT_EQ(course(), (Names{"pause", "loadedmetadata"}));
    EXPECT_EQ(player->currentTime(), 0);
    EXPECT_GT(std::abs(player->duration().value() - harness->vodDuration()), 1);
    playPast(0.3);
}

// stop() unloads like an absent source and calls its handler later, once; also without a source.
TEST_P(EngineContract, UnloadsAndStops) {
    for (const bool byStop : {false, true}) {
        events.clear();
        load(harness->vodSource());
        playPast(0.3);
        events.clear();
        int stopped = 0;
        if (byStop) {
            player->stop([&] { ++stopped; });
            EXPECT_EQ(stopped, 0);
            EXPECT_TRUE(harness->waitUntil([&] { return stopped == 1; }));
        } else {
            player->setSource(std::nullopt);
        }
        EXPECT_EQ(player->source(), std::nullopt);
        EXPECT_EQ(player->readyState(), ReadyState::haveNothing);
        EXPECT_EQ(player->duration(), std::nullopt);
        EXPECT_EQ(player->currentTime(), 0);
        timeUpdates.clear();
        player->play();
        harness->step(0.4);
        EXPECT_TRUE(player->paused());
        EXPECT_EQ(course(), Names{"pause"});
        EXPECT_TRUE(timeUpdates.empty());
    }
    int stopped = 0;
    player->stop([&] { ++stopped; });
    player->stop({});
    EXPECT_TRUE(harness->waitUntil([&] { return stopped > 0; }));
    EXPECT_EQ(course(), Names{"pause"});
}

// ERROR has a text, is the last event of its source, leaves the engine paused, and a new source plays.
TEST_P(EngineContract, GoesOnAfterAnErrorWithANewSource) {
    makePlayer();
    player->setSource(harness->badSource());
    player->play();
    int calls = 0;
    player->setCurrentTime(3, [&] { ++calls; });
    ASSERT_TRUE(waitFor("error"));
    EXPECT_FALSE(errorText.empty());
    EXPECT_TRUE(player->paused());
    player->play();
    EXPECT_TRUE(player->paused());
    harness->step(0.3);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(events.back(), "error");
    EXPECT_EQ(countOf("error"), 1u);

    events.clear();
    load(harness->vodSource());
    playPast(0.3);
    EXPECT_EQ(course(), (Names{"loadedmetadata", "play", "playing"}));
}

// A live source has an infinite duration and plays.
TEST_P(EngineContract, PlaysLive) {
    const auto live = harness->liveSource();
    if (!live) GTEST_SKIP() << "no live source";
    load(*live);
    EXPECT_EQ(player->duration(), std::numeric_limits<double>::infinity());
    const double from = player->currentTime();
    playPast(from + 0.5);
    EXPECT_EQ(course(), (Names{"loadedmetadata", "play", "playing"}));
}

// ADD_TRACK for each track; when one becomes showing, the one that was becomes hidden first; setting the mode it
// has tells nothing; REMOVE_TRACK for each when the source goes.
TEST_P(EngineContract, ShowsOneTextTrackAtATime) {
    const auto subtitled = harness->subtitledSource();
    if (!subtitled) GTEST_SKIP() << "no source with text tracks";
    makePlayer();
    auto& tracks = player->textTracks();
    std::vector<std::shared_ptr<Track>> added, removed;
    tracks.addEventListener(TextTrackListEventTypes::ADD_TRACK, [&](const auto& e) { added.push_back(e.track); });
    tracks.addEventListener(TextTrackListEventTypes::REMOVE_TRACK,
                            [&](const auto& e) { removed.push_back(e.track); });
    load(*subtitled);
    ASSERT_TRUE(harness->waitUntil([&] { return tracks.count() >= 2; }));
    EXPECT_EQ(added.size(), tracks.count());
    EXPECT_EQ(tracks.get(tracks.count()), nullptr);
    const auto one = tracks.get(0), two = tracks.get(1);
    EXPECT_EQ(added[0], one);
    EXPECT_EQ(one->kind(), "subtitles");
    one->setMode(TextTrackMode::hidden);
    two->setMode(TextTrackMode::hidden);

    std::vector<std::pair<std::shared_ptr<Track>, TextTrackMode>> changes, expected;
    tracks.addEventListener(TextTrackListEventTypes::CHANGE, [&](const auto& e) {
        changes.emplace_back(e.track, std::dynamic_pointer_cast<TextTrack>(e.track)->mode());
    });
    one->setMode(TextTrackMode::showing);
    one->setMode(TextTrackMode::showing);
    two->setMode(TextTrackMode::showing);
    two->setMode(TextTrackMode::disabled);
    expected = {{one, TextTrackMode::showing},
                {one, TextTrackMode::hidden},
                {two, TextTrackMode::showing},
                {two, TextTrackMode::disabled}};
    EXPECT_EQ(changes, expected);
    player->setSource(std::nullopt);
    EXPECT_EQ(tracks.count(), 0u);
    EXPECT_EQ(removed, added);
}

// Any listener may release the engine's last reference; nothing is told after that, and nothing is left running.
TEST_P(EngineContract, DiesInAnyListener) {
    const auto dieAt = [&](const auto& type, double from) {
        SCOPED_TRACE(type.name);
        events.clear();
        makePlayer();
        std::weak_ptr<THEOplayer> weak = player;
        std::size_t eventsThen = 0;
        player->addEventListener(type, [&](const auto&) {
            player = nullptr;
            eventsThen = events.size();
        });
        player->setSource(harness->vodSource());
        player->setCurrentTime(from);
        player->play();
        ASSERT_TRUE(harness->waitUntil([&] {
            if (player && player->currentTime() > from + 0.3) player->pause();
            return !player;
        }));
        harness->step(0.3);
        EXPECT_TRUE(weak.expired());
        EXPECT_EQ(events.size(), eventsThen);
    };
    using P = PlayerEventTypes;
    dieAt(P::READY_STATE_CHANGE, 0), dieAt(P::DURATION_CHANGE, 0), dieAt(P::LOADED_META_DATA, 0);
    dieAt(P::CAN_PLAY, 0), dieAt(P::CAN_PLAY_THROUGH, 0), dieAt(P::PLAY, 0), dieAt(P::PLAYING, 0);
    dieAt(P::TIME_UPDATE, 0), dieAt(P::PAUSE, 0), dieAt(P::ENDED, harness->vodDuration() - 0.2);
}

// An engine that is released while it loads, seeks or plays calls nothing any more.
TEST_P(EngineContract, DiesInTheMiddle) {
    for (const double after : {0.0, 0.02, 0.5}) {
        makePlayer();
        bool called = false;
        player->setSource(harness->vodSource());
        player->play();
        harness->step(after);
        player->setCurrentTime(3, [&] { called = true; });
        player->stop([&] { called = true; });
        player = nullptr;
        events.clear();
        harness->step(0.3);
        EXPECT_TRUE(events.empty());
        EXPECT_FALSE(called);
    }
}

}  // namespace quorel::testing
