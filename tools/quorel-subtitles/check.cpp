#include "tools/quorel-subtitles/check.h"

#include <fmt/format.h>

#include <algorithm>
#include <variant>

#include "quorel/foundation/text.h"
#include "tools/quorel-subtitles/reading.h"
#include "tools/quorel-subtitles/report.h"

namespace quorel::subtitles_tool {
namespace {

struct Warning {
    std::string_view one, many;          // behind "1 cue", behind "2 cues"
    std::size_t count = 0;               // 0 when the document has no cue at all
    std::vector<std::size_t> cues = {};  // the first of them, from 1

    void add(std::size_t cue) {
        constexpr std::size_t told = 100;
        if (count++ < told) cues.push_back(cue);
    }

    std::string text(const Subtitles& document) const {
        if (count == 0) return std::string(one);
        constexpr std::size_t shown = 3;
        std::string text = fmt::format("{} {}: ", count, count == 1 ? one : many);
        for (std::size_t i = 0; i < std::min(shown, cues.size()); ++i) {
            const auto& cue = document.cues()[cues[i] - 1];
            text += fmt::format("{}number {} at {}", i == 0 ? "" : ", ", cues[i], cue.startTime().text());
        }
        return count > shown ? text + ", ..." : text;
    }
};

std::vector<Warning> warningsOf(const Subtitles& document, const Format& format) {
    Warning withoutText{"cue has no text", "cues have no text"};
    Warning withoutDuration{"cue has no duration", "cues have no duration"};
    Warning early{"cue begins before the one before it has ended",
                  "cues begin before the one before them has ended"};
    double latestEnd = 0;
    for (std::size_t i = 0; i < document.cues().size(); ++i) {
        const auto& cue = document.cues()[i];
        if (trimmedWhitespaceAndNewlines(cue.text()).empty()) withoutText.add(i + 1);
        if (!format.keepsEnds) continue;
        if (cue.isZeroLength()) withoutDuration.add(i + 1);
        if (i > 0 && cue.startTimeInSeconds() < latestEnd) early.add(i + 1);
        latestEnd = std::max(latestEnd, cue.endTimeInSeconds());
    }
    std::vector<Warning> warnings;
    if (document.isEmpty()) warnings.push_back(Warning{"there is no cue in it", {}, 0});
    for (Warning* warning : {&withoutText, &withoutDuration, &early}) {
        if (warning->count > 0) warnings.push_back(std::move(*warning));
    }
    return warnings;
}

JSONArray describe(const std::vector<Warning>& warnings, const Subtitles& document) {
    JSONArray array;
    for (const Warning& warning : warnings) {
        JSONArray cues;
        for (const std::size_t cue : warning.cues) cues.emplace_back(static_cast<std::int64_t>(cue));
        array.emplace_back(JSONObject{{"message", warning.text(document)},
                                      {"count", static_cast<std::int64_t>(warning.count)},
                                      {"cues", std::move(cues)}});
    }
    return array;
}

std::string counted(const Subtitles& document) {
    const std::size_t count = document.cues().size();
    return fmt::format("{} {}", count, count == 1 ? "cue" : "cues");
}

JSONObject basics(const Reading& reading) {
    return JSONObject{{"format", std::string(reading.format->extension)},
                      {"encoding", std::string(reading.encoding.name())},
                      {"bytes", static_cast<std::int64_t>(reading.bytes)},
                      {"cues", static_cast<std::int64_t>(reading.document.cues().size())}};
}

Subtitles::Time lastEnd(const Subtitles& document) {
    Subtitles::Time end;
    for (const auto& cue : document.cues()) end = std::max(end, cue.endTime());
    return end;
}

// Calls look(input, reading) for each file that can be read.
template <class Look>
int forEachFile(const Arguments& arguments, std::string_view done, Look look) {
    const Inputs inputs = findInputs(arguments);
    Report report(arguments, inputs.all.size());
    std::size_t count = 0;
    for (const Input& input : inputs.all) {
        report.begin(input.path);
        try {
            look(report, input, read(input, arguments));
            ++count;
        } catch (...) {
            report.fail(input.path, currentFailure());
        }
    }
    report.summary(fmt::format("{} {} {}", count, count == 1 ? "file" : "files", done));
    return report.exitCode();
}

}  // namespace

int checkFiles(const Arguments& arguments) {
    bool hasWarnings = false;
    const int code =
        forEachFile(arguments, "can be read", [&](Report& report, const Input& input, const Reading& reading) {
            const auto warnings = warningsOf(reading.document, *reading.format);
            hasWarnings = hasWarnings || !warnings.empty();
            for (const Warning& warning : warnings) report.warn(input.path, warning.text(reading.document));
            JSONObject members = basics(reading);
            members.set("warnings", describe(warnings, reading.document));
            const bool isOK = warnings.empty() || !arguments.strict;
            report.result(
                input.path, isOK,
                fmt::format("{}: {}: {}, {}, {}", nameOf(input.path), warnings.empty() ? "ok" : "readable",
                            reading.format->name, reading.encoding.name(), counted(reading.document)),
                members);
        });
    return code == 0 && arguments.strict && hasWarnings ? 1 : code;
}

int describeFiles(const Arguments& arguments) {
    return forEachFile(arguments, "read", [](Report& report, const Input& input, const Reading& reading) {
        const Subtitles& document = reading.document;
        JSONObject members = basics(reading);
        std::string span, speakers;
        if (!document.isEmpty()) {
            const Subtitles::Time start = document.firstCue()->startTime();
            const Subtitles::Time end = lastEnd(document);
            members.set("start", start.timeInSeconds());
            members.set("end", end.timeInSeconds());
            span = fmt::format(", {} to {}", start.text(), end.text());
        }
        JSONArray names;
        for (const std::string& speaker : document.uniqueSpeakers()) {
            if (speaker.empty()) continue;
            names.emplace_back(printable(speaker));
            speakers += fmt::format("{}{}", speakers.empty() ? ", speakers: " : "; ", printable(speaker));
        }
        members.set("speakers", std::move(names));
        report.result(input.path, true,
                      fmt::format("{}: {}, {}, {}{}{}", nameOf(input.path), reading.format->name,
                                  reading.encoding.name(), counted(document), span, speakers),
                      members);
    });
}

}  // namespace quorel::subtitles_tool
