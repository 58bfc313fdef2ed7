// What the process holds at a moment, to see whether it comes back to it. Values; any thread.
#pragma once

#include <cstdint>
#include <string>

namespace quorel::soak {

struct Vitals {
    int threads = 0;
    int descriptors = 0;
    std::int64_t residentKiB = 0;
    std::int64_t heapKiB = 0;  // allocated and not freed, by the C library or by AddressSanitizer

    static Vitals now();
};

// The names of all threads, as in "gmain quorel-http quorel-http", for a thread that stays.
std::string threadNames();
// Where the descriptors lead, as in "socket:[1] /dev/null".
std::string descriptorTargets();

}  // namespace quorel::soak
