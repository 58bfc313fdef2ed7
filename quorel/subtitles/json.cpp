#include "quorel/subtitles/json.h"

#include "quorel/subtitles/json_reading_private.h"
#include "quorel/subtitles/json_writing_private.h"
#include "quorel/subtitles/text_blocks_private.h"

namespace quorel {
namespace {

using detail::JSONCursor;

SubtitlesTime readTime(const JSONCursor& cursor) {
    constexpr std::string_view keys[] = {"hour", "minute", "second", "millisecond"};
    std::uint64_t parts[4] = {};
    bool found[4] = {};
    std::optional<double> seconds;
    cursor.readMembers([&](std::string_view key, const JSONCursor& member) {
        if (key == "timeInSeconds") seconds = member.number();
        for (std::size_t i = 0; i < 4; ++i) {
            if (key != keys[i]) continue;
            parts[i] = member.unsignedInteger();
            found[i] = true;
        }
    });
    for (std::size_t i = 0; i < 4; ++i) cursor.require(found[i], keys[i]);
    cursor.require(seconds.has_value(), "timeInSeconds");
    return SubtitlesTime::restoring(parts[0], parts[1], parts[2], parts[3], *seconds);
}

UUID readID(const JSONCursor& cursor) {
    const auto id = UUID::parse(cursor.text());
    if (id) return *id;
    throw JSONError(JSONError::Code::typeMismatch, cursor.path().text(), "expected a UUID, found another text");
}

// A text that has been appended to the pending one.
struct Part {
    std::size_t begin, length;
};

class DocumentReader {
public:
    explicit DocumentReader(std::size_t size) : blocks_(size) {}

    void readCue(const JSONCursor& cursor) {
        std::optional<UUID> id;
        std::optional<SubtitlesTime> start, end;
        std::optional<Part> identifier, text, speaker;
        SubtitlesCue::Fields fields;
        cursor.readMembers([&](std::string_view key, const JSONCursor& member) {
            if (key == "id") {
                id = readID(member);
            } else if (key == "identifier") {
                identifier = readOptional(member);
            } else if (key == "position") {
                fields.position = member.isNull() ? std::nullopt : std::optional(member.signedInteger());
            } else if (key == "startTime") {
                start = readTime(member);
            } else if (key == "endTime") {
                end = readTime(member);
            } else if (key == "text") {
                text = append(member.text());
            } else if (key == "speaker") {
                speaker = readOptional(member);
            }
        });
        cursor.require(id.has_value(), "id");
        cursor.require(start.has_value(), "startTime");
        cursor.require(end.has_value(), "endTime");
        cursor.require(text.has_value(), "text");

        const std::string_view all = blocks_.finish();
        const auto viewed = [&](const Part& part) { return all.substr(part.begin, part.length); };
        fields.startTime = *start;
        fields.endTime = *end;
        fields.text = viewed(*text);
        if (identifier) fields.identifier = viewed(*identifier);
        if (speaker) fields.speaker = viewed(*speaker);
        cues.push_back(SubtitlesCue::restoring(blocks_.block(), SubtitlesCue::ID{*id}, fields));
    }

    std::vector<SubtitlesCue> cues;

private:
    Part append(std::string_view text) {
        const std::size_t begin = blocks_.pending().size();
        blocks_.append(text);
        return {begin, text.size()};
    }
    std::optional<Part> readOptional(const JSONCursor& cursor) {
        if (cursor.isNull()) return std::nullopt;
        return append(cursor.text());
    }

    detail::TextBlocks blocks_;
};

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
    DocumentReader reader(data.size());
    const detail::JSONDocument document(data);
    const JSONCursor root = document.root();
    bool found = false;
    root.readMembers([&](std::string_view key, const JSONCursor& member) {
        if (key != "cues") return;
        found = true;
        reader.cues.clear();
        member.readElements([&](const JSONCursor& cue) { reader.readCue(cue); });
    });
    root.require(found, "cues");
    return Subtitles::restoring(std::move(reader.cues));
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
