// Private to this room. Whether the system has a sound output, without asking sound libraries: where there is none they
// take most of a second to find out, and write a page of complaints to standard error.
#pragma once

namespace quorel::gstreamer {

// True also where it is not certain. Any thread.
bool hasSoundOutput();

}  // namespace quorel::gstreamer
