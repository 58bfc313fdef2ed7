#include "engines/simulated/simulated_engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorel {
namespace {

using ::testing::ElementsAre;

TEST(X, Y) {}

}  // namespace
}  // namespace quorel
