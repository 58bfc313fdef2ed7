// Others that do the same, where they are installed.
#pragma once

#include <string>
#include <string_view>

#include "benchmarks/measuring.h"

namespace quorel::bench {

#ifdef QUOREL_BENCH_LIBAV
std::string convertByLibav(const std::string& srt);  // to WebVTT
#endif

// Enters those who decode a file of the format. The content has to live as long as the task.
void addPeersOfDecoding(Task& task, std::string_view format, const std::string& content);
void addPeersOfFields(Task& task, const std::string& csv);

}  // namespace quorel::bench
