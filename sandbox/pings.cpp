#include "sandbox/pings.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <utility>
#include <variant>

#include "quorel/foundation/url.h"
#include "quorel/foundation/uuid.h"

namespace quorel::sandbox {

namespace {

// What is wrong with a value, after its key; empty for nothing.
using Rule = std::function<std::string(const JSONValue&)>;
using Rules = std::vector<std::pair<std::string_view, Rule>>;

std::string isBoolean(const JSONValue& value) {
    return value.getIf<bool>() != nullptr ? "" : fmt::format("is {}, not a boolean", value.typeName());
}

std::string isNumber(const JSONValue& value) {
    const bool is = value.getIf<std::int64_t>() != nullptr || value.getIf<std::uint64_t>() != nullptr ||
                    value.getIf<double>() != nullptr;
    return is ? "" : fmt::format("is {}, not a number", value.typeName());
}

std::string isCount(const JSONValue& value) {
    const auto* number = value.getIf<std::int64_t>();
    return number != nullptr && *number >= 0 ? "" : "is no integer from 0 on";
}

std::string isText(const JSONValue& value) {
    return value.getIf<std::string>() != nullptr ? "" : fmt::format("is {}, not a text", value.typeName());
}

std::string isUpperCaseUUID(const JSONValue& value) {
    const auto* text = value.getIf<std::string>();
    const auto uuid = text != nullptr ? UUID::parse(*text) : std::nullopt;
    return uuid && uuid->string() == *text ? "" : "is no UUID in upper case";
}

std::string isURL(const JSONValue& value) {
    const auto* text = value.getIf<std::string>();
    return text != nullptr && URL::parseStrict(*text) ? "" : "is no URL";
}

Rule is(JSONValue wanted) {
    return [wanted](const JSONValue& value) {
        return value == wanted ? "" : fmt::format("is {}, not {}", serializeJSON(value), serializeJSON(wanted));
    };
}

// Exactly these keys, and each as its rule wants it.
void check(const JSONValue& value, const std::string& where, const Rules& rules,
           std::vector<std::string>& problems) {
    const auto* object = value.getIf<JSONObject>();
    if (object == nullptr) {
        problems.push_back(fmt::format("{} is {}, not an object", where, value.typeName()));
        return;
    }
    std::size_t known = 0;
    for (const auto& [key, rule] : rules) {
        const JSONValue* found = object->find(key);
        if (found != nullptr) ++known;
        const std::string problem = found != nullptr ? rule(*found) : "is missing";
        if (!problem.empty()) problems.push_back(fmt::format("\"{}\" of {} {}", key, where, problem));
    }
    if (known == object->size()) return;
    for (const auto& [key, ignored] : *object) {
        const auto same = [&name = key](const auto& rule) { return rule.first == name; };
        if (std::none_of(rules.begin(), rules.end(), same)) {
            problems.push_back(fmt::format("\"{}\" does not belong into {}", key, where));
        }
    }
}

void checkData(const JSONValue& data, const JSONValue& name, std::vector<std::string>& problems) {
    const JSONObject* object = data.getIf<JSONObject>();
    const JSONValue* source = object != nullptr ? object->find("video_src") : nullptr;
    const auto* address = source != nullptr ? source->getIf<std::string>() : nullptr;
    const auto url = address != nullptr ? URL::parse(*address) : std::nullopt;
    check(data, "\"dados\"",
          {{"evento", is("ping")},
           {"video_nome", is(name)},
           {"usuario_id", isUpperCaseUUID},
           {"fazendo_rebuffer", isBoolean},
           {"tamanho_buffer", is(0)},
           {"player_fullscreen", is(true)},
           {"player_autoplay", isBoolean},
           {"player_pausado", isBoolean},
           {"video_src", isURL},
           {"video_altura", isNumber},
           {"video_largura", isNumber},
           {"versao_theo", is("")},
           {"current_time", isNumber},
           {"host", is(url ? url->host().value_or("") : "")},
           {"sequencia", isCount}},
          problems);
}

void checkPayload(const JSONValue& payload, std::vector<std::string>& problems) {
    const auto isOne = [](const JSONValue& value) {
        const auto* array = value.getIf<JSONArray>();
        return array != nullptr && array->size() == 1 ? "" : "is no array with one element";
    };
    check(payload, "the payload", {{"eventos", isOne}}, problems);
    if (!problems.empty()) return;
    const JSONValue& event = payload["eventos"][0];
    const auto anything = [](const JSONValue&) { return ""; };
    check(event, "the event", {{"evento", is("ping")}, {"video_nome", isText}, {"dados", anything}}, problems);
    if (problems.empty()) checkData(event["dados"], event["video_nome"], problems);
}

}  // namespace

PingRecord checkedPing(double received, const HTTPHeaders& headers, std::string_view body) {
    PingRecord record;
    record.received = received;
    record.ssid = headers.value("x-quorel-ssid");
    if (!record.ssid) record.problems.push_back("the header x-quorel-ssid is missing");
    if (headers.value("Authorization")) record.problems.push_back("there is an Authorization header");
    const auto type = headers.value("Content-Type");
    if (type != "application/json") {
        record.problems.push_back(fmt::format("the Content-Type is {}", type ? "\"" + *type + "\"" : "missing"));
    }
    try {
        record.payload = parseJSON(body);
        checkPayload(record.payload, record.problems);
    } catch (const JSONError& error) {
        record.problems.push_back(fmt::format("the body is no JSON: {}", error.what()));
    }
    return record;
}

void PingLog::arrived(PingRecord record) {
    const std::lock_guard lock(mutex_);
    if (records_.size() == capacity) records_.pop_front();
    records_.push_back(std::move(record));
}

std::vector<PingRecord> PingLog::all() const {
    const std::lock_guard lock(mutex_);
    return {records_.begin(), records_.end()};
}

void PingLog::clear() {
    const std::lock_guard lock(mutex_);
    records_.clear();
}

}  // namespace quorel::sandbox
