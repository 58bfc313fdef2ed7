// Differential: both JSON coders beside the general decoding and encoding of described structs.
#include <algorithm>

#include "quorel/foundation/json_coding.h"
#include "quorel/subtitles/json.h"
#include "quorel/subtitles/podcasts_index.h"
#include "subtitles_document_check.h"

using namespace quorel;
using Coder = Subtitles::Coder;

namespace {

struct TimeForm {
    std::uint64_t hour = 0, minute = 0, second = 0, millisecond = 0;
    double timeInSeconds = 0;
    QUOREL_JSON_FIELDS(TimeForm, hour, minute, second, millisecond, timeInSeconds)

    void check(const Subtitles::Time& time) const {
        require(time.hour() == hour && time.minute() == minute && time.second() == second &&
                time.millisecond() == millisecond && time.timeInSeconds() == timeInSeconds);
    }
};
struct CueForm {
    std::string id;
    std::optional<std::string> identifier;
    std::optional<std::int64_t> position;
    TimeForm startTime, endTime;
    std::string text;
    std::optional<std::string> speaker;
    QUOREL_JSON_FIELDS(CueForm, id, identifier, position, startTime, endTime, text, speaker)

    void check(const Subtitles::Cue& cue) const {
        require(UUID::parse(id) == cue.id().rawValue && cue.identifier() == identifier &&
                cue.position() == position && cue.text() == text && cue.speaker() == speaker);
        startTime.check(cue.startTime());
        endTime.check(cue.endTime());
    }
};
struct DocumentForm {
    std::vector<CueForm> cues;
    QUOREL_JSON_FIELDS(DocumentForm, cues)
};

template <class Form>
std::optional<Form> general(std::string_view text) {
    try {
        return JSONDecoder().decode<Form>(text);
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

std::optional<Subtitles> decoded(const SubtitlesCodable& coder, std::string_view bytes) {
    try {
        return coder.decode(bytes, TextEncoding::utf8);
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

void checkDocuments(std::string_view bytes) {
    const auto document = decoded(Coder::JSON(), bytes);
    auto form = general<DocumentForm>(bytes);
    const bool hasIDs = form && std::all_of(form->cues.begin(), form->cues.end(),
                                            [](const CueForm& cue) { return UUID::parse(cue.id).has_value(); });
    require(!document || hasIDs);
    if (!document) {
        // A key that occurs twice is read both times, so that its first value may be refused.
        require(!hasIDs || decoded(Coder::JSON(), serializeJSON(parseJSON(bytes))));
        return;
    }
    require(form->cues.size() == document->cues().size());
    for (std::size_t i = 0; i < form->cues.size(); ++i) {
        form->cues[i].check(document->cues()[i]);
        form->cues[i].id = document->cues()[i].id().rawValue.string();
    }
    const std::string written = Coder::JSON().encode(*document);
    require(written == JSONEncoder().encode(*form));
    require(Coder::JSON().encode(Coder::JSON().decode(written)) == written);
}

void checkIndexes(std::string bytes) {
    // Negative times stop the process, as documented.
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == '-' && (i == 0 || (bytes[i - 1] | 0x20) != 'e')) bytes[i] = '1';
    }
    const auto document = decoded(Coder::PodcastsIndex(), bytes);
    const auto form = general<Coder::PodcastsIndex>(bytes);
    require(!document || form);
    if (!document) {
        require(!form || decoded(Coder::PodcastsIndex(), serializeJSON(parseJSON(bytes))));
        return;
    }
    require(form->segments.size() == document->cues().size());
    checkDocument(*document, bytes.size());
    const std::string written = Coder::PodcastsIndex().encode(*document);
    require(Coder::PodcastsIndex().encode(Coder::PodcastsIndex().decode(written)) == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = textOf(data, size);
    checkDocuments(bytes);
    checkIndexes(std::string(bytes));
    return 0;
}
