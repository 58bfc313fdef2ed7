// How the programs of the benchmarks measure and report: contenders for one task take turns, round after round, so that
// what else the machine does meets all of them, and every round's figure is told.
//
//   Task("find the timing lines", bytes).sdk("Matcher", [&] { return find(); }).limit("memchr", [&] { ... });
#pragma once

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorel::bench {

// Processor time of this thread, the system's share included, so that other programs do not count.
inline double now() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Of a last argument "--quick".
struct Pace {
    int rounds = 7;
    double seconds = 0.02;  // that one measurement lasts at least

    static Pace& current() {
        static Pace pace;
        return pace;
    }
    static void setBy(int count, char** arguments) {
        if (count > 1 && std::string_view(arguments[count - 1]) == "--quick")
            current() = {.rounds = 3, .seconds = 0.005};
    }
};

// What one row of the table compares. The destructor measures and prints a line of JSON for each contender, as table.py
// reads them.
class Task {
public:
    // Each call of a contender is over so many bytes: megabytes per second.
    Task(std::string name, std::size_t bytes) : name_(std::move(name)), unit_("MB/s"), amount_(bytes) {}
    // Each call of a contender does it so many times: processor time for one.
    static Task each(std::string name, const char* unit, std::size_t times) {
        Task task(std::move(name), times);
        task.unit_ = unit;
        return task;
    }
    Task(Task&&) = default;
    ~Task() {
        if (!contenders_.empty()) run();
    }

    // The contenders give a number that depends on their work, so that none of it is optimised away. The SDK's is the
    // one that the others are compared with; a variant is another way through the SDK.
    template <class Action>
    Task& sdk(const char* who, Action action) {
        return add("sdk", who, std::move(action));
    }
    template <class Action>
    Task& variant(const char* who, Action action) {
        return add("variant", who, std::move(action));
    }
    template <class Action>
    Task& peer(const char* who, Action action) {
        return add("peer", who, std::move(action));
    }
    // What the machine gives at best.
    template <class Action>
    Task& limit(const char* who, Action action) {
        return add("limit", who, std::move(action));
    }

    template <class Action>
    Task& add(const char* role, const char* who, Action action) {
        contenders_.push_back(
            {role,
             who,
             [action = std::move(action)]() mutable { return static_cast<std::size_t>(action()); },
             1,
             {}});
        return *this;
    }

private:
    struct Contender {
        const char* role;
        const char* who;
        std::function<std::size_t()> action;
        int repeats = 1;
        std::vector<double> figures;
    };

    static double measure(const Contender& contender) {
        static volatile std::size_t sink;
        const double begin = now();
        for (int i = 0; i < contender.repeats; ++i) sink = sink + contender.action();
        return (now() - begin) / contender.repeats;
    }

    void run() {
        const Pace& pace = Pace::current();
        for (Contender& contender : contenders_) {
            const double once = std::max(measure(contender), 1e-9);
            contender.repeats = static_cast<int>(std::clamp(std::ceil(pace.seconds / once), 1.0, 1e7));
        }
        const bool isSpeed = unit_ == "MB/s";
        for (int round = 0; round < pace.rounds; ++round) {
            for (Contender& contender : contenders_) {
                const double seconds = measure(contender);
                const auto amount = static_cast<double>(amount_);
                const double scale = unit_ == "ns" ? 1e9 : unit_ == "us" ? 1e6 : unit_ == "ms" ? 1e3 : 1;
                contender.figures.push_back(isSpeed ? amount / seconds / 1e6 : seconds * scale / amount);
            }
        }
        for (const Contender& contender : contenders_) {
            std::printf(R"({"task":"%s","unit":"%s","role":"%s","who":"%s","values":[)", name_.c_str(),
                        unit_.c_str(), contender.role, contender.who);
            for (const double& figure : contender.figures)
                std::printf("%s%.6g", &figure == contender.figures.data() ? "" : ",", figure);
            std::printf("]}\n");
        }
        std::fflush(stdout);
    }

    std::string name_, unit_;
    std::size_t amount_;
    std::vector<Contender> contenders_;
};

// One figure that is not timed here.
inline void report(const char* task, const char* unit, const char* role, const char* who, double value) {
    std::printf(R"({"task":"%s","unit":"%s","role":"%s","who":"%s","values":[%.6g]})"
                "\n",
                task, unit, role, who, value);
    std::fflush(stdout);
}

}  // namespace quorel::bench
