// LRC: lines of lyrics with the times at which they are sung.
//
//   Subtitles::Coder::LRC().decode("[00:12.34]Hello");           // one cue, at 12.34 s
//   Subtitles::Coder::LRC(TimeFormat::minutesSecondsMilliseconds).encode(document);
//
// A line names no end, and none is invented: every cue that is read has zero length. A coder is a value; any
// thread.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles.h"

namespace quorel {

class QUOREL_SUBTITLES_API Subtitles::Coder::LRC final : public SubtitlesLineCoder<Subtitles::Coder::LRC> {
public:
    static constexpr std::string_view extn = "lrc";

    enum class TimeFormat { minutesSecondsHundredths, minutesSecondsMilliseconds };  // [00:12.34], [00:12.345]
    // Both, for menus.
    static constexpr std::array allCases{TimeFormat::minutesSecondsHundredths,
                                         TimeFormat::minutesSecondsMilliseconds};

    // A time stamp: minutes, seconds, hundredths or milliseconds. \d is any decimal digit of Unicode, but numbers
    // that are not in ASCII digits count as 0.
    static constexpr std::string_view timestampPattern = R"(\[(\d{2})\:(\d{2})\.(\d{2,3})\]+)";

    TimeFormat timeFormat;  // of what is written; both are read

    explicit LRC(TimeFormat format = TimeFormat::minutesSecondsHundredths) : timeFormat(format) {}

    using SubtitlesLineCoder::decode;
    using SubtitlesLineCoder::encode;
    // One cue for each time stamp of a line, all with the text behind the last one. Lines without are skipped.
    Subtitles decode(std::string_view content) const override;
    // In the order of the start times. Hundredths are cut, not rounded. The second line of a text gets no time
    // stamp. Throws SubTitlesError (timeTooLargeToExport) from 100 minutes on.
    std::string encode(const Subtitles& subtitles) const override;

    bool operator==(const LRC& other) const { return timeFormat == other.timeFormat; }
};

}  // namespace quorel
