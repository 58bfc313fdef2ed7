#include "quorel/subtitles/sbv.h"

#include "quorel/subtitles/cue_list_private.h"
#include "quorel/subtitles/lines_private.h"
#include "quorel/subtitles/numbers_private.h"
#include "quorel/subtitles/sbv_reading_private.h"
#include "quorel/subtitles/text_blocks_private.h"
#include "quorel/subtitles/time_writing_private.h"
#include "quorel/support/regex.h"

namespace quorel {

namespace {

constexpr std::string_view timingPattern =
    R"(^(\d+):(\d{1,2}):(\d{1,2})\.(\d{3}),(\d+):(\d{2}):(\d{1,2})\.(\d{3})$)";

}  // namespace

const Regex& detail::sbvTimingPattern() {
    static const Regex pattern(timingPattern);
    return pattern;
}

const Regex& detail::guardedSBVTimingPattern() {
    static const Regex pattern(R"(\G)" + std::string(timingPattern));
    return pattern;
}

bool detail::scanSBVTiming(std::string_view line, TimingParts& parts) {
    TimingScanner scanner(line);
    return scanner.digits(1, 19, parts[0]) && scanner.literal(':') && scanner.digits(1, 2, parts[1]) &&
           scanner.literal(':') && scanner.digits(1, 2, parts[2]) && scanner.literal('.') &&
           scanner.exactDigits(3, parts[3]) && scanner.literal(',') && scanner.digits(1, 19, parts[4]) &&
           scanner.literal(':') && scanner.digits(2, 2, parts[5]) && scanner.literal(':') &&
           scanner.digits(1, 2, parts[6]) && scanner.literal('.') && scanner.exactDigits(3, parts[7]) &&
           scanner.atEnd();
}

Subtitles Subtitles::Coder::SBV::decode(std::string_view content) const {
    const std::string_view text = detail::decodableText(content);
    LineReader lines(text);
    detail::TextBlocks blocks(text.size());
    detail::OnlyMatch pattern(&detail::guardedSBVTimingPattern);
    detail::TimingParts parts;
    detail::CueList cues(text);
    for (std::string_view line; lines.next(line);) {
        if (line.empty()) continue;
        if (!detail::scanSBVTiming(line, parts) && !(pattern.find(line) && pattern.numbers(parts))) {
            throw SubTitlesError::invalidTime(lines.number())
                .at(lines.number() + 1, line,
                    "expected a timing line and nothing else, as 0:01:02.500,0:01:04.000");
        }
        const detail::Timing timing(parts);
        const bool hasLine = lines.next(line);
        if (!hasLine || line.empty()) {
            const SubTitlesError error =
                hasLine ? SubTitlesError::invalidTime(lines.number()) : SubTitlesError::unexpectedEOF();
            throw error.at(lines.number() + 1, {}, "expected the text of the cue");
        }
        blocks.append(line);
        while (lines.next(line) && !line.empty()) {
            blocks.append('\n');
            blocks.append(line);
        }
        Cue::Fields fields;
        fields.position = static_cast<std::int64_t>(cues.size()) + 1;
        fields.startTime = timing.start;
        fields.endTime = timing.end;
        fields.text = blocks.finish();
        cues.add(blocks.block(), fields, lines.position());
    }
    return cues.take();
}

std::string Subtitles::Coder::SBV::encode(const Subtitles& subtitles) const {
    std::size_t size = 0;
    for (const Cue& cue : subtitles.cues()) size += cue.text().size() + 28;
    std::string out;
    out.reserve(size);
    for (const Cue& cue : subtitles.cues()) {
        detail::appendTimingLine(out, cue.startTime(), ",", cue.endTime(), '.');
        out += cue.text();
        out += "\n\n";
    }
    return out;
}

}  // namespace quorel
