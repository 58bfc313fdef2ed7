// Ad servers' answers, VAST and VMAP: whatever comes is read or refused, and what was read can be chosen from.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "engines/vast/ad_resolver.h"
#include "engines/vast/vast.h"

using namespace quorel::vast;

namespace {

void choose(const VastDocument& document) {
    const quorel::AdServiceOptions options;
    for (const VastAd& ad : document.ads) {
        for (const Linear& linear : ad.linears) {
            playableFiles(linear.mediaFiles, options, {640, 360});
            for (const Tracking& tracking : linear.trackings) {
                if (tracking.offset) tracking.offset->at(linear.duration);
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const auto document = parseAdDocument({reinterpret_cast<const char*>(data), size});
        if (const auto* vast = std::get_if<VastDocument>(&document)) {
            choose(*vast);
        } else {
            for (const AdBreak& adBreak : std::get<VmapDocument>(document).breaks) {
                if (const auto* inlined = std::get_if<VastDocument>(&adBreak.source)) choose(*inlined);
            }
        }
    } catch (const VastError&) {
    }
    return 0;
}
