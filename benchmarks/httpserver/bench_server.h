// What the servers of this comparison have in common: two bodies, and how they tell run.py where they listen.
//
// Each server answers GET /small and GET /large from memory and GET /files/film.bin from the folder of its first
// argument, on 127.0.0.1, on a port that the system chooses, one blocking thread per connection with keep-alive, without
// logging.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>
#include <string_view>

namespace bench {

inline constexpr std::string_view smallBody = "Hello, World!";

inline const std::string& largeBody() {
    static const std::string body(64 * 1024, 'x');
    return body;
}

// Announces the port and stays until run.py closes the pipe to standard input.
inline void announceAndWait(unsigned port) {
    std::printf("%u\n", port);
    std::fflush(stdout);
    char byte;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
}

}  // namespace bench
