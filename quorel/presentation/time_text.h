// Positions and durations as the overlay writes them. Any thread.
#pragma once

#include <string>

#include "quorel/presentation/export.h"

namespace quorel {

// Whole minutes and seconds as in "0:07", from an hour on "1:02:03". The fraction is cut off. Empty for what is not
// finite; a number beyond 64 bits stops the process.
QUOREL_PRESENTATION_API std::string timeText(double seconds);

}  // namespace quorel
