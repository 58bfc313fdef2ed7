// The document itself in JSON: what is written is read back completely, ids and all.
//
//   const std::string stored = Subtitles::Coder::JSON().encode(document);
//   Subtitles::Coder::JSON().decode(stored);          // the same cues, in the same order, under the same ids
//
// {"cues":[{"id":"<UUID>","identifier":"a","position":1,"startTime":{"hour":0,"minute":0,"second":1,"millisecond":500,
// "timeInSeconds":1.5},"endTime":{...},"text":"Hello","speaker":"Ann"}]}, where "identifier", "position" and
// "speaker" may be absent or null. A coder is a value; any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "quorel/foundation/json.h"
#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles.h"
#include "quorel/subtitles/text_encoding.h"

namespace quorel {

// What the two JSON coders throw: knows the place in the text, too.
class QUOREL_VISIBLE SubtitlesJSONError : public JSONError {
public:
    SubtitlesJSONError(Code code, std::string path, const std::string& description, std::size_t offset)
        : JSONError(code, std::move(path), description), offset_(offset) {}

    // In bytes from the start of the text, its byte-order mark aside.
    std::size_t offset() const { return offset_; }

private:
    std::size_t offset_;
};

class QUOREL_SUBTITLES_API Subtitles::Coder::JSON final : public SubtitlesLineCoder<Subtitles::Coder::JSON> {
public:
    static constexpr std::string_view extn = "json-subtitles";

    using SubtitlesLineCoder::decode;
    using SubtitlesLineCoder::encode;
    // All throw JSONError (to decode, SubtitlesJSONError), not SubTitlesError; a text that is not UTF-8 is
    // SubTitlesError (invalidEncoding). The byte forms are UTF-8 whatever `encoding` says. What is read is taken as
    // it stands: cues out of order, times whose parts contradict their seconds, an end before its start.
    Subtitles decode(std::string_view content) const override;
    Subtitles decode(std::string_view data, const TextEncoding& encoding) const override;
    std::string encode(const Subtitles& subtitles) const override;
    std::string encode(const Subtitles& subtitles, const TextEncoding& encoding) const override;
};

}  // namespace quorel
