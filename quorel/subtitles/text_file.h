// Subtitle files as text. Any thread.
#pragma once

#include <string>

#include "quorel/foundation/url.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/text_encoding.h"

namespace quorel {

// All take "file" URLs and throw std::system_error with the system's code when the file cannot be read
// (std::errc::protocol_not_supported for another scheme). The two that give text drop its byte-order mark.
QUOREL_SUBTITLES_API std::string readFile(const URL& fileURL);
// Throws SubTitlesError (invalidEncoding), too.
QUOREL_SUBTITLES_API std::string readTextFile(const URL& fileURL, const TextEncoding& encoding);
// As decodeDetectingEncoding; throws SubTitlesError (invalidEncoding) when that finds nothing.
QUOREL_SUBTITLES_API DetectedText readTextFileDetectingEncoding(const URL& fileURL);

}  // namespace quorel
