// info and check.
#pragma once

#include "tools/quorel-subtitles/arguments.h"

namespace quorel::subtitles_tool {

// Both give the exit code.
int checkFiles(const Arguments& arguments);
int describeFiles(const Arguments& arguments);

}  // namespace quorel::subtitles_tool
