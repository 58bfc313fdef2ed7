// Private to this room. WebVTT files as they come from the wild (W3C WebVTT, https://www.w3.org/TR/webvtt1/).
//
//   if (const auto file = WebVTTFile::parse(text)) show(plainText(file->cues.front().payload));
//
// A block that makes no sense is passed over and the rest is read, as the standard's parser does it; besides that,
// commas are taken for decimal points, and a "<" or "&" that begins nothing stands for itself, since files made from
// other formats have both. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorel::gstreamer {

// Where a cue asks to be drawn (W3C WebVTT 3.1, 6.3). Regions and vertical writing are not honoured.
struct CueSettings {
    enum class Align { start, center, end, left, right };
    std::optional<double> line;  // absent: at the bottom
    bool lineIsPercentage = false;
    std::optional<double> position;  // percent of the width; absent: by `align`
    double size = 100;               // percent of the width
    Align align = Align::center;
    bool operator==(const CueSettings&) const = default;
};

struct WebVTTCueBlock {
    double start = 0;     // seconds
    double end = 0;       // seconds, later than `start`
    std::string payload;  // UTF-8 with tags and entities as they stand; lines are separated by "\n"
    CueSettings settings{};
    bool operator==(const WebVTTCueBlock&) const = default;
};

// RFC 8216 3.5: the cue time `local` is the MPEG-2 timestamp `mpegts`.
struct TimestampMap {
    double mpegts = 0;  // in 1/90000 s; not always whole, nor positive
    double local = 0;   // seconds
    bool operator==(const TimestampMap&) const = default;
};

struct WebVTTFile {
    std::vector<WebVTTCueBlock> cues;  // by their start, and later ends first among equal ones
    std::optional<TimestampMap> map;

    // Absent when the text does not begin with "WEBVTT". What is not UTF-8 in it becomes U+FFFD.
    static std::optional<WebVTTFile> parse(std::string_view text);
};

struct StyledRun {
    std::string text;
    bool italic = false;
    bool bold = false;
    bool underlined = false;
    bool operator==(const StyledRun&) const = default;
};

// The payload's text cut where its style changes; other tags than <i>, <b> and <u> leave no trace.
std::vector<StyledRun> styledText(std::string_view payload);
std::string plainText(std::string_view payload);

}  // namespace quorel::gstreamer
