// Private to this tool. The whole run.
#pragma once

#include "tools/quorel-soak/arguments.h"

namespace quorel::soak {

// Gives the exit code.
int run(const Arguments& arguments);

}  // namespace quorel::soak
