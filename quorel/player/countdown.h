// How long until (or since) a live title begins, in the words that viewers read. A pure function; any thread.
//
//   countdownText(3661);    // "Em 01 hora e 01 minuto"
#pragma once

#include <string>

#include "quorel/player/export.h"

namespace quorel {

// In Portuguese, from the seconds without their fraction: seconds below a minute, minutes and seconds below an hour,
// hours and minutes below a day, days, hours and minutes for all else, for no time at all and for what is negative.
// Deliberately stops the process for seconds that are not finite or do not fit 64 bits.
QUOREL_PLAYER_API std::string countdownText(double seconds);

}  // namespace quorel
