// Whether this machine has anything to hear sound with. Any thread.
#pragma once

namespace quorel::play {

// A sound server's socket in its usual place, or a sound card. Asked before the audio libraries are, since those
// complain on standard error about every card they do not find.
bool hasSoundOutput();

}  // namespace quorel::play
