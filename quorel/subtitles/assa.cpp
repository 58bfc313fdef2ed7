#include "quorel/subtitles/assa.h"

#include <cstdint>
#include <utility>

#include "quorel/foundation/log.h"
#include "quorel/foundation/text.h"
#include "quorel/subtitles/assa_scanner_private.h"
#include "quorel/subtitles/cue_room_private.h"
#include "quorel/subtitles/lines_private.h"
#include "quorel/subtitles/subtitles_error.h"
#include "quorel/subtitles/text_blocks_private.h"
#include "quorel/subtitles/time_parsing.h"

namespace quorel {
namespace {

enum class DialogueFormat : std::uint8_t {
    Marked,
    Layer,
    Start,
    End,
    Style,
    Name,
    MarginL,
    MarginR,
    MarginV,
    Effect,
    Text,
    Actor,
    Unknown
};

DialogueFormat dialogueFormat(std::string_view name) {
    constexpr std::string_view names[] = {"Marked",  "Layer",   "Start",   "End",    "Style", "Name",
                                          "MarginL", "MarginR", "MarginV", "Effect", "Text",  "Actor"};
    int index = 0;
    for (const std::string_view known : names) {
        if (known == name) return static_cast<DialogueFormat>(index);
        ++index;
    }
    return DialogueFormat::Unknown;
}

// Takes what stands before the next comma, or all of it; false when nothing is left to take.
class Pieces {
public:
    explicit Pieces(std::string_view value) : rest_(value) {}

    bool next(std::string_view& piece) {
        if (isAtEnd_) return false;
        const std::size_t comma = rest_.find(',');
        isAtEnd_ = comma == std::string_view::npos;
        piece = rest_.substr(0, comma);
        rest_.remove_prefix(isAtEnd_ ? rest_.size() : comma + 1);
        return true;
    }

private:
    std::string_view rest_;
    bool isAtEnd_ = false;
};

class ScriptReader {
public:
    explicit ScriptReader(std::string_view script) : script_(script), lines_(script), blocks_(script.size()) {}

    void read() {
        for (std::string_view line; lines_.next(line);) readLine(line);
    }

    std::vector<SubtitlesCue> cues;

private:
    void readLine(std::string_view line) {
        if (line.empty()) {
            section_ = {};
        } else if (const auto header = detail::soleBracketedStretch(line)) {
            section_ = *header;
        } else if (const auto found = detail::matchKeyValue(line)) {
            readValue(found->key, trimmedWhitespaceAndNewlines(found->value));
        }
    }

    void readValue(std::string_view key, std::string_view value) {
        if (key == "ScriptType" && !value.starts_with("v4.00")) {
            logLine("Unsupported script type " + std::string(value));
            throw wrong(SubTitlesError::invalidEncoding(), value, "expected the script type v4.00 or v4.00+");
        }
        if (section_ != "Events") return;
        if (key == "Format") readFormat(value);
        if (key == "Dialogue") readDialogue(value);
    }

    void readFormat(std::string_view value) {
        format_.clear();
        Pieces pieces(value);
        for (std::string_view piece; pieces.next(piece);) {
            format_.push_back(dialogueFormat(trimmedWhitespaceAndNewlines(piece)));
        }
    }

    void readDialogue(std::string_view value) {
        std::optional<SubtitlesTime> start, end;
        std::optional<std::string_view> speaker;
        Pieces pieces(value);
        for (const DialogueFormat column : format_) {
            std::string_view piece;
            if (!pieces.next(piece)) break;
            if (column == DialogueFormat::Start) start = readTime(trimmedWhitespaceAndNewlines(piece));
            if (column == DialogueFormat::End) end = readTime(trimmedWhitespaceAndNewlines(piece));
            if (column == DialogueFormat::Actor) speaker = trimmedWhitespaceAndNewlines(piece);
            if (column != DialogueFormat::Text) continue;
            if (!start || !end) break;
            detail::makeRoom(cues, static_cast<std::size_t>(piece.data() - script_.data()), script_.size());
            do {
                blocks_.append(piece);
            } while (pieces.next(piece));
            addCue(*start, *end, speaker);
            return;
        }
        throw wrong(SubTitlesError::invalidEncoding(), value,
                    format_.empty()
                        ? "expected a line Format: in front of the first line Dialogue:"
                        : "expected the columns that the line Format: names, Start, End and at last Text "
                          "among them");
    }

    SubtitlesTime readTime(std::string_view piece) const {
        if (const auto time = TimeParsing::parseIfPossible(piece)) return *time;
        throw wrong(SubTitlesError::invalidTime(0), piece, "expected a time, as 0:01:02.50");
    }

    SubTitlesError wrong(const SubTitlesError& error, std::string_view found, const char* message) const {
        return error.at(lines_.number() + 1, found, message);
    }

    // Its text is what is pending in the blocks.
    void addCue(const SubtitlesTime& start, const SubtitlesTime& end, std::optional<std::string_view> speaker) {
        const std::size_t length = blocks_.pending().size();
        if (speaker) blocks_.append(*speaker);
        const std::string_view all = blocks_.finish();
        SubtitlesCue::Fields fields{.startTime = start, .endTime = end};
        fields.text = trimmedWhitespaceAndNewlines(all.substr(0, length));
        if (speaker) fields.speaker = all.substr(length);
        cues.push_back(SubtitlesCue::sharing(blocks_.block(), fields));
    }

    std::string_view script_;
    LineReader lines_;
    detail::TextBlocks blocks_;
    std::string_view section_;
    std::vector<DialogueFormat> format_;
};

}  // namespace

std::optional<std::string_view> detail::soleBracketedStretch(std::string_view line) {
    std::optional<std::string_view> sole;
    for (std::size_t at = line.find('['); at != std::string_view::npos; at = line.find('[', at)) {
        ++at;
        const std::size_t close = line.find(']', at);
        if (close == std::string_view::npos) break;
        if (close == at) continue;
        if (sole) return std::nullopt;
        sole = line.substr(at, close - at);
        at = close;
    }
    return sole;
}

std::optional<detail::KeyValue> detail::matchKeyValue(std::string_view line) {
    const std::size_t colon = line.find(':', 1);
    if (colon == std::string_view::npos) return std::nullopt;
    // "." stops at these two line ends, which end no line elsewhere, and "$" stands before one at the very end.
    const std::size_t lineEnd = std::min(line.find('\v'), line.find('\f'));
    if (lineEnd != std::string_view::npos && lineEnd != line.size() - 1) return std::nullopt;
    return KeyValue{line.substr(0, colon), line.substr(colon + 1, lineEnd - colon - 1)};
}

Subtitles Subtitles::Coder::AdvancedSSA::decode(std::string_view content) const {
    ScriptReader script(detail::decodableText(content));
    script.read();
    return Subtitles(std::move(script.cues));
}

std::string Subtitles::Coder::AdvancedSSA::encode(const Subtitles&) const {
    throw SubTitlesError::coderDoesntSupportEncoding();
}

std::string Subtitles::Coder::AdvancedSSA::encode(const Subtitles&, const TextEncoding&) const {
    throw SubTitlesError::coderDoesntSupportEncoding();
}

}  // namespace quorel
