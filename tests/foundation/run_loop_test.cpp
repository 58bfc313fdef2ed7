#include "quorel/foundation/run_loop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>

#include "quorel/foundation/timer.h"

namespace quorel {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

enum class Kind { real, manual };

// What every run loop promises, whatever its clock.
class RunLoopContract : public ::testing::TestWithParam<Kind> {
protected:
    RunLoopContract() {
        if (GetParam() == Kind::real)
            loop = std::make_unique<RealRunLoop>();
        else
            loop = std::make_unique<ManualRunLoop>();
    }
    bool await(const std::function<bool()>& done) {
        if (GetParam() == Kind::real) return static_cast<RealRunLoop&>(*loop).runUntil(done, 60s);
        auto& manual = static_cast<ManualRunLoop&>(*loop);
        return manual.drainUntil([&] {
            if (!done()) manual.advance(1ms);
            return done();
        });
    }
    // Runs what is due within `delay`.
    void settleFor(Duration delay) {
        bool past = false;
        loop->schedule(delay, [&past] { past = true; });
        ASSERT_TRUE(await([&past] { return past; }));
    }
    std::function<void()> note(const char* text) {
        return [this, text] { log += text; };
    }

    std::string log;
    std::unique_ptr<RunLoop> loop;
};
INSTANTIATE_TEST_SUITE_P(Loops, RunLoopContract, ::testing::Values(Kind::real, Kind::manual));

TEST_P(RunLoopContract, FunctionsRunInTheOrderOfTheirPostingAndTimersInThatOfTheirTimes) {
    loop->schedule(6ms, note("h"));
    loop->schedule(3ms, note("f"));
    loop->schedule(3ms, note("g"));
    loop->post([this] {
        loop->schedule(-1h, note("b"));  // due at once, at a later turn
        loop->schedule(0ms, note("c"));
        loop->post(note("e"));
        log += "a";
    });
    loop->post(note("d"));
    settleFor(10ms);
    EXPECT_EQ(log, "abcdefgh");
}

TEST_P(RunLoopContract, WhatIsCancelledDoesNotRunEvenWhenItIsDue) {
    RunLoop::TimerId later = 0;
    const auto first = loop->schedule(1ms, [&] {
        log += "a";
        loop->cancel(later);
    });
    later = loop->schedule(1ms, note("b"));
    const auto never = loop->schedule(2ms, note("c"));
    loop->cancel(never);
    settleFor(5ms);
    for (const auto id : {first, never, RunLoop::TimerId{987654}}) loop->cancel(id);
    loop->schedule(1ms, note("d"));
    settleFor(5ms);
    EXPECT_EQ(log, "ad");
}

TEST_P(RunLoopContract, OtherThreadsPostScheduleAndCancelWhileItRuns) {
    constexpr int each = 200;
    std::vector<std::vector<int>> seen(4);
    std::atomic<int> ran = 0;
    std::vector<std::jthread> posting;
    for (auto& order : seen) {
        posting.emplace_back([&] {
            EXPECT_FALSE(loop->isCurrent());
            for (int i = 0; i < each; ++i) {
                loop->post([&, i] {
                    EXPECT_TRUE(loop->isCurrent());
                    order.push_back(i);
                    ++ran;
                });
                loop->cancel(loop->schedule(1h, note("never")));
            }
        });
    }
    EXPECT_TRUE(await([&ran] { return ran == 4 * each; }));
    posting.clear();
    for (const auto& order : seen) EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(log, "");
}

TEST_P(RunLoopContract, ARepeatingTimerKeepsItsRhythm) {
    const Duration start = loop->now();
    std::vector<Duration> firings;
    const auto timer = Timer::scheduled(*loop, 0.003, Timer::Repeats::yes,
                                        [&](Timer&) { firings.push_back(loop->now() - start); });
    ASSERT_TRUE(await([&firings] { return firings.size() >= 5; }));
    for (std::size_t i = 0; i < firings.size(); ++i) EXPECT_GE(firings[i], 3ms * (i + 1));
    timer->invalidate();
    firings.clear();
    settleFor(10ms);
    EXPECT_TRUE(firings.empty());
}

TEST_P(RunLoopContract, ATimerLivesByItselfAndLetsGoOfItsBlockAtItsEnd) {
    const auto held = std::make_shared<int>();
    const auto block = [this, held](Timer& timer) {
        log += timer.isValid() ? "1" : "0";
        timer.invalidate();
    };
    const std::weak_ptr<Timer> once = Timer::scheduled(*loop, 0.001, Timer::Repeats::no, block);
    const auto repeating = Timer::scheduled(*loop, 0.001, Timer::Repeats::yes, block);
    Timer::scheduled(*loop, 0.001, Timer::Repeats::no, block)->invalidate();
    EXPECT_EQ(held.use_count(), 4);
    settleFor(10ms);
    EXPECT_EQ(log, "11");
    EXPECT_EQ(held.use_count(), 2);
    EXPECT_TRUE(once.expired());
}

TEST_P(RunLoopContract, ATimerWithAWeakTargetEndsWithIt) {
    struct Target {
        int ticks = 0;
        void tick() { ++ticks; }
    };
    auto target = std::make_shared<Target>();
    const auto timer = Timer::scheduledWeak<Target>(*loop, 0.001, Timer::Repeats::yes, target, &Target::tick);
    ASSERT_TRUE(await([&target] { return target->ticks >= 2; }));
    target.reset();
    EXPECT_TRUE(await([&timer] { return !timer->isValid(); }));
}

// Posts and schedules again from its destructor, as objects do that say goodbye.
struct Farewell {
    Farewell(RunLoop& itsLoop, int itsRounds, int& counter)
        : loop(itsLoop), rounds(itsRounds), destroyed(counter) {}
    Farewell(const Farewell&) = delete;
    ~Farewell() {
        ++destroyed;
        if (rounds == 0) return;
        const auto next = std::make_shared<Farewell>(loop, rounds - 1, destroyed);
        loop.post([next] { FAIL() << "ran in the destructor"; });
        loop.cancel(loop.schedule(1h, [] {}));
    }
    RunLoop& loop;
    int rounds;
    int& destroyed;
};

TEST_P(RunLoopContract, WhatNeverRanIsDestroyedWithTheLoop) {
    int destroyed = 0;
    const auto keep = [&](int rounds) { return std::make_shared<Farewell>(*loop, rounds, destroyed); };
    loop->post([held = keep(2)] { FAIL(); });
    loop->schedule(1ms, [held = keep(1)] { FAIL(); });
    loop->cancel(loop->schedule(1ms, [held = keep(1)] { FAIL(); }));
    EXPECT_EQ(destroyed, 1);
    loop.reset();
    EXPECT_EQ(destroyed, 3 + 2 + 2);
}

TEST(RealRunLoop, StopsAfterTheFunctionThatIsRunning) {
    RealRunLoop loop;
    std::string log;
    loop.post([&] {
        loop.stop();
        log += "a";
    });
    loop.post([&] { log += "b"; });
    loop.stop();
    loop.run();
    EXPECT_EQ(log, "") << "it was told to stop before it began";
    loop.run();
    EXPECT_EQ(log, "a");
    EXPECT_FALSE(loop.runUntil([] { return false; }, 0s));
    EXPECT_EQ(log, "ab");
}

TEST(RealRunLoop, ClearedItHoldsNothingThatHoldsIt) {
    auto loop = std::make_shared<RealRunLoop>();
    const std::weak_ptr<RealRunLoop> weak = loop;
    const auto before = loop->schedule(std::chrono::hours(1), [loop] {});
    loop->post([loop] {});
    loop->clear();
    bool ran = false;
    loop->schedule(Duration(0), [&] { ran = true; });
    loop->cancel(before);  // is nobody else's by now
    EXPECT_TRUE(loop->runUntil([&] { return ran; }, std::chrono::seconds(30)));
    loop = nullptr;
    EXPECT_TRUE(weak.expired());
}

TEST(RealRunLoop, RunsInsideItselfButNotOnTwoThreads) {
    RealRunLoop loop;
    std::string order;
    loop.post([&] {
        loop.post([&] { order += "inner ", loop.stop(); });
        loop.run();
        order += "outer ";
        loop.stop();
    });
    loop.run();
    EXPECT_EQ(order, "inner outer ");
    loop.post([&] { throw std::runtime_error("thrown"); });
    EXPECT_THROW(loop.run(), std::runtime_error);
    loop.post(
        [&] { std::thread([&] { EXPECT_DEATH(loop.run(), "running on another thread"); }).join(), loop.stop(); });
    std::thread([&] { loop.run(); }).join();  // nobody runs it by now
}

TEST(RealRunLoop, OtherThreadsWakeIt) {
    RealRunLoop loop;
    const std::function<void()> stop = [&loop] { loop.stop(); };
    for (int i = 0; i < 150; ++i) {
        const std::jthread other([&, i] {
            if (i % 3 == 0) stop();
            if (i % 3 == 1) loop.post(stop);
            if (i % 3 == 2) loop.schedule(0ms, stop);
        });
        loop.run();
    }
}

TEST(RealRunLoop, ARepeatingTimerSkipsWhatABlockedLoopMissed) {
    RealRunLoop loop;
    const Duration start = loop.now();
    std::vector<Duration> firings;
    const auto timer = Timer::scheduled(loop, 0.002, Timer::Repeats::yes, [&](Timer&) {
        while (firings.empty() && loop.now() < start + 9ms) std::this_thread::yield();
        firings.push_back(loop.now() - start);
    });
    ASSERT_TRUE(loop.runUntil([&] { return firings.size() >= 3; }, 60s));
    EXPECT_GE(firings[2], 10ms) << "it made up for 4, 6 and 8 ms more than once";
    timer->invalidate();
}

TEST(ManualRunLoop, TimeStandsStillBetweenAdvances) {
    ManualRunLoop loop(1000.0);
    std::vector<double> times;
    const auto timer = Timer::scheduled(loop, 10.0, Timer::Repeats::yes, [&](Timer&) {
        times.push_back(loop.secondsSince1970());
        loop.schedule(4s, [&] { times.push_back(loop.secondsSince1970()); });
    });
    loop.advance(9s);
    EXPECT_TRUE(times.empty());
    loop.advance(16s);
    EXPECT_THAT(times, ElementsAre(1010, 1014, 1020, 1024));
    EXPECT_EQ(loop.secondsSince1970(), 1025.0);
    EXPECT_EQ(loop.pendingTimers(), 1U);
    timer->invalidate();
    EXPECT_EQ(loop.pendingTimers(), 0U);
}

}  // namespace
}  // namespace quorel
