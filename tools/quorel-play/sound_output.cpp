#include "tools/quorel-play/sound_output.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace quorel::play {

bool hasSoundOutput() {
    if (std::getenv("PULSE_SERVER") != nullptr || std::getenv("PIPEWIRE_REMOTE") != nullptr) return true;
    std::error_code ignored;
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR")) {
        const std::filesystem::path directory = runtime;
        if (std::filesystem::exists(directory / "pulse/native", ignored)) return true;
        if (std::filesystem::exists(directory / "pipewire-0", ignored)) return true;
    }
    // One line "--- no soundcards ---" where ALSA has none, and no file where there is no ALSA.
    std::ifstream cards("/proc/asound/cards");
    std::string line;
    return std::getline(cards, line) && line.find("no soundcards") == std::string::npos;
}

}  // namespace quorel::play
