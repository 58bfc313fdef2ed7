// SRT to WebVTT without a document in between, for services that convert and forget.
//
//   reply.body = convertSRTToVTT(downloaded);
//
// Any thread.
#pragma once

#include <string>
#include <string_view>

#include "quorel/subtitles/export.h"

namespace quorel {

// The same bytes as Coder::VTT().encode(Coder::SRT().decode(content)), and the same errors. A file whose cues are
// in the order of their start times, as nearly all are, is converted as it is read, and takes memory for the
// result only.
QUOREL_SUBTITLES_API std::string convertSRTToVTT(std::string_view content);

}  // namespace quorel
