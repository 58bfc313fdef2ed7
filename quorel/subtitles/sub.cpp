#include "quorel/subtitles/sub.h"

#include "quorel/foundation/text.h"
#include "quorel/subtitles/cue_list_private.h"
#include "quorel/subtitles/lines_private.h"
#include "quorel/subtitles/numbers_private.h"
#include "quorel/subtitles/text_blocks_private.h"

namespace quorel {
namespace {

// Runs of characters between braces, of which either kind ends a run.
class Tokens {
public:
    explicit Tokens(std::string_view part) : rest_(part) {}

    // An empty token is none.
    bool next(std::string_view& token) {
        std::size_t begin = 0;
        while (begin < rest_.size() && isBrace(rest_[begin])) ++begin;
        if (begin == rest_.size()) return false;
        std::size_t end = begin + 1;
        while (end < rest_.size() && !isBrace(rest_[end])) ++end;
        token = rest_.substr(begin, end - begin);
        rest_.remove_prefix(end);
        return true;
    }
    // The last one that is left; empty when none is.
    std::string_view last() {
        std::string_view token;
        while (next(token)) {
        }
        return token;
    }

private:
    static bool isBrace(char c) { return c == '{' || c == '}'; }

    std::string_view rest_;
};

}  // namespace

Subtitles Subtitles::Coder::SUB::decode(std::string_view content) const {
    const std::string_view text = detail::decodableText(content);
    LineReader lines(text);
    detail::TextBlocks blocks(text.size());
    detail::CueList cues(text);
    for (std::string_view line; lines.next(line);) {
        line = trimmedWhitespaceAndNewlines(line);
        if (line.empty()) continue;
        std::size_t partEnd = std::min(line.find('|'), line.size());
        Tokens first(line.substr(0, partEnd));
        std::string_view frames[2];
        const bool isTimed = first.next(frames[0]) && first.next(frames[1]);
        const std::string_view firstText = isTimed ? first.last() : std::string_view();
        if (firstText.empty()) {
            throw SubTitlesError::invalidFile().at(lines.number() + 1, line,
                                                   "expected two frames and a text, as {100}{200}Text");
        }
        blocks.append(firstText);
        while (partEnd < line.size()) {
            line.remove_prefix(partEnd + 1);
            partEnd = std::min(line.find('|'), line.size());
            blocks.append('\n');
            blocks.append(Tokens(line.substr(0, partEnd)).last());
        }
        Cue::Fields fields;
        fields.startTime = Time(detail::readDouble(frames[0]).value_or(0) / framerate);
        fields.endTime = Time(detail::readDouble(frames[1]).value_or(0) / framerate);
        fields.text = blocks.finish();
        cues.add(blocks.block(), fields, lines.position());
    }
    return cues.take();
}

std::string Subtitles::Coder::SUB::encode(const Subtitles&) const {
    throw SubTitlesError::coderDoesntSupportEncoding();
}

std::string Subtitles::Coder::SUB::encode(const Subtitles&, const TextEncoding&) const {
    throw SubTitlesError::coderDoesntSupportEncoding();
}

}  // namespace quorel
