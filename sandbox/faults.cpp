#include "sandbox/faults.h"

#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
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
            if (value == "json")
                fault.broken = Broken::json;
            else if (value == "cut")
                fault.broken = Broken::cut;
            else
                throw FaultError(fmt::format("broken must be json or cut, not '{}'", value));
        }
    }
    check(fault);
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
}

Fault FaultTable::take(std::string_view path) {
    const std::string whole(path);
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(faults_.rbegin(), faults_.rend(), [&](const auto& entry) {
        return fnmatch(entry.first.c_str(), whole.c_str(), 0) == 0;
    });
    if (found == faults_.rend()) return {};
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
        if (fault.broken != Fault::Broken::no)
            entry.set("broken", fault.broken == Fault::Broken::json ? "json" : "cut");
        if (fault.times) entry.set("times", *fault.times);
        list.emplace_back(std::move(entry));
    }
    return list;
}

}  // namespace quorel::sandbox
