#include "quorel/subtitles/json.h"

#include <array>
#include <optional>

#include "quorel/foundation/uuid.h"
#include "quorel/subtitles/cue_room_private.h"
#include "quorel/subtitles/json_reader_private.h"
#include "quorel/subtitles/json_writing_private.h"
#include "quorel/subtitles/text_blocks_private.h"
#include "quorel/subtitles/time.h"

namespace quorel {
namespace {

using detail::JSONReader;

SubtitlesTime readTime(JSONReader& json, const JSONPath& path) {
    constexpr std::string_view keys[] = {"hour", "minute", "second", "millisecond"};
    std::uint64_t parts[4] = {};
    bool found[4] = {};
    std::optional<double> seconds;
    json.readMembers(path, [&](std::string_view key, const JSONPath& place) {
        if (key == "timeInSeconds") {
            seconds = json.readNumber(place);
            return;
        }
        for (std::size_t i = 0; i < 4; ++i) {
            if (key != keys[i]) continue;
            parts[i] = json.readUnsigned(place);
            found[i] = true;
            return;
        }
    });
    for (std::size_t i = 0; i < 4; ++i) json.require(found[i], path, keys[i]);
    json.require(seconds.has_value(), path, "timeInSeconds");
    return SubtitlesTime::restoring(parts[0], parts[1], parts[2], parts[3], *seconds);
}

UUID readID(JSONReader& json, const JSONPath& path) {
    const auto id = UUID::parse(json.readText(path));
    if (id) return *id;
    throw SubtitlesJSONError(JSONError::Code::typeMismatch, path.text(), "expected a UUID, found another text",
                             json.position());
}

SubtitlesCue readCue(JSONReader& json, const JSONPath& path, detail::TextBlocks& blocks) {
    using Part = detail::TextBlocks::Part;
    std::optional<UUID> id;
    std::optional<SubtitlesTime> start, end;
    std::optional<Part> identifier, text, speaker;
    SubtitlesCue::Fields fields;
    const auto readOptional = [&](const JSONPath& place) -> std::optional<Part> {
        if (json.readNull()) return std::nullopt;
        return blocks.add(json.readText(place));
    };
    json.readMembers(path, [&](std::string_view key, const JSONPath& place) {
        if (key == "id") {
            id = readID(json, place);
        } else if (key == "identifier") {
            identifier = readOptional(place);
        } else if (key == "position") {
            fields.position = json.readNull() ? std::nullopt : std::optional(json.readSigned(place));
        } else if (key == "startTime") {
            start = readTime(json, place);
        } else if (key == "endTime") {
            end = readTime(json, place);
        } else if (key == "text") {
            text = blocks.add(json.readText(place));
        } else if (key == "speaker") {
            speaker = readOptional(place);
        }
    });
    json.require(id.has_value(), path, "id");
    json.require(start.has_value(), path, "startTime");
    json.require(end.has_value(), path, "endTime");
    json.require(text.has_value(), path, "text");

    const std::string_view all = blocks.finish();
    fields.startTime = *start;
    fields.endTime = *end;
    fields.text = text->of(all);
    if (identifier) fields.identifier = identifier->of(all);
    if (speaker) fields.speaker = speaker->of(all);
    return SubtitlesCue::restoring(blocks.block(), SubtitlesCue::ID{*id}, fields);
}

void appendID(std::string& out, const UUID& id) {
    constexpr char digits[] = "0123456789ABCDEF";
    char text[36];
    char* at = text;
    for (std::size_t i = 0; i < id.bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) *at++ = '-';
        *at++ = digits[id.bytes[i] >> 4];
        *at++ = digits[id.bytes[i] & 15];
    }
    out.append(text, at);
}

void appendTime(std::string& out, const SubtitlesTime& time, const JSONPath& path) {
    out += R"({"hour":)";
    detail::appendJSONNumber(out, time.hour());
    out += R"(,"minute":)";
    detail::appendJSONNumber(out, time.minute());
    out += R"(,"second":)";
    detail::appendJSONNumber(out, time.second());
    out += R"(,"millisecond":)";
    detail::appendJSONNumber(out, time.millisecond());
    out += R"(,"timeInSeconds":)";
    detail::appendJSONNumber(out, time.timeInSeconds(), JSONPath(path, "timeInSeconds"));
    out += '}';
}

void appendCue(std::string& out, const SubtitlesCue& cue, const JSONPath& path) {
    out += R"({"id":")";
    appendID(out, cue.id().rawValue);
    out += '"';
    if (cue.identifier()) {
        out += R"(,"identifier":)";
        detail::appendJSONText(out, *cue.identifier(), JSONPath(path, "identifier"));
    }
    if (cue.position()) {
        out += R"(,"position":)";
        detail::appendJSONNumber(out, *cue.position());
    }
    out += R"(,"startTime":)";
    appendTime(out, cue.startTime(), JSONPath(path, "startTime"));
    out += R"(,"endTime":)";
    appendTime(out, cue.endTime(), JSONPath(path, "endTime"));
    out += R"(,"text":)";
    detail::appendJSONText(out, cue.text(), JSONPath(path, "text"));
    if (cue.speaker()) {
        out += R"(,"speaker":)";
        detail::appendJSONText(out, *cue.speaker(), JSONPath(path, "speaker"));
    }
    out += '}';
}

Subtitles read(std::string_view data) {
    JSONReader json(data);
    detail::TextBlocks blocks(data.size());
    std::vector<SubtitlesCue> cues;
    bool found = false;
    const JSONPath root;
    json.readMembers(root, [&](std::string_view key, const JSONPath& place) {
        if (key != "cues") return;
        found = true;
        cues.clear();
        json.readElements(place, [&](const JSONPath& path) {
            detail::makeRoom(cues, json.position(), data.size());
            cues.push_back(readCue(json, path, blocks));
        });
    });
    json.finish();
    json.require(found, root, "cues");
    return Subtitles::restoring(std::move(cues));
}

}  // namespace

Subtitles Subtitles::Coder::JSON::decode(std::string_view content) const {
    return read(detail::decodableText(content));
}

Subtitles Subtitles::Coder::JSON::decode(std::string_view data, const TextEncoding&) const {
    return read(data);
}

std::string Subtitles::Coder::JSON::encode(const Subtitles& subtitles) const {
    std::size_t size = 0;
    for (const Cue& cue : subtitles.cues()) size += cue.text().size() + 260;
    std::string out;
    out.reserve(size);
    out += R"({"cues":[)";
    const JSONPath root;
    const JSONPath cues(root, "cues");
    for (std::size_t i = 0; i < subtitles.cues().size(); ++i) {
        if (i != 0) out += ',';
        appendCue(out, subtitles.cues()[i], JSONPath(cues, i));
    }
    out += "]}";
    return out;
}

std::string Subtitles::Coder::JSON::encode(const Subtitles& subtitles, const TextEncoding&) const {
    return encode(subtitles);
}

}  // namespace quorel
