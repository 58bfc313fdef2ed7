#include "quorel/foundation/run_loop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <thread>

#include "quorel/foundation/timer.h"

namespace quorel {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

bool settle(RealRunLoop& loop, const std::function<bool()>& done) {
    return loop.runUntil(done, 60s);
}
bool settle(ManualRunLoop& loop, const std::function<bool()>& done) {
    for (int i = 0; i < 100'000 && !done(); ++i) loop.advance(1ms);
    return done();
}

// The same for work that comes back from other threads.
bool await(RealRunLoop& loop, const std::function<bool()>& done) { return settle(loop, done); }
bool await(ManualRunLoop& loop, const std::function<bool()>& done) { return loop.drainUntil(done); }

// What every run loop promises, whatever its clock.
template <class Loop>
class RunLoopContract : public ::testing::Test {
protected:
    // Runs until everything that is due within `delay` has run.
    void settleFor(Duration delay) {
        bool past = false;
        loop().schedule(delay, [&past] { past = true; });
        ASSERT_TRUE(settle(loop(), [&past] { return past; }));
    }
    Loop& loop() { return *loop_; }
    std::function<void()> note(std::string text) {
        return [this, text = std::move(text)] { log_ += text; };
    }

    std::string log_;
    std::unique_ptr<Loop> loop_ = std::make_unique<Loop>();
};

using Loops = ::testing::Types<RealRunLoop, ManualRunLoop>;
TYPED_TEST_SUITE(RunLoopContract, Loops);

TYPED_TEST(RunLoopContract, FunctionsRunInTheOrderOfTheirPostingAndTimersInThatOfTheirTimes) {
    this->loop().schedule(6ms, this->note("f"));
    this->loop().schedule(3ms, this->note("d"));
    this->loop().schedule(3ms, this->note("e"));
    this->loop().post([this] {
        this->log_ += "a";
        this->loop().post(this->note("c"));
    });
    this->loop().post(this->note("b"));
    this->settleFor(10ms);
    EXPECT_EQ(this->log_, "abcdef");
}

TYPED_TEST(RunLoopContract, ATimerThatIsDueAtOnceRunsAtALaterTurn) {
    this->loop().post([this] {
        this->loop().schedule(-1h, this->note("b"));
        this->loop().schedule(0ms, this->note("c"));
        this->log_ += "a";
    });
    this->settleFor(1ms);
    EXPECT_EQ(this->log_, "abc");
}

TYPED_TEST(RunLoopContract, WhatIsCancelledDoesNotRunEvenWhenItIsDue) {
    RunLoop::TimerId later = 0;
    const auto first = this->loop().schedule(1ms, [&] {
        this->log_ += "a";
        this->loop().cancel(later);
    });
    later = this->loop().schedule(1ms, this->note("b"));
    const auto never = this->loop().schedule(2ms, this->note("c"));
    this->loop().cancel(never);
    this->settleFor(5ms);
    for (const auto id : {first, never, RunLoop::TimerId{987654}}) this->loop().cancel(id);
    this->loop().schedule(1ms, this->note("d"));
    this->settleFor(5ms);
    EXPECT_EQ(this->log_, "ad");
}

TYPED_TEST(RunLoopContract, OtherThreadsPostScheduleAndCancelWhileItRuns) {
    constexpr int threads = 4, each = 200;
    std::vector<std::vector<int>> seen(threads);
    std::atomic<int> ran = 0;
    std::vector<std::thread> posting;
    for (int t = 0; t < threads; ++t) {
        posting.emplace_back([this, t, &seen, &ran] {
            EXPECT_FALSE(this->loop().isCurrent());
            for (int i = 0; i < each; ++i) {
                this->loop().post([this, t, i, &seen, &ran] {
                    EXPECT_TRUE(this->loop().isCurrent());
                    seen[static_cast<std::size_t>(t)].push_back(i);
                    ++ran;
                });
                this->loop().cancel(this->loop().schedule(1h, this->note("never")));
            }
        });
    }
    EXPECT_TRUE(await(this->loop(), [&ran] { return ran == threads * each; }));
    for (std::thread& thread : posting) thread.join();
    for (const auto& order : seen) EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(this->log_, "");
}

TYPED_TEST(RunLoopContract, ARepeatingTimerKeepsItsRhythm) {
    const Duration start = this->loop().now();
    std::vector<Duration> firings;
    const auto timer = Timer::scheduled(this->loop(), 0.003, Timer::Repeats::yes,
                                        [&](Timer&) { firings.push_back(this->loop().now() - start); });
    ASSERT_TRUE(settle(this->loop(), [&firings] { return firings.size() >= 5; }));
    for (std::size_t i = 0; i < firings.size(); ++i) EXPECT_GE(firings[i], 3ms * (i + 1));
    timer->invalidate();
    const std::size_t before = firings.size();
    this->settleFor(10ms);
    EXPECT_EQ(firings.size(), before);
}

TYPED_TEST(RunLoopContract, ATimerLivesByItselfAndLetsGoOfItsBlockAtItsEnd) {
    const auto held = std::make_shared<int>();
    const std::weak_ptr<Timer> once =
        Timer::scheduled(this->loop(), 0.001, Timer::Repeats::no,
                         [this, held](Timer& timer) { this->log_ += timer.isValid() ? "1" : "0"; });
    auto repeating = Timer::scheduled(this->loop(), 0.001, Timer::Repeats::yes, [this, held](Timer& timer) {
        this->log_ += "r";
        timer.invalidate();
        timer.invalidate();
    });
    const auto early =
        Timer::scheduled(this->loop(), 0.001, Timer::Repeats::no, [this, held](Timer&) { this->log_ += "x"; });
    early->invalidate();
    EXPECT_EQ(held.use_count(), 3);
    this->settleFor(10ms);
    EXPECT_EQ(this->log_, "1r");
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_TRUE(once.expired());
    EXPECT_FALSE(repeating->isValid());
}

TYPED_TEST(RunLoopContract, ATimerWithAWeakTargetEndsWithIt) {
    struct Target {
        int ticks = 0;
        void tick() { ++ticks; }
    };
    auto target = std::make_shared<Target>();
    const auto timer =
        Timer::scheduledWeak<Target>(this->loop(), 0.001, Timer::Repeats::yes, target, &Target::tick);
    ASSERT_TRUE(settle(this->loop(), [&target] { return target->ticks >= 2; }));
    EXPECT_EQ(target.use_count(), 1);
    target.reset();
    EXPECT_TRUE(settle(this->loop(), [&timer] { return !timer->isValid(); }));
}

// Posts and schedules again from its destructor, as objects do that say goodbye.
struct Farewell {
    RunLoop& loop;
    int rounds;
    int& destroyed;
    ~Farewell() {
        ++destroyed;
        if (rounds == 0) return;
        const auto next = std::make_shared<Farewell>(loop, rounds - 1, destroyed);
        loop.post([next] { FAIL() << "ran in the destructor"; });
        loop.cancel(loop.schedule(1h, [] {}));
    }
    Farewell(RunLoop& itsLoop, int itsRounds, int& counter)
        : loop(itsLoop), rounds(itsRounds), destroyed(counter) {}
    Farewell(const Farewell&) = delete;
};

TYPED_TEST(RunLoopContract, WhatNeverRanIsDestroyedWithTheLoop) {
    int destroyed = 0;
    const auto keep = [&](int rounds) { return std::make_shared<Farewell>(this->loop(), rounds, destroyed); };
    this->loop().post([held = keep(2)] { FAIL(); });
    this->loop().schedule(1ms, [held = keep(1)] { FAIL(); });
    this->loop().cancel(this->loop().schedule(1ms, [held = keep(1)] { FAIL(); }));
    EXPECT_EQ(destroyed, 1);
    this->loop_.reset();
    EXPECT_EQ(destroyed, 3 + 2 + 2);
}

TEST(RealRunLoop, StopsAfterTheFunctionThatIsRunning) {
    RealRunLoop loop;
    std::string log;
    loop.post([&] { log += "a"; });
    loop.stop();
    loop.run();
    EXPECT_EQ(log, "") << "it was told to stop before it began";
    loop.post([&] {
        loop.stop();
        log += "b";
    });
    loop.post([&] { log += "c"; });
    loop.run();
    EXPECT_EQ(log, "ab");
    EXPECT_FALSE(loop.runUntil([] { return false; }, 0s));
    EXPECT_EQ(log, "abc");
}

TEST(RealRunLoop, ARepeatingTimerSkipsWhatABlockedLoopMissed) {
    RealRunLoop loop;
    const Duration start = loop.now();
    std::vector<Duration> firings;
    const auto timer = Timer::scheduled(loop, 0.002, Timer::Repeats::yes, [&](Timer&) {
        if (firings.empty()) {
            while (loop.now() < start + 9ms) std::this_thread::yield();
        }
        firings.push_back(loop.now() - start);
    });
    ASSERT_TRUE(loop.runUntil([&] { return firings.size() >= 3; }, 60s));
    // Blocked past the firings at 4, 6 and 8 ms, it makes up for them once.
    EXPECT_GE(firings[2], 10ms);
    timer->invalidate();
}

TEST(ManualRunLoop, TimeStandsStillBetweenAdvances) {
    ManualRunLoop loop(1000.0);
    std::vector<double> times;
    const auto timer = Timer::scheduled(loop, 10.0, Timer::Repeats::yes, [&](Timer&) {
        times.push_back(loop.secondsSince1970());
        loop.schedule(4s, [&] { times.push_back(loop.secondsSince1970()); });
    });
    loop.drain();
    loop.advance(9s);
    EXPECT_TRUE(times.empty());
    loop.advance(16s);
    EXPECT_THAT(times, ElementsAre(1010, 1014, 1020, 1024));
    EXPECT_EQ(loop.secondsSince1970(), 1025.0);
    EXPECT_EQ(loop.pendingTimers(), 1U);
    timer->invalidate();
    EXPECT_EQ(loop.pendingTimers(), 0U);
}

TEST(ManualRunLoop, DrainsOnRealTimeWhatComesFromOtherThreads) {
    ManualRunLoop loop;
    bool ran = false;
    std::thread other([&] { loop.post([&ran] { ran = true; }); });
    EXPECT_TRUE(loop.drainUntil([&ran] { return ran; }));
    other.join();
    EXPECT_FALSE(loop.drainUntil([] { return false; }, 0s));
}

TEST(Duration, SecondsAreClampedToWhatFits) {
    EXPECT_EQ(durationFromSeconds(1.5), 1500ms);
    EXPECT_EQ(durationFromSeconds(std::numeric_limits<double>::quiet_NaN()), 0s);
    EXPECT_EQ(durationFromSeconds(1e300), 9'000'000'000s);
    EXPECT_EQ(durationFromSeconds(-std::numeric_limits<double>::infinity()), -9'000'000'000s);
}

}  // namespace
}  // namespace quorel
