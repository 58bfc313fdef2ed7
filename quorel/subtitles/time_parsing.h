// The time parser that several formats share.
//
//   TimeParsing::parse(0, "00:01:02,500");     // 62.5 s; "." and ":" stand before the milliseconds as well
//   TimeParsing::parse(0, "1500");             // 1.5 s
//
// Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "quorel/subtitles/export.h"
#include "quorel/subtitles/time.h"

namespace quorel::TimeParsing {

// An integer of 64 bits, sign allowed, counts milliseconds; a negative one stops the process, as no time is
// negative. Otherwise hours in any number of digits, minutes and seconds of one or two, and milliseconds of
// exactly three or hundredths of exactly two. Throws SubTitlesError (invalidTime) with `index` for anything else.
QUOREL_SUBTITLES_API SubtitlesTime parse(std::int64_t index, std::string_view text);
// The same for where a text that is no time is no error: absent instead of thrown.
QUOREL_SUBTITLES_API std::optional<SubtitlesTime> parseIfPossible(std::string_view text);

}  // namespace quorel::TimeParsing
