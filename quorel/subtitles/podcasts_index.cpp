#include "quorel/subtitles/podcasts_index.h"

#include <cmath>

#include "quorel/subtitles/json_reading_private.h"
#include "quorel/subtitles/json_writing_private.h"
#include "quorel/subtitles/text_blocks_private.h"

namespace quorel {
namespace {

using detail::JSONCursor;

class IndexReader {
public:
    explicit IndexReader(std::size_t size) : blocks_(size) {}

    void readSegment(const JSONCursor& cursor) {
        std::optional<std::string_view> speaker, body;
        std::optional<double> start, end;
        cursor.readMembers([&](std::string_view key, const JSONCursor& member) {
            if (key == "speaker") {
                speaker = member.isNull() ? std::nullopt : std::optional(member.text());
            } else if (key == "startTime") {
                start = member.number();
            } else if (key == "endTime") {
                end = member.number();
            } else if (key == "body") {
                body = member.text();
            }
        });
        cursor.require(start.has_value(), "startTime");
        cursor.require(end.has_value(), "endTime");
        cursor.require(body.has_value(), "body");

        blocks_.append(*body);
        if (speaker) blocks_.append(*speaker);
        const std::string_view all = blocks_.finish();
        const double shifted = (*end - *start) + *start;
        SubtitlesCue::Fields fields{.startTime = SubtitlesTime(*start),
                                    // Rounding can carry the largest numbers beyond all.
                                    .endTime = SubtitlesTime(std::isfinite(shifted) ? shifted : *end)};
        fields.text = all.substr(0, body->size());
        if (speaker) fields.speaker = all.substr(body->size());
        cues.push_back(SubtitlesCue::sharing(blocks_.block(), fields));
    }

    std::vector<SubtitlesCue> cues;

private:
    detail::TextBlocks blocks_;
};

Subtitles read(std::string_view data) {
    IndexReader reader(data.size());
    const detail::JSONDocument document(data);
    const JSONCursor root = document.root();
    bool hasVersion = false;
    bool hasSegments = false;
    root.readMembers([&](std::string_view key, const JSONCursor& member) {
        if (key == "version") {
            hasVersion = true;
            member.text();
        } else if (key == "segments") {
            hasSegments = true;
            reader.cues.clear();
            member.readElements([&](const JSONCursor& segment) { reader.readSegment(segment); });
        }
    });
    root.require(hasVersion, "version");
    root.require(hasSegments, "segments");
    return Subtitles(std::move(reader.cues));
}

}  // namespace

Subtitles Subtitles::Coder::PodcastsIndex::decode(std::string_view content) const {
    return read(detail::decodableText(content));
}

Subtitles Subtitles::Coder::PodcastsIndex::decode(std::string_view data, const TextEncoding&) const {
    return read(data);
}

std::string Subtitles::Coder::PodcastsIndex::encode(const Subtitles& subtitles) const {
    std::size_t size = 0;
    for (const Cue& cue : subtitles.cues()) size += cue.text().size() + 80;
    std::string out;
    out.reserve(size);
    out += R"({"version":"1.0.0","segments":[)";
    const JSONPath root;
    const JSONPath all(root, "segments");
    for (std::size_t i = 0; i < subtitles.cues().size(); ++i) {
        const Cue& cue = subtitles.cues()[i];
        const JSONPath path(all, i);
        out += i == 0 ? R"({"speaker":)" : R"(,{"speaker":)";
        detail::appendJSONText(out, cue.speaker().value_or(""), JSONPath(path, "speaker"));
        out += R"(,"startTime":)";
        detail::appendJSONNumber(out, cue.startTimeInSeconds(), JSONPath(path, "startTime"));
        out += R"(,"endTime":)";
        detail::appendJSONNumber(out, cue.endTimeInSeconds(), JSONPath(path, "endTime"));
        out += R"(,"body":)";
        detail::appendJSONText(out, cue.text(), JSONPath(path, "body"));
        out += '}';
    }
    out += "]}";
    return out;
}

std::string Subtitles::Coder::PodcastsIndex::encode(const Subtitles& subtitles, const TextEncoding&) const {
    return encode(subtitles);
}

}  // namespace quorel
