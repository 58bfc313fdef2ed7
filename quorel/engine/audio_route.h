// Where the device's sound goes just now. A receiver on the network fetches subtitles by itself, and cannot reach
// "localhost". A host whose platform has such receivers implements it, and gives it to PlatformServices.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "quorel/engine/export.h"

namespace quorel {

// The type of a receiver on the network.
inline constexpr std::string_view AVAudioSessionPortAirPlay = "AirPlay";

// Any thread.
class QUOREL_VISIBLE AudioRoute {
public:
    virtual ~AudioRoute() = default;
    // The types of the outputs in use. Any thread.
    virtual std::vector<std::string> outputPortTypes() const = 0;
};

}  // namespace quorel
