#include "quorel/foundation/fatal.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace quorel {

void fatal(std::string_view message, const char* file, unsigned line) {
    const char* slash = std::strrchr(file, '/');
    std::fprintf(stderr, "fatal: %.*s (%s:%u)\n", static_cast<int>(message.size()), message.data(),
                 slash != nullptr ? slash + 1 : file, line);
    std::fflush(stderr);
    std::abort();
}

}  // namespace quorel
