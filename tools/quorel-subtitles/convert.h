// convert and shift.
#pragma once

#include "tools/quorel-subtitles/arguments.h"

namespace quorel::subtitles_tool {

// Gives the exit code; throws UsageError.
int convertFiles(const Arguments& arguments);

}  // namespace quorel::subtitles_tool
