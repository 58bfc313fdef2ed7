// The simulated engine's picture: a flat colour with the position written into it, so that a host's drawing can be
// checked without a decoder.
//
//   const auto frame = engine->videoFrames()->latestFrame();
//   EXPECT_NEAR(*positionInPicture(*frame), 12.5, 0.001);
//
// Along the top edge stand 32 blocks of equal width: white, black, then 30 bits of the position in milliseconds,
// the highest first, white for 1. They survive a scaling that keeps each block two pixels wide and high.
#pragma once

#include <optional>

#include "engines/simulated/export.h"
#include "quorel/ui/video_view.h"

namespace quorel {

inline constexpr int simulatedPictureWidth = 64;   // pixels
inline constexpr int simulatedPictureHeight = 36;  // pixels

// The flat colour below the blocks.
inline constexpr ui::Color simulatedContentColor{0.125, 0.375, 0.625, 1};
inline constexpr ui::Color simulatedAdColor{0.625, 0.25, 0.125, 1};

// The position in seconds, to the millisecond, modulo 2^30 ms. Absent for a frame that is not such a picture. Any
// thread. `frame` may be scaled, as from a screenshot of the picture's area.
QUOREL_SIMULATED_API std::optional<double> positionInPicture(const ui::VideoFrame& frame);

}  // namespace quorel
