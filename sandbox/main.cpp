// quorel-sandbox: the local backend as a program.

#include <fmt/format.h>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/foundation/log.h"
#include "sandbox/sandbox.h"

namespace {

constexpr std::string_view help = R"(quorel-sandbox: a content backend on this machine, with titles to play

usage: quorel-sandbox [options]

  --port N       listen on 127.0.0.1 port N (default: 8090; 0 lets the system choose)
  --media DIR    where the titles are (default: those made by the build)
  --token TEXT   the bearer token to ask for (default: sandbox-token)
  --help         this text
  --version      the version

It says where it listens and runs until it is interrupted. Exit codes: 0 ended as asked, 1 it cannot serve, 2 usage.
)";

struct Arguments {
    quorel::sandbox::Sandbox::Options options;
    std::uint16_t port = 8090;
};

int usageError(std::string_view what) {
    fmt::print(stderr, "quorel-sandbox: {}; see quorel-sandbox --help\n", what);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        const std::size_t equals = word.find('=');
        const std::string_view option = word.substr(0, equals);
        if (word == "--help" || word == "-h") {
            fmt::print("{}", help);
            return 0;
        }
        if (word == "--version") {
            fmt::print("quorel-sandbox {}\n", QUOREL_VERSION);
            return 0;
        }
        if (option != "--port" && option != "--media" && option != "--token") {
            return usageError(fmt::format("there is no option '{}'", word));
        }
        const bool separate = equals == std::string_view::npos;
        if (separate && ++i == argc) return usageError(fmt::format("{} needs a value", option));
        const std::string_view value = separate ? argv[i] : word.substr(equals + 1);
        if (option == "--media") {
            arguments.options.mediaDirectory = value;
        } else if (option == "--token") {
            arguments.options.token = value;
        } else {
            const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), arguments.port);
            if (error != std::errc() || end != value.data() + value.size()) {
                return usageError(fmt::format("'{}' is no port from 0 to 65535", value));
            }
        }
    }

    // Blocked before any thread starts, so that only sigwait() below gets them.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    try {
        quorel::sandbox::Sandbox sandbox(arguments.options);
        sandbox.start(arguments.port);
        fmt::print("quorel-sandbox listens on {}/ (open it in a browser for what it serves)\n", sandbox.baseURL());
        std::fflush(stdout);
        int signal = 0;
        sigwait(&signals, &signal);
    } catch (const quorel::sandbox::SandboxError& error) {
        fmt::print(stderr, "quorel-sandbox: {}\n", error.what());
        return 1;
    }
    return 0;
}
