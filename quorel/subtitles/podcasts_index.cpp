#include "quorel/subtitles/podcasts_index.h"

#include <cmath>

#include "quorel/subtitles/cue_room_private.h"
#include "quorel/subtitles/json_reader_private.h"
#include "quorel/subtitles/json_writing_private.h"
#include "quorel/subtitles/text_blocks_private.h"
#include "quorel/subtitles/time.h"

namespace quorel {
namespace {

using detail::JSONReader;

SubtitlesCue readSegment(JSONReader& json, const JSONPath& path, detail::TextBlocks& blocks) {
    std::optional<detail::TextBlocks::Part> speaker, body;
    std::optional<double> start, end;
    json.readMembers(path, [&](std::string_view key, const JSONPath& place) {
        if (key == "speaker") {
            speaker = json.readNull() ? std::nullopt : std::optional(blocks.add(json.readText(place)));
        } else if (key == "startTime") {
            start = json.readNumber(place);
        } else if (key == "endTime") {
            end = json.readNumber(place);
        } else if (key == "body") {
            body = blocks.add(json.readText(place));
        }
    });
    json.require(start.has_value(), path, "startTime");
    json.require(end.has_value(), path, "endTime");
    json.require(body.has_value(), path, "body");

    const double shifted = (*end - *start) + *start;
    SubtitlesCue::Fields fields{.startTime = SubtitlesTime(*start),
                                // Rounding can carry the largest numbers beyond all.
                                .endTime = SubtitlesTime(std::isfinite(shifted) ? shifted : *end)};
    const std::string_view all = blocks.finish();
    fields.text = body->of(all);
    if (speaker) fields.speaker = speaker->of(all);
    return SubtitlesCue::sharing(blocks.block(), fields);
}

Subtitles read(std::string_view data) {
    JSONReader json(data);
    detail::TextBlocks blocks(data.size());
    std::vector<SubtitlesCue> cues;
    bool hasVersion = false;
    bool hasSegments = false;
    const JSONPath root;
    json.readMembers(root, [&](std::string_view key, const JSONPath& place) {
        if (key == "version") {
            hasVersion = true;
            json.readText(place);
        } else if (key == "segments") {
            hasSegments = true;
            cues.clear();
            json.readElements(place, [&](const JSONPath& path) {
                detail::makeRoom(cues, json.position(), data.size());
                cues.push_back(readSegment(json, path, blocks));
            });
        }
    });
    json.finish();
    json.require(hasVersion, root, "version");
    json.require(hasSegments, root, "segments");
    return Subtitles(std::move(cues));
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
