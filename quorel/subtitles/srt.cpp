#include "quorel/subtitles/srt.h"

#include "quorel/subtitles/cue_list_private.h"
#include "quorel/subtitles/numbers_private.h"
#include "quorel/subtitles/srt_scanner_private.h"
#include "quorel/subtitles/text_blocks_private.h"
#include "quorel/subtitles/time_writing_private.h"
#include "quorel/support/regex.h"

namespace quorel {
namespace {

constexpr std::string_view timingPattern =
    R"((\d+):(\d{1,2}):(\d{1,2}),(\d{3})\s-->\s(\d+):(\d{2}):(\d{1,2}),(\d{3}))";

class DocumentSink {
public:
    explicit DocumentSink(std::string_view content) : cues(content), blocks_(content.size()) {}

    void timing(std::int64_t position, const detail::Timing& timing) {
        fields_.position = position;
        fields_.startTime = timing.start;
        fields_.endTime = timing.end;
    }
    void line(std::string_view line) {
        if (!blocks_.pending().empty()) blocks_.append('\n');
        blocks_.append(line);
    }
    void finish(const char* reached) {
        fields_.text = blocks_.finish();
        cues.add(blocks_.block(), fields_, reached);
    }
    void drop() { blocks_.drop(); }

    detail::CueList cues;

private:
    detail::TextBlocks blocks_;
    Subtitles::Cue::Fields fields_;
};

}  // namespace

const Regex& detail::srtTimingPattern() {
    static const Regex pattern(timingPattern);
    return pattern;
}

const Regex& detail::guardedSRTTimingPattern() {
    static const Regex pattern(R"((?:\G|(?<!\d)))" + std::string(timingPattern));
    return pattern;
}

bool detail::scanSRTTiming(std::string_view line, TimingParts& parts) {
    TimingScanner scanner(line);
    return scanner.digits(1, 19, parts[0]) && scanner.literal(':') && scanner.digits(1, 2, parts[1]) &&
           scanner.literal(':') && scanner.digits(1, 2, parts[2]) && scanner.literal(',') &&
           scanner.exactDigits(3, parts[3]) && scanner.literal(" --> ") && scanner.digits(1, 19, parts[4]) &&
           scanner.literal(':') && scanner.digits(2, 2, parts[5]) && scanner.literal(':') &&
           scanner.digits(1, 2, parts[6]) && scanner.literal(',') && scanner.exactDigits(3, parts[7]) &&
           // Without another arrow there is no second match.
           (scanner.atEnd() || scanner.rest().find("-->") == std::string_view::npos);
}

Subtitles Subtitles::Coder::SRT::decode(std::string_view content) const {
    DocumentSink sink(content);
    detail::scanSRT(content, sink);
    return sink.cues.take();
}

std::string Subtitles::Coder::SRT::encode(const Subtitles& subtitles) const {
    std::size_t size = 0;
    for (const Cue& cue : subtitles.cues()) size += cue.text().size() + 40;
    std::string out;
    out.reserve(size);
    std::int64_t last = 0;
    for (const Cue& cue : subtitles.cues()) {
        if (!out.empty()) out += '\n';
        // In unsigned arithmetic, where the number behind the largest is the smallest and nothing overflows.
        last = cue.position().value_or(static_cast<std::int64_t>(static_cast<std::uint64_t>(last) + 1));
        char number[24];
        char* end = std::to_chars(number, number + sizeof number - 1, last).ptr;
        *end++ = '\n';
        out.append(number, end);
        detail::appendTimingLine(out, cue.startTime(), " --> ", cue.endTime(), ',');
        out += cue.text();
        out += '\n';
    }
    return out;
}

}  // namespace quorel
