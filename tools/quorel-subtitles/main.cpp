// quorel-subtitles: converts, shifts and checks subtitle files.

#include <fmt/format.h>

#include <csignal>
#include <cstdio>

#include "quorel/foundation/log.h"
#include "tools/quorel-subtitles/arguments.h"
#include "tools/quorel-subtitles/check.h"
#include "tools/quorel-subtitles/convert.h"
#include "tools/quorel-subtitles/failure.h"
#include "tools/quorel-subtitles/formats.h"

namespace {

using namespace quorel::subtitles_tool;

int run(const Arguments& arguments) {
    switch (arguments.command) {
        case Command::convert:
        case Command::shift:
            return convertFiles(arguments);
        case Command::info:
            return describeFiles(arguments);
        case Command::check:
            return checkFiles(arguments);
        case Command::formats:
            return listFormats(arguments.json);
    }
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    // A file that grows past its limit (ulimit -f) is an error of the write, which leaves nothing behind.
    std::signal(SIGXFSZ, SIG_IGN);
    // Standard output is for converted files.
    quorel::setLogSink([](std::string_view) {});
    const auto parsed = parseArguments(std::vector<std::string_view>(argv + (argc > 0 ? 1 : 0), argv + argc));
    if (const auto* wrong = std::get_if<UsageError>(&parsed)) {
        fmt::print(stderr, "{}", wrong->line);
        return 2;
    }
    if (const auto* information = std::get_if<Information>(&parsed)) {
        fmt::print("{}", information->text);
        return 0;
    }
    try {
        const int code = run(std::get<Arguments>(parsed));
        if (std::fflush(stdout) == 0) return code;
        fmt::print(stderr, "quorel-subtitles: standard output cannot be written\n");
    } catch (const UsageError& error) {
        fmt::print(stderr, "quorel-subtitles: {}; see quorel-subtitles --help\n", error.line);
        return 2;
    } catch (...) {
        fmt::print(stderr, "quorel-subtitles: {}\n", currentFailure().message);
    }
    return 1;
}
