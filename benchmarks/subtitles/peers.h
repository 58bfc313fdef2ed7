// Others that do the same, where they are installed.
#pragma once

#include <string>
#include <string_view>

namespace quorel::bench {

#ifdef QUOREL_BENCH_LIBAV
std::string convertByLibav(const std::string& srt);  // to WebVTT
#endif

// Reports what others need to decode a file of the format.
void measurePeersOfDecoding(std::string_view format, const char* task, const std::string& content);
void measurePeersOfFields(const char* task, const std::string& csv);

}  // namespace quorel::bench
