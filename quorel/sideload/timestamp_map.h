// The line of a WebVTT header that relates its times to the stream's clock (RFC 8216 3.5), as text:
//
//   WEBVTT
//   X-TIMESTAMP-MAP=MPEGTS:900000,LOCAL:00:00:00.000
//
// Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "quorel/sideload/export.h"

namespace quorel {

// The two values of a map, as they are written.
struct QUOREL_VISIBLE WebVttTimestamp {
    std::optional<std::string> pts;        // in units of 1/90000 second, as text
    std::optional<std::string> localTime;  // "hh:mm:ss.mmm"
    bool operator==(const WebVttTimestamp&) const = default;
};

// Finds and replaces maps in the text of a file.
struct QUOREL_SIDELOAD_API TimestampStringUtils {
    TimestampStringUtils() = delete;

    // Both values of the first map; absent unless both are there and a "\n" (or "\r\n") ends the line.
    static std::optional<WebVttTimestamp> extract(std::string_view text);
    // The text with other values in its first map. Absent, with a line in the log, when it has none that a "\n" ends.
    static std::optional<std::string> override(std::string_view text, std::string_view pts,
                                               std::string_view localTime);
};

}  // namespace quorel
