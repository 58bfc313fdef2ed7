// Private to the programs: standard output as a stream of whole messages, for those whose libraries have made the process
// deaf to SIGPIPE, as GIO's sockets do.
#pragma once

#include <pthread.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string_view>

namespace quorel {

// Writes at once. A reader that has closed its end, as `| head` does, has what it wants: the process ends then, as by
// SIGPIPE. Any other failure shows in ferror(stdout). Any thread.
inline void say(std::string_view text) {
    const bool isWritten =
        std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    if (isWritten || errno != EPIPE) return;
    std::signal(SIGPIPE, SIG_DFL);
    sigset_t brokenPipe;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_UNBLOCK, &brokenPipe, nullptr);
    std::raise(SIGPIPE);
}

}  // namespace quorel
