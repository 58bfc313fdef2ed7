#include "tools/quorel-subtitles/trial.h"

#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "tools/quorel-subtitles/failure.h"

namespace quorel::subtitles_tool {
namespace {

using Decode = std::function<void(std::string_view)>;

// No time is negative without a sign.
bool hasNegativeNumber(std::string_view text) {
    for (std::size_t at = text.find('-'); at != std::string_view::npos; at = text.find('-', at + 1)) {
        const char next = at + 1 < text.size() ? text[at + 1] : ' ';
        if ((next >= '0' && next <= '9') || next == '.') return true;
    }
    return false;
}

std::string readAll(int descriptor) {
    constexpr std::size_t enough = 4096;
    std::string all;
    char buffer[512];
    for (;;) {
        const ssize_t count = read(descriptor, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return all;
        if (all.size() < enough) all.append(buffer, static_cast<std::size_t>(count));
    }
}

// What the process says that stops, without its mark and the place in the source.
std::string lastWords(std::string said) {
    said = said.substr(0, said.find('\n'));
    for (const std::string_view mark : {"fatal: ", "Subtitles::Time: "}) {
        if (said.starts_with(mark)) said.erase(0, mark.size());
    }
    if (const std::size_t place = said.rfind(" ("); place != std::string::npos) said.erase(place);
    return said.empty() ? "decoding it stops the process" : said;
}

// What is said when decoding the text stops the process; absent when it does not.
std::optional<std::string> stopOf(std::string_view text, const Decode& decode) {
    int ends[2];
    if (pipe(ends) != 0) throw systemFailure("cannot be tried", errno);
    const pid_t child = fork();
    if (child < 0) {
        const int code = errno;
        close(ends[0]);
        close(ends[1]);
        throw systemFailure("cannot be tried", code);
    }
    if (child == 0) {
        constexpr rlimit none{0, 0};
        setrlimit(RLIMIT_CORE, &none);
        dup2(ends[1], STDERR_FILENO);
        try {
            decode(text);
        } catch (...) {
            // An error like this one has its turn outside.
        }
        _exit(0);
    }
    close(ends[1]);
    const std::string said = readAll(ends[0]);
    close(ends[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? std::nullopt : std::optional(lastWords(said));
}

}  // namespace

void requireNoStop(const Format& format, std::string_view text, const Decode& decode) {
    if (!format.mayStopProcess || !hasNegativeNumber(text)) return;
    const auto words = stopOf(text, decode);
    if (!words) return;
    // The shortest beginning of the text that stops the process ends with the line to blame.
    std::vector<std::size_t> ends;
    for (std::size_t at = text.find('\n'); at != std::string_view::npos; at = text.find('\n', at + 1)) {
        ends.push_back(at + 1);
    }
    if (ends.empty() || ends.back() != text.size()) ends.push_back(text.size());
    const auto isEnough = [&](std::size_t end, bool) { return !stopOf(text.substr(0, end), decode).has_value(); };
    const auto found = std::lower_bound(ends.begin(), ends.end() - 1, true, isEnough);
    const std::size_t begin = found == ends.begin() ? 0 : *(found - 1);
    std::string_view line = text.substr(begin, *found - begin);
    while (line.ends_with('\n') || line.ends_with('\r')) line.remove_suffix(1);
    throw Failure{*words, found - ends.begin() + 1, std::string(line.substr(0, 120))};
}

}  // namespace quorel::subtitles_tool
