#include "engines/gstreamer/sound_output.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace quorel::gstreamer {
namespace {

bool isThere(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
}

}  // namespace

bool hasSoundOutput() {
    if (std::getenv("PULSE_SERVER") != nullptr || std::getenv("PIPEWIRE_REMOTE") != nullptr) return true;
    if (const char* const runtime = std::getenv("XDG_RUNTIME_DIR")) {
        const std::filesystem::path directory = runtime;
        if (isThere(directory / "pulse/native") || isThere(directory / "pipewire-0")) return true;
    }
    // A configuration of somebody's own may lead anywhere.
    const char* const home = std::getenv("HOME");
    if (isThere("/etc/asound.conf") || (home != nullptr && isThere(std::filesystem::path(home) / ".asoundrc")))
        return true;
    // Device files also where the kernel's list is hidden, as in a container that was given the devices only.
    if (isThere("/dev/snd/controlC0") || isThere("/dev/dsp")) return true;
    // One line "--- no soundcards ---" where ALSA has none, and no file where there is no ALSA.
    std::ifstream cards("/proc/asound/cards");
    std::string line;
    return std::getline(cards, line) && line.find("no soundcards") == std::string::npos;
}

}  // namespace quorel::gstreamer
