// The podcast index: a flat transcript of segments, in JSON.
//
//   Subtitles::Coder::PodcastsIndex().decode(transcript);
//   auto index = JSONDecoder().decode<Subtitles::Coder::PodcastsIndex>(transcript);     // as it stands
//
// {"version":"1.0.0","segments":[{"speaker":"Ann","startTime":0.5,"endTime":2,"body":"Hello"}]}. A value; any
// thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/foundation/json_coding.h"
#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles.h"
#include "quorel/subtitles/text_encoding.h"

namespace quorel {

class QUOREL_SUBTITLES_API Subtitles::Coder::PodcastsIndex final
    : public SubtitlesLineCoder<Subtitles::Coder::PodcastsIndex> {
public:
    static constexpr std::string_view extn = "json";

    // What somebody says between two times, in seconds.
    struct Segment {
        std::optional<std::string> speaker;
        double startTime = 0;  // in seconds, as is the end
        double endTime = 0;    // seconds
        std::string body;

        QUOREL_JSON_FIELDS(Segment, speaker, startTime, endTime, body)
        bool operator==(const Segment&) const = default;
    };

    // The index as a value. Neither decode nor encode of subtitles looks at it.
    std::string version = "1.0.0";
    std::vector<Segment> segments;

    QUOREL_JSON_FIELDS(PodcastsIndex, version, segments)

    PodcastsIndex() = default;
    PodcastsIndex(std::string indexVersion, std::vector<Segment> indexSegments)
        : version(std::move(indexVersion)), segments(std::move(indexSegments)) {}

    using SubtitlesLineCoder::decode;
    using SubtitlesLineCoder::encode;
    // All throw JSONError (to decode, SubtitlesJSONError), not SubTitlesError; a text that is not UTF-8 is
    // SubTitlesError (invalidEncoding). The byte forms are UTF-8 whatever `encoding` says. An end before its start
    // becomes the start; a negative time stops the process.
    Subtitles decode(std::string_view content) const override;
    Subtitles decode(std::string_view data, const TextEncoding& encoding) const override;
    // A cue without a speaker gets an empty one. Identifiers and positions are not written.
    std::string encode(const Subtitles& subtitles) const override;
    std::string encode(const Subtitles& subtitles, const TextEncoding& encoding) const override;

    bool operator==(const PodcastsIndex& other) const {
        return version == other.version && segments == other.segments;
    }
};

}  // namespace quorel
