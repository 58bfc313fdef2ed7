// The contract of the engine boundary as tests that every engine runs.
//
// The rules themselves stand in quorel/engine/player.h and quorel/engine/text_tracks.h; each case of
// engine_contract.cpp opens with the one it holds an engine to. To put a third engine under the contract, derive
// an EngineHarness, and write in a file beside this one:
//
//   INSTANTIATE_TEST_SUITE_P(MyEngine, EngineContract, ::testing::Values(EngineHarnessMaker{[] {
//       return std::make_unique<MyHarness>();
//   }}));
//
// then build that file together with engine_contract.cpp (tests/engines/CMakeLists.txt).
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "quorel/engine/engine.h"
#include "quorel/foundation/run_loop.h"

namespace quorel::testing {

// What the suite needs of an engine's surroundings. One is made for each test and destroyed after the engines.
class EngineHarness {
public:
    virtual ~EngineHarness() = default;

    virtual RunLoop& loop() = 0;
    virtual EngineFactory& factory() = 0;

    // On demand, longer than 6 seconds, without ads or text tracks, playable at rates from 0.5 to 2.
    virtual SourceDescription vodSource() = 0;
    virtual double vodDuration() const = 0;  // seconds
    // Another one, whose duration differs from the first by more than a second.
    virtual SourceDescription otherVodSource() = 0;
    // Infinite duration. Absent when the engine's surroundings cannot offer one: its cases are skipped.
    virtual std::optional<SourceDescription> liveSource() = 0;
    // One that ends in ERROR while it loads.
    virtual SourceDescription badSource() = 0;
    // On demand, with at least two text tracks of the kind "subtitles". Absent: its cases are skipped.
    virtual std::optional<SourceDescription> subtitledSource() = 0;

    // Runs the loop until `done` gives true, asked after each turn or oftener than every 50 ms of the loop's
    // clock; false after a limit that the harness chooses, generous where the clock is real.
    virtual bool waitUntil(const std::function<bool()>& done) = 0;
    // Runs the loop for `seconds` of its clock. Used only to see that something does NOT happen, with short times.
    virtual void step(double seconds) = 0;

    // How far a position may be off after a seek, and from the duration at the end; seconds.
    virtual double seekTolerance() const = 0;
    // The longest time of the presentation that may lie between two TIME_UPDATEs at rate 1; seconds.
    virtual double longestTimeUpdateGap() const = 0;
    // Whether the loop's clock is virtual, so that durations can be held against it.
    virtual bool clockIsVirtual() const = 0;
};

// A struct with a text of its own, since GoogleTest would print its bytes, addresses and all, as the case's name.
struct EngineHarnessMaker {
    std::function<std::unique_ptr<EngineHarness>()> make;
    friend void PrintTo(const EngineHarnessMaker&, std::ostream* out) { *out << "engine"; }
};

class EngineContract : public ::testing::TestWithParam<EngineHarnessMaker> {
protected:
    EngineContract() : harness(GetParam().make()) {}
    ~EngineContract() override { player = nullptr; }

    // Makes `player` and begins to write its events into `events`.
    void makePlayer();
    // makePlayer(), setSource(source), and wait for CAN_PLAY_THROUGH.
    void load(const SourceDescription& source);
    // play(), and wait until the position has passed `position`.
    void playPast(double position);
    bool waitFor(const std::string& event);  // until `events` holds it (one that came before counts)
    std::size_t countOf(const std::string& event) const;
    // The events that do not depend on how fast the source arrives: without WAITING and what follows from it, and
    // without refinements of the duration.
    std::vector<std::string> course() const;

    std::unique_ptr<EngineHarness> harness;
    std::shared_ptr<THEOplayer> player;
    // The events' names in their order: TIME_UPDATE is not among them, READY_STATE_CHANGE neither.
    std::vector<std::string> events;
    std::vector<double> timeUpdates;      // the positions that TIME_UPDATE told
    std::vector<ReadyState> readyStates;  // what READY_STATE_CHANGE told
    std::vector<float> volumes;           // what VOLUME_CHANGE told
    std::string errorText;                // of the last ERROR
};

}  // namespace quorel::testing
