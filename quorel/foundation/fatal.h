// The one way to stop the process on a programming error.
//
// Any thread. Input from outside (network, files, the user) must never reach this function, except where a
// function documents that it does.
#pragma once

#include <string_view>

#include "quorel/foundation/export.h"

namespace quorel {

// Writes "fatal: <message> (<file>:<line>)" to standard error and aborts.
[[noreturn]] QUOREL_FOUNDATION_API void fatal(std::string_view message, const char* file = __builtin_FILE(),
                                              unsigned line = __builtin_LINE());

}  // namespace quorel
