#include "tools/quorel-soak/soak.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <deque>
#include <fstream>
#include <limits>
#include <mutex>
#include <random>
#include <string_view>
#include <thread>

#include "quorel/engine/player.h"
#include "quorel/engine/source_description.h"
#include "quorel/engine/text_tracks.h"
#include "quorel/foundation/json.h"
#include "quorel/foundation/log.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/timer.h"
#include "quorel/session/quorel.h"
#include "sandbox/sandbox.h"
#include "sandbox/titles.h"
#include "tools/quorel-soak/house.h"
#include "tools/quorel-soak/viewer.h"
#include "tools/quorel-soak/vitals.h"
#include "tools/quorel-soak/watchdog.h"
#include "tools/standard_output.h"

namespace quorel::soak {

namespace {

using namespace std::chrono_literals;

// Every wait of the player is bounded; the slowest road is an ad that stalls before a film that stalls.
constexpr Duration outcomeBound = 90s;
constexpr Duration recoveryBound = 45s;
constexpr Duration goneBound = 30s;
constexpr Duration restBound = 40s;  // threads of pools idle for some seconds before they end
constexpr int roundsPerHouse = 6;
constexpr int housesToWarmUp = 2;   // plugins, registries and caches, which stay
constexpr int moreThreads = 3;      // than at rest after the warm-up, and so on
constexpr int moreDescriptors = 2;  // a pipeline that is not let go of keeps three
constexpr std::int64_t moreHeapKiB = 24 * 1024;
constexpr std::int64_t moreResidentKiB = 512 * 1024;  // AddressSanitizer keeps 256 MiB of what was freed

volatile std::sig_atomic_t interrupted = 0;

struct Journal {
    std::mutex mutex;
    bool verbose = false;
    std::deque<std::string> last;  // lines before a failure

    void note(std::string line) {
        const std::lock_guard lock(mutex);
        if (verbose) say(fmt::format("    {}\n", line));
        last.push_back(std::move(line));
        if (last.size() > 60) last.pop_front();
    }
};

std::string_view nameOf(Viewer::Outcome outcome) {
    constexpr std::array<std::string_view, 5> names = {"nothing", "plays", "ended", "failed", "screen"};
    return names.at(static_cast<std::size_t>(outcome));
}

JSONObject jsonOf(const Vitals& vitals) {
    return {{"threads", vitals.threads},
            {"descriptors", vitals.descriptors},
            {"residentKiB", vitals.residentKiB},
            {"heapKiB", vitals.heapKiB}};
}

class Soak {
public:
    explicit Soak(const Arguments& arguments) : arguments_(arguments), round_(arguments.firstRound - 1) {
        journal_.verbose = arguments.verbose;
        begin_ = std::chrono::steady_clock::now();
    }

    int run() {
        setLogSink([this](std::string_view line) { journal_.note(std::string(line)); });
        while (!isOver()) {
            house();
            ++houses_;
            rest();
        }
        setLogSink([](std::string_view) {});
        return report();
    }

private:
    double elapsed() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
    }
    bool isOver() const { return interrupted != 0 || elapsed() >= arguments_.seconds; }
    std::uint64_t pick(std::uint64_t range) { return dice_() % range; }
    template <class T>
    T oneOf(std::initializer_list<T> list) {
        return *(list.begin() + static_cast<std::ptrdiff_t>(pick(list.size())));
    }

    void wrong(const std::string& what) {
        const std::string line = fmt::format("seed {} round {}: {}", arguments_.seed, round_, what);
        std::string text = fmt::format("WRONG  {}\n", line);
        {
            const std::lock_guard lock(journal_.mutex);
            for (const std::string& before : journal_.last) text += fmt::format("    before: {}\n", before);
            journal_.last.clear();
        }
        say(text);
        wrongs_.push_back(line);
    }

    void pass(House& house, Duration time) {
        house.loop->runUntil([] { return false; }, time);
        watchdog_.beat();
    }
    bool until(House& house, Duration limit, const std::function<bool()>& done) {
        return house.loop->runUntil(
            [&] {
                watchdog_.beat();
                return done() || interrupted != 0;
            },
            limit);
    }

    void house() {
        House house;
        const auto beat =
            Timer::scheduled(*house.loop, 0.25, Timer::Repeats::yes, [this](Timer&) { watchdog_.beat(); });
        for (int i = 0; i < roundsPerHouse && !isOver(); ++i) round(house);
        if (interrupted == 0) recover(house);
        close(house);
    }

    void round(House& house) {
        ++round_;
        dice_.seed(arguments_.seed * 1'000'003 + round_);
        const double rate = oneOf({0.0, 0.02, 0.1, 0.1, 0.3, 0.3, 0.6, 1.0});
        const auto title =
            oneOf<std::string>({"sample", "sample", "sample-fmp4", "sample-fmp4", "sample-aes", "sample-audio",
                                "ads", "ads", "ads-schedule", "ads-trouble", "live", "live", "live", "ads-live",
                                "live-soon", "live-paused", "live-over", "no-such-title"});
        const bool isLive = title.starts_with("live") || title == "ads-live";
        const double start = oneOf({0.0, 0.0, 7.5, 15.0, -3.0, 1e9});
        const auto subtitle =
            oneOf<std::optional<std::string>>({std::nullopt, "pt-br", "PT-BR", "en", "es", "tlh"});
        const bool inAHurry = pick(4) == 0;
        house.backend.clearFaults();
        // A load that the backend refuses never comes to its stream, so half of them are spared that.
        if (pick(2) == 0) house.backend.setFault("/v1/*", {});
        house.backend.setChaos({.seed = arguments_.seed ^ round_, .rate = rate, .longestDelay = 2000ms});
        // Before it begins, for whoever looks at a process that has died in it.
        say(fmt::format("{:6.0f} s  round {:4}  {:13}  faults {:4.0f} %  ", elapsed(), round_, title, rate * 100));
        journal_.note(fmt::format("-- round {}: {}", round_, title));

        if (!house.viewer || house.mayHaveScreen || isLive || title == house.lastTitle || pick(3) == 0) {
            house.leave();
            house.viewer = Viewer::make([this](const std::string& event) { journal_.note(event); });
        }
        house.mayHaveScreen = isLive;
        house.lastTitle = title;
        house.viewer->ask(title, start, subtitle);
        std::string outcome = "left";
        if (inAHurry) {
            pass(house, std::chrono::milliseconds(pick(1500)));
        } else if (!until(house, outcomeBound, [&] { return house.viewer->outcome() != Viewer::Outcome::none; }) &&
                   interrupted == 0) {
            wrong(fmt::format("no outcome of '{}' at rate {}; threads: {}", title, rate, threadNames()));
        }
        if (!inAHurry) outcome = nameOf(house.viewer->outcome());
        ++outcomes_[outcome];
        if (!house.viewer->error().empty()) ++errors_[withoutNumbers(house.viewer->error())];

        for (auto acts = pick(7); acts > 0 && interrupted == 0; --acts) {
            act(house, title);
            pass(house, std::chrono::milliseconds(pick(2) == 0 ? pick(40) : pick(1200)));
        }
        const Vitals vitals = Vitals::now();
        most_.threads = std::max(most_.threads, vitals.threads);
        most_.descriptors = std::max(most_.descriptors, vitals.descriptors);
        most_.residentKiB = std::max(most_.residentKiB, vitals.residentKiB);
        most_.heapKiB = std::max(most_.heapKiB, vitals.heapKiB);
        say(fmt::format("{:7}  threads {:3}  fds {:3}  heap {:4} MiB  rss {:4} MiB\n", outcome, vitals.threads,
                        vitals.descriptors, vitals.heapKiB / 1024, vitals.residentKiB / 1024));
    }

    // The texts of errors name ports and addresses.
    static std::string withoutNumbers(std::string text) {
        std::string plain;
        for (const char c : text) {
            const bool isDigit = c >= '0' && c <= '9';
            if (!isDigit)
                plain += c;
            else if (!plain.ends_with('#'))
                plain += '#';
        }
        return plain.substr(0, 160);
    }

    void act(House& house, const std::string& title) {
        const auto player = house.viewer->player();
        const auto engine = player->player();
        constexpr double infinite = std::numeric_limits<double>::infinity();
        switch (pick(17)) {
            case 0:
            case 1:
                return player->seekTo(static_cast<double>(pick(24'000)) / 1000);
            case 2:
                return player->seekTo(oneOf({-5.0, 1e18, infinite, -infinite, std::nan("")}));
            case 3:
                return player->pause();
            case 4:
                return player->play();
            case 5:
                return player->setPlaybackRate(oneOf({0.0, 0.1, 0.5, 1.0, 2.0, 16.0, infinite}));
            case 6:
            case 7:
                return player->selectSubtitle(
                    oneOf<std::optional<std::string>>({std::nullopt, "pt-br", "en", "es", "nobody"}));
            case 8:
                return pick(2) == 0 ? player->mute() : player->unmute();
            case 9:
                return player->toggleFullScreen();
            case 10:
                return player->layoutIn({0, 0, static_cast<double>(pick(2000)), static_cast<double>(pick(1200))});
            case 11:
                for (std::size_t i = 0; engine && i < engine->textTracks().count(); ++i) {
                    engine->textTracks().get(i)->setMode(static_cast<TextTrackMode>(pick(3)));
                }
                return;
            case 12:
                house.backend.stop();
                pass(house, std::chrono::milliseconds(pick(2500)));
                return house.backend.start(house.port);
            case 13:
                return player->updateLivePlayerStatus();
            case 14:
                return pick(2) == 0 ? player->startAnalytics() : player->stopAnalytics();
            case 15:
                if (engine && pick(3) == 0) engine->setSource(std::nullopt);
                return;
            default:
                return switchLive(house, title);
        }
    }

    void switchLive(House& house, const std::string& id) {
        using State = sandbox::Title::State;
        for (sandbox::Title title : house.backend.titles()) {
            if (title.id != id || !title.isLive()) continue;
            title.state = oneOf({State::onAir, State::onAir, State::paused, State::over});
            title.cdnHost = oneOf<std::string>({"127.0.0.1", "localhost"});
            ++title.cdnUpdate;
            house.backend.setTitle(title);
        }
    }

    // Once the trouble is over a title plays, with its subtitles.
    void recover(House& house) {
        house.backend.clearFaults();
        house.leave();
        house.viewer = Viewer::make([this](const std::string& event) { journal_.note(event); });
        journal_.note("-- recovery");
        house.viewer->ask("sample", 0, "pt-br");
        const bool plays = until(house, recoveryBound,
                                 [&] { return house.viewer->progress() >= 1.5 && house.viewer->lines() > 0; });
        if (!plays && interrupted == 0) {
            wrong(fmt::format("no recovery: {}, {:.1f} s played, {} subtitle lines, '{}'",
                              nameOf(house.viewer->outcome()), house.viewer->progress(), house.viewer->lines(),
                              house.viewer->error()));
        }
        ++outcomes_["recovered"];
    }

    // As quorel-play lets go of its player.
    void close(House& house) {
        house.leave();
        House::refuseLoads();
        // A countdown keeps its player until the loop goes.
        until(house, goneBound, [&] { return house.allGone(); });
        Quorel::shared().install({});
        pass(house, 50ms);
        house.tearDown();
        for (const auto& viewer : house.left) {
            if (!viewer->gone()) wrong("a player or its engine is still held after it was let go of");
            if (viewer->lateEvents() > 0) wrong(fmt::format("{} events after the end", viewer->lateEvents()));
            for (const auto& [event, count] : viewer->events()) events_[event] += count;
        }
    }

    // Back to what was held before.
    void rest() {
        Vitals vitals = Vitals::now();
        const auto began = std::chrono::steady_clock::now();
        const auto atRest = [&] {
            return vitals.threads <= atRest_.threads + moreThreads &&
                   vitals.descriptors <= atRest_.descriptors + moreDescriptors;
        };
        // The first times there is nothing to compare with but silence itself.
        for (int quiet = 0; std::chrono::steady_clock::now() - began < restBound && interrupted == 0;) {
            if (houses_ > housesToWarmUp && atRest()) break;
            std::this_thread::sleep_for(100ms);
            watchdog_.beat();
            const Vitals next = Vitals::now();
            quiet = next.threads == vitals.threads && next.descriptors == vitals.descriptors ? quiet + 1 : 0;
            vitals = next;
            if (houses_ <= housesToWarmUp && quiet > 70) break;
        }
        say(fmt::format("{:6.0f} s  at rest  threads {}  fds {}  heap {} KiB  rss {} MiB\n", elapsed(),
                        vitals.threads, vitals.descriptors, vitals.heapKiB, vitals.residentKiB / 1024));
        now_ = vitals;
        if (houses_ <= housesToWarmUp) {
            atRest_ = vitals;
            return;
        }
        if (interrupted != 0) return;
        if (vitals.threads > atRest_.threads + moreThreads) {
            wrong(
                fmt::format("{} threads at rest, {} before: {}", vitals.threads, atRest_.threads, threadNames()));
        }
        if (vitals.descriptors > atRest_.descriptors + moreDescriptors) {
            wrong(fmt::format("{} descriptors at rest, {} before: {}", vitals.descriptors, atRest_.descriptors,
                              descriptorTargets()));
        }
        if (vitals.heapKiB > atRest_.heapKiB + moreHeapKiB) {
            wrong(fmt::format("{} KiB allocated at rest, {} before", vitals.heapKiB, atRest_.heapKiB));
        }
        if (vitals.residentKiB > atRest_.residentKiB + moreResidentKiB) {
            wrong(fmt::format("{} KiB resident at rest, {} before", vitals.residentKiB, atRest_.residentKiB));
        }
    }

    int report() {
        const auto counts = [](const auto& map) {
            JSONObject object;
            for (const auto& [name, count] : map) object.set(name, count);
            return object;
        };
        const JSONObject summary{
            {"seed", static_cast<std::int64_t>(arguments_.seed)},
            {"firstRound", static_cast<std::int64_t>(arguments_.firstRound)},
            {"lastRound", static_cast<std::int64_t>(round_)},
            {"seconds", std::round(elapsed())},
            {"houses", houses_},
            {"interrupted", interrupted != 0},
            {"outcomes", counts(outcomes_)},
            {"events", counts(events_)},
            {"errors", counts(errors_)},
            {"atRestAfterWarmUp", jsonOf(atRest_)},
            {"atRestAtTheEnd", jsonOf(now_)},
            {"most", jsonOf(most_)},
            {"wrong", JSONArray(wrongs_.begin(), wrongs_.end())},
        };
        const std::string text = serializeJSON(summary);
        say(text + "\n");
        if (arguments_.json) {
            std::ofstream file(*arguments_.json);
            file << text << "\n";
            if (!file.flush()) {
                fmt::print(stderr, "quorel-soak: cannot write '{}'\n", *arguments_.json);
                return 1;
            }
        }
        return wrongs_.empty() ? 0 : 1;
    }

    const Arguments& arguments_;
    std::chrono::steady_clock::time_point begin_;
    std::mt19937_64 dice_;
    std::uint64_t round_;
    int houses_ = 0;
    Watchdog watchdog_;
    Journal journal_;
    std::vector<std::string> wrongs_;
    std::map<std::string, int> outcomes_, events_, errors_;
    Vitals atRest_, now_, most_;
};

}  // namespace

int run(const Arguments& arguments) {
    struct sigaction action {};
    action.sa_handler = [](int) { interrupted = 1; };
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    return Soak(arguments).run();
}

}  // namespace quorel::soak
