// Some decoders stop the process at a negative time, as they must. A batch must not end with it, so what may hold
// one is decoded in a process of its own first.
#pragma once

#include <functional>
#include <string_view>

#include "tools/quorel-subtitles/formats.h"

namespace quorel::subtitles_tool {

// Throws Failure, with the line, when `decode` of the text would stop the process.
void requireNoStop(const Format& format, std::string_view text,
                   const std::function<void(std::string_view)>& decode);

}  // namespace quorel::subtitles_tool
