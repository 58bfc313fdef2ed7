#include "sandbox/faults.h"

#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace quorel::sandbox {

namespace {

int number(const std::string& name, const std::string& text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw FaultError(fmt::format("{} must be a whole number, not '{}'", name, text));
    }
    return value;
}

constexpr std::array<std::pair<std::string_view, Fault::Broken>, 6> brokenNames = {{
    {"json", Fault::Broken::json},
    {"cut", Fault::Broken::cut},
    {"stall", Fault::Broken::stall},
    {"garbage", Fault::Broken::garbage},
    {"lie", Fault::Broken::lie},
    {"loop", Fault::Broken::loop},
}};

// Splitmix64, whose numbers are the same everywhere, unlike those of <random>'s distributions.
std::uint64_t mixed(std::uint64_t state) {
    state += 0x9E3779B97F4A7C15U;
    state = (state ^ (state >> 30U)) * 0xBF58476D1CE4E5B9U;
    state = (state ^ (state >> 27U)) * 0x94D049BB133111EBU;
    return state ^ (state >> 31U);
}

void check(const Fault& fault) {
    if (fault.delay.count() < 0 || fault.delay > Fault::maximumDelay) {
        throw FaultError(fmt::format("delay must be 0 to {} ms", Fault::maximumDelay.count()));
    }
    if (fault.status && (*fault.status < 200 || *fault.status > 599)) {
        throw FaultError("status must be 200 to 599");
    }
    if (fault.times && *fault.times < 1) throw FaultError("times must be 1 or more");
}

}  // namespace

Fault Fault::parse(const std::map<std::string, std::string>& values) {
    Fault fault;
    for (const auto& [name, value] : values) {
        if (name == "delay") {
            fault.delay = std::chrono::milliseconds(number(name, value));
        } else if (name == "status") {
            fault.status = number(name, value);
        } else if (name == "times") {
            fault.times = number(name, value);
        } else if (name == "broken") {
            const auto found =
                std::find_if(brokenNames.begin(), brokenNames.end(),
                             [&wanted = value](const auto& entry) { return entry.first == wanted; });
            if (found == brokenNames.end()) {
                throw FaultError(
                    fmt::format("broken must be json, cut, stall, garbage, lie or loop, not '{}'", value));
            }
            fault.broken = found->second;
        }
    }
    check(fault);
    return fault;
}

Fault Chaos::fault(std::string_view path, std::uint64_t count) const {
    std::uint64_t state = seed;
    for (const char c : path) state = mixed(state ^ static_cast<unsigned char>(c));
    state = mixed(state ^ count);
    const auto next = [&state](std::uint64_t range) { return (state = mixed(state)) % range; };

    constexpr std::uint64_t fine = 1'000'000;
    if (static_cast<double>(next(fine)) >= rate * static_cast<double>(fine)) return {};
    Fault fault;
    const auto slow = [&] {
        const auto range = static_cast<std::uint64_t>(std::max<std::int64_t>(longestDelay.count(), 1));
        return std::chrono::milliseconds(static_cast<std::int64_t>(next(range)) + 1);
    };
    constexpr std::array statuses = {403, 404, 416, 429, 500, 503};
    switch (next(8)) {
        case 0:
            fault.delay = slow();
            break;
        case 1:
            fault.status = statuses.at(next(statuses.size()));
            break;
        case 2:
            fault.delay = slow();
            fault.broken = Fault::Broken::stall;
            break;
        default:
            fault.broken = brokenNames.at(next(brokenNames.size())).second;
    }
    return fault;
}

void FaultTable::set(std::string pattern, Fault fault) {
    check(fault);
    const std::lock_guard lock(mutex_);
    std::erase_if(faults_, [&](const auto& entry) { return entry.first == pattern; });
    faults_.emplace_back(std::move(pattern), fault);
}

void FaultTable::clear() {
    const std::lock_guard lock(mutex_);
    faults_.clear();
    chaos_.reset();
    counts_.clear();
}

void FaultTable::setChaos(std::optional<Chaos> chaos) {
    if (chaos && !(chaos->rate >= 0 && chaos->rate <= 1)) throw FaultError("rate must be 0 to 1");
    if (chaos && (chaos->longestDelay.count() < 0 || chaos->longestDelay > Fault::maximumDelay)) {
        throw FaultError(fmt::format("delay must be 0 to {} ms", Fault::maximumDelay.count()));
    }
    const std::lock_guard lock(mutex_);
    chaos_ = chaos;
    counts_.clear();
}

Fault FaultTable::take(std::string_view path) {
    const std::string whole(path);
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(faults_.rbegin(), faults_.rend(), [&](const auto& entry) {
        return fnmatch(entry.first.c_str(), whole.c_str(), 0) == 0;
    });
    if (found == faults_.rend()) {
        if (!chaos_) return {};
        constexpr std::size_t most = 10'000;  // paths; a live channel has new ones without end
        if (counts_.size() >= most) counts_.clear();
        return chaos_->fault(whole, counts_[whole]++);
    }
    const Fault fault = found->second;
    if (found->second.times && --*found->second.times == 0) faults_.erase(std::next(found).base());
    return fault;
}

JSONArray FaultTable::list() const {
    const std::lock_guard lock(mutex_);
    JSONArray list;
    for (const auto& [pattern, fault] : faults_) {
        JSONObject entry{{"path", pattern}, {"delay", std::int64_t{fault.delay.count()}}};
        if (fault.status) entry.set("status", *fault.status);
        for (const auto& [name, broken] : brokenNames) {
            if (fault.broken == broken) entry.set("broken", name);
        }
        if (fault.times) entry.set("times", *fault.times);
        list.emplace_back(std::move(entry));
    }
    return list;
}

}  // namespace quorel::sandbox
