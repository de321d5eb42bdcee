#include "tools/cfmeta/progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace cfmeta_tool {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(ProgressTest, LineShowsShareRateAndTimeLeft) {
  const uint64_t kMiB = 1 << 20;
  std::string half = Progress::Line(50 * kMiB, 100 * kMiB, 2.0);
  EXPECT_THAT(half, HasSubstr(" 50% [############            ]"));
  EXPECT_THAT(half, HasSubstr("50.0/100.0 MiB"));
  EXPECT_THAT(half, HasSubstr("25.0 MiB/s"));
  EXPECT_THAT(half, HasSubstr("0:00:02 left"));

  std::string slow = Progress::Line(kMiB, 7201 * kMiB, 1.0);
  EXPECT_THAT(slow, HasSubstr("2:00:00 left"));

  // A pipe's size is unknown: bytes and rate only.
  std::string piped = Progress::Line(3 * kMiB, 0, 1.0);
  EXPECT_THAT(piped, HasSubstr("3.0 MiB  3.0 MiB/s"));
  EXPECT_THAT(piped, Not(HasSubstr("%")));
  EXPECT_THAT(piped, Not(HasSubstr("left")));
}

}  // namespace
}  // namespace cfmeta_tool
