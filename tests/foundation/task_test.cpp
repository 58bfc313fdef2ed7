#include "quorel/foundation/task.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <barrier>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include "quorel/foundation/dispatch.h"
#include "quorel/foundation/error.h"
#include "quorel/foundation/run_loop.h"

namespace quorel {
namespace {

using namespace std::chrono_literals;

Task<int> measuredOn(Executor& executor, int value) {
    co_await resumeOn(executor);
    EXPECT_TRUE(executor.isCurrent());
    if (value < 0) throw std::out_of_range("negative");
    co_return value;
}

Task<int> sum(Executor& executor, int a, int b) {
    const int first = co_await measuredOn(executor, a);
    co_return first + co_await measuredOn(executor, b);
}

TEST(Task, ACallerGoesOnWhereItLivesWhateverItWaitsFor) {
    ManualRunLoop loop;
    BackgroundExecutor background;
    SerialQueue queue("test.queue");
    std::string log;
    const auto work = [&]() -> Task<> {
        EXPECT_TRUE(loop.isCurrent());
        log += std::to_string(co_await sum(background, 1, 2));
        EXPECT_TRUE(loop.isCurrent());
        try {
            (void)co_await sum(queue, 1, -1);
        } catch (const std::out_of_range& error) {
            EXPECT_TRUE(loop.isCurrent());
            log += error.what();
        }
        co_await resumeOn(queue);
        EXPECT_TRUE(queue.isCurrent());
        (void)co_await measuredOn(background, 0);
        EXPECT_TRUE(queue.isCurrent());
        co_await resumeOn(loop);
        log += ".";
    };
    startTask(loop, work());
    EXPECT_EQ(log, "");  // at a later turn
    EXPECT_TRUE(loop.drainUntil([&log] { return log.ends_with('.'); }));
    EXPECT_EQ(log, "3negative.");
}

TEST(Task, CompletionsMayComeAtOnceLaterOrAsErrors) {
    ManualRunLoop loop;
    std::vector<std::jthread> threads;
    std::string log;
    const auto work = [&]() -> Task<> {
        log += co_await completionOf<std::string>([](auto complete) { complete("a"); });
        // Completes, as it may, while the operation has not returned.
        log += co_await completionOf<std::string>(
            [](auto complete) { std::thread([complete] { complete("b"); }).join(); });
        try {
            (void)co_await completionOf<std::string>([&threads](auto complete) {
                threads.emplace_back([complete] { complete(std::make_exception_ptr(Error("c"))); });
            });
        } catch (const Error& error) {
            EXPECT_TRUE(loop.isCurrent());
            log += error.what();
        }
    };
    startTask(loop, work());
    EXPECT_TRUE(loop.drainUntil([&log] { return log.size() == 3; }));
    EXPECT_EQ(log, "abc");
}

// Counts the frames that hold it.
struct Held {
    explicit Held(int& itsCount) : count(&itsCount) { ++*count; }
    Held(const Held& other) : count(other.count) { ++*count; }
    ~Held() { --*count; }
    Held& operator=(const Held&) = delete;
    int* count;
};

Task<> waiting(Held held, CompletionAwaiter<int>::Completion& kept) {
    (void)co_await completionOf<int>([&kept](auto complete) { kept = std::move(complete); });
    ADD_FAILURE() << "went on with " << *held.count;
}
Task<> waitingFor(Held held, Task<> inner) {
    co_await std::move(inner);
    ADD_FAILURE() << "went on with " << *held.count;
}

TEST(Task, AChainThatCanNeverGoOnIsDestroyedWithAllItHolds) {
    int held = 0;
    CompletionAwaiter<int>::Completion kept;
    const auto chain = [&] { return waitingFor(Held(held), waiting(Held(held), kept)); };
    { const Task<> neverStarted = chain(); }
    EXPECT_EQ(held, 0);
    {
        ManualRunLoop loop;
        startTask(loop, chain());
    }
    EXPECT_EQ(held, 0) << "the loop ended before the task began";
    {
        ManualRunLoop loop;
        startTask(loop, chain());
        loop.drain();
        kept(5);
        EXPECT_EQ(held, 2);
    }
    kept = nullptr;
    EXPECT_EQ(held, 0) << "the loop ended before the completion arrived";
    ManualRunLoop loop;
    startTask(loop, chain());
    loop.drain();
    kept = nullptr;
    EXPECT_EQ(held, 0) << "nobody completes any more";
}

TEST(SerialQueue, RunsInOrderOneAtATimeOnOneThread) {
    SerialQueue queue("test.queue");
    std::vector<int> order;
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 100; ++i) queue.sync([&] { order.push_back(i); });
        });
    }
    threads.clear();
    EXPECT_EQ(order.size(), 400U);
    order.clear();
    for (int i = 0; i < 100; ++i) queue.post([&order, i] { order.push_back(i); });
    EXPECT_FALSE(queue.isCurrent());
    queue.sync([&] {
        EXPECT_TRUE(queue.isCurrent());
        queue.sync([&] { order.push_back(100); });  // at once, without waiting for itself
    });
    EXPECT_EQ(order.size(), 101U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

// What both executors promise.
template <class Pool>
void dropsTheRest(std::unique_ptr<Pool> pool) {
    Pool& target = *pool;
    std::promise<void> running, release;
    int dropped = 0;
    // Posts again while it is dropped.
    const auto goodbye = [&] {
        return std::shared_ptr<void>(nullptr, [&](void*) {
            target.post([] { ADD_FAILURE() << "ran after its executor"; });
            ++dropped;
        });
    };
    target.post([&] {
        running.set_value();
        release.get_future().wait();
    });
    for (int i = 0; i < 3; ++i) target.post([held = goodbye()] { ADD_FAILURE() << "ran"; });
    running.get_future().wait();
    std::thread destroying([&pool] { pool.reset(); });
    // Refuses what is posted as soon as its destruction has begun, which waits for the function above.
    for (bool refused = false; !refused;) {
        auto held = std::make_shared<int>();
        const std::weak_ptr<int> watched = held;
        target.post([held = std::move(held)] {});
        refused = watched.expired();
    }
    release.set_value();
    destroying.join();
    EXPECT_EQ(dropped, 3);
}

TEST(SerialQueue, DropsTheRestWhenItIsDestroyed) {
    dropsTheRest(std::make_unique<SerialQueue>("test.queue"));
}
TEST(BackgroundExecutor, DropsTheRestWhenItIsDestroyed) {
    dropsTheRest(std::make_unique<BackgroundExecutor>(1));
}

TEST(BackgroundExecutor, RunsOnAllItsThreads) {
    BackgroundExecutor pool(2);
    std::barrier meeting(3);
    for (int i = 0; i < 2; ++i) pool.post([&meeting] { meeting.arrive_and_wait(); });
    meeting.arrive_and_wait();
}

}  // namespace
}  // namespace quorel
