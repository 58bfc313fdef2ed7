// Files that are written whole or not at all.
#pragma once

#include <filesystem>
#include <string_view>

namespace quorel::subtitles_tool {

// Writes to a temporary file in the folder of the target, and gives it the target's name at last; until then the
// target stays as it was. A target that exists is replaced only if `overwrites`, and leaves its permissions to the
// new one; of a symbolic link the file behind it is replaced. What is no file (a pipe, a device) is written to as it
// is. Signals that end the process take the temporary file with them. Throws Failure.
void writeFile(const std::filesystem::path& target, std::string_view bytes, bool overwrites);
void writeStandardOutput(std::string_view bytes);

}  // namespace quorel::subtitles_tool
