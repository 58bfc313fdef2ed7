// quorel-play: plays a title by its content id.

#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <memory>

#include "engines/gstreamer/gstreamer_engine.h"
#include "quorel/foundation/error.h"
#include "tools/quorel-play/arguments.h"
#include "tools/quorel-play/playback.h"
#include "tools/quorel-play/reporter.h"

int main(int argc, char** argv) {
    using namespace quorel;
    const auto parsed =
        play::parseArguments(std::vector<std::string_view>(argv + (argc > 0 ? 1 : 0), argv + argc));
    if (const auto* wrong = std::get_if<play::UsageError>(&parsed)) {
        fmt::print(stderr, "{}", wrong->line);
        return 2;
    }
    if (const auto* information = std::get_if<play::Information>(&parsed)) {
        fmt::print("{}", information->text);
        return 0;
    }
    const auto& arguments = std::get<play::Arguments>(parsed);
    const auto reporter = arguments.json ? play::makeJSONReporter() : play::makeTextReporter();
    const auto loop = std::make_shared<RealRunLoop>();
    GStreamerOptions options;
    if (arguments.mute) options.audio = GStreamerOptions::Audio::none;
    // A file that grows past its limit is an error of the write, not the end of the process.
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        const int code = play::play(arguments, loop, makeGStreamerEngineFactory(loop, options), *reporter);
        if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return code;
        fmt::print(stderr, "quorel-play: standard output could not be written whole\n");
        return code != 0 ? code : 1;
    } catch (const Error& error) {
        fmt::print(stderr, "quorel-play: {}\n", error.what());
        return 1;
    }
}
