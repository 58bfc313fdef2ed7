#include "quorel/subtitles/vtt.h"

#include "quorel/subtitles/cue_list_private.h"
#include "quorel/subtitles/lines_private.h"
#include "quorel/subtitles/numbers_private.h"
#include "quorel/subtitles/text_blocks_private.h"
#include "quorel/subtitles/vtt_reading_private.h"
#include "quorel/subtitles/vtt_writing_private.h"
#include "quorel/support/regex.h"

namespace quorel {
namespace {

constexpr std::string_view timingPattern =
    R"((?:(\d*):)?(?:(\d*):)(\d*)[.,](\d{3})\s*-->\s*(?:(\d*):)?(?:(\d*):)(\d*)[.,](\d{3}))";

bool containsWebVTT(std::string_view line) {
    return line.find("WEBVTT") != std::string_view::npos;
}

bool isSkipped(std::string_view line) {
    return line.starts_with("NOTE") || line.starts_with("STYLE") || line.starts_with("REGION") ||
           containsWebVTT(line);
}

// "1:02:03.500", "02:03.500" and their like.
bool scanTime(detail::TimingScanner& scanner, std::uint64_t* parts) {
    if (!scanner.digits(0, 19, parts[0]) || !scanner.literal(':')) return false;
    const bool hasDigits = scanner.digits(1, 19, parts[1]);
    if (scanner.literal(':')) {
        if (!scanner.digits(1, 19, parts[2])) return false;
    } else {
        if (!hasDigits) return false;
        parts[2] = parts[1];
        parts[1] = parts[0];
        parts[0] = 0;
    }
    return scanner.oneOf('.', ',') && scanner.exactDigits(3, parts[3]);
}

class CueTexts {
public:
    explicit CueTexts(std::size_t size) : blocks_(size) {}

    void begin(std::string_view identifier) {
        blocks_.append(identifier);
        identifierSize_ = identifier.size();
        isFirstLine_ = true;
    }
    void line(std::string_view line) {
        if (!isFirstLine_) blocks_.append('\n');
        isFirstLine_ = false;
        blocks_.append(line);
    }
    // Fills in the texts, and gives the block that holds them.
    std::shared_ptr<const char[]> finish(Subtitles::Cue::Fields& fields) {
        std::string_view all = blocks_.finish();
        const std::string_view text = all.substr(identifierSize_);
        const auto tag = detail::findVoiceTag(text);
        const bool hasSpeaker = tag && !detail::findVoiceTag(text, tag->end);
        fields.text = text;
        fields.speaker.reset();
        if (hasSpeaker) {
            const auto alive = blocks_.block();
            blocks_.append(all.substr(0, identifierSize_));
            blocks_.append(tag->name);
            blocks_.append(text.substr(0, tag->begin));
            blocks_.append(text.substr(tag->end));
            all = blocks_.finish();
            fields.speaker = all.substr(identifierSize_, tag->name.size());
            fields.text = all.substr(identifierSize_ + tag->name.size());
        }
        if (fields.identifier) fields.identifier = all.substr(0, identifierSize_);
        return blocks_.block();
    }

private:
    detail::TextBlocks blocks_;
    std::size_t identifierSize_ = 0;
    bool isFirstLine_ = true;
};

}  // namespace

const Regex& detail::vttTimingPattern() {
    static const Regex pattern(timingPattern);
    return pattern;
}

const Regex& detail::guardedVTTTimingPattern() {
    static const Regex pattern(R"((?:\G|(?<!\d)))" + std::string(timingPattern));
    return pattern;
}

bool detail::scanVTTTiming(std::string_view line, TimingParts& parts) {
    TimingScanner scanner(line);
    const auto skipBlanks = [&] {
        while (scanner.oneOf(' ', '\t')) {
        }
    };
    if (!scanTime(scanner, parts.data())) return false;
    skipBlanks();
    if (!scanner.literal("-->")) return false;
    skipBlanks();
    return scanTime(scanner, parts.data() + 4) && scanner.rest().find("-->") == std::string_view::npos;
}

bool detail::readVTTTiming(std::string_view line, OnlyMatch& pattern, TimingParts& parts) {
    if (scanVTTTiming(line, parts)) return true;
    // Every match holds an arrow, and most lines that come here, identifiers, do not.
    if (line.find("-->") == std::string_view::npos || !pattern.find(line)) return false;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const auto number = readUnsigned(pattern.capture(i));
        const bool isHourOrMinute = i % 4 < 2;
        if (!number && !isHourOrMinute) return false;
        parts[i] = number.value_or(0);
    }
    return true;
}

std::optional<detail::VoiceTag> detail::findVoiceTag(std::string_view text, std::size_t from) {
    constexpr auto npos = std::string_view::npos;
    const std::size_t begin = text.find("<v", from);
    if (begin == npos) return std::nullopt;
    const std::size_t blank = text.find(' ', begin + 2);
    if (blank == npos) return std::nullopt;
    const std::size_t end = text.find('>', blank + 1);
    if (end == npos) return std::nullopt;
    return VoiceTag{begin, end + 1, text.substr(blank + 1, end - blank - 1)};
}

Subtitles Subtitles::Coder::VTT::decode(std::string_view content) const {
    LineReader lines(detail::decodableText(content));
    std::string_view line;
    if (!lines.next(line) || !containsWebVTT(line)) {
        throw SubTitlesError::invalidFile().at(1, line, "expected WEBVTT in the first line");
    }
    const auto skipBlock = [&] {
        while (lines.next(line) && !line.empty()) {
        }
    };
    skipBlock();

    detail::CueList cues(content);
    CueTexts texts(content.size());
    detail::OnlyMatch pattern(&detail::guardedVTTTimingPattern);
    detail::TimingParts parts;
    while (lines.next(line)) {
        if (line.empty()) continue;
        Cue::Fields fields;
        if (isSkipped(line)) {
            skipBlock();
            continue;
        }
        if (!detail::readVTTTiming(line, pattern, parts)) {
            fields.identifier = line;
            if (!lines.next(line) || line.empty()) continue;
            if (!detail::readVTTTiming(line, pattern, parts)) {
                throw SubTitlesError::invalidTime(lines.number())
                    .at(lines.number() + 1, line,
                        "expected one timing line, as 00:01:02.500 --> 00:01:04.000, here or on the line above");
            }
        }
        const detail::Timing timing(parts);
        fields.startTime = timing.start;
        fields.endTime = timing.end;
        texts.begin(fields.identifier.value_or(std::string_view()));
        while (lines.next(line) && !line.empty()) texts.line(line);
        std::shared_ptr<const char[]> block = texts.finish(fields);
        cues.add(std::move(block), fields, lines.position());
    }
    return cues.take();
}

std::string Subtitles::Coder::VTT::encode(const Subtitles& subtitles) const {
    std::size_t size = detail::vttHeader.size();
    for (const Cue& cue : subtitles.cues()) {
        size += cue.text().size() + 36;
        if (cue.identifier()) size += cue.identifier()->size();
        if (cue.speaker()) size += cue.speaker()->size() + 4;
    }
    std::string out;
    out.reserve(size);
    out = detail::vttHeader;
    for (const Cue& cue : subtitles.cues()) {
        detail::appendVTTTiming(out, cue.identifier(), cue.startTime(), cue.endTime());
        if (const auto speaker = cue.speaker()) {
            out += "<v ";
            for (const char c : *speaker) out += c == '<' || c == '>' ? '.' : c;
            out += '>';
        }
        out += cue.text();
        out += "\n\n";
    }
    return out;
}

}  // namespace quorel
