#include "tests/engines/gstreamer/gstreamer_harness.h"

namespace quorel::testing {

INSTANTIATE_TEST_SUITE_P(GStreamer, EngineContract, ::testing::Values(EngineHarnessMaker{[] {
                             return std::make_unique<GStreamerHarness>();
                         }}));

}  // namespace quorel::testing
