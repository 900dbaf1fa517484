// Conversion of the registry's rotation time text to whole minutes.
#include "logging/rotation_time.h"

#include <gtest/gtest.h>

namespace {

using velmo::logging::rotationMinutesFromText;

struct MinutesCase {
  std::string text;
  std::optional<std::int32_t> minutes;
};

class RotationMinutesTest : public ::testing::TestWithParam<MinutesCase> {};

TEST_P(RotationMinutesTest, ReadsLikeStodAndTruncatesTowardZero) {
  EXPECT_EQ(rotationMinutesFromText(GetParam().text), GetParam().minutes)
      << "text \"" << GetParam().text << "\"";
}

INSTANTIATE_TEST_SUITE_P(
    Texts, RotationMinutesTest,
    ::testing::Values(MinutesCase{"10", 10}, MinutesCase{"1.9", 1}, MinutesCase{"-0.5", 0},
                      MinutesCase{"-3", -3}, MinutesCase{"-3.9", -3}, MinutesCase{"12abc", 12},
                      MinutesCase{"  7", 7}, MinutesCase{"1e2", 100}, MinutesCase{"0x10", 16},
                      MinutesCase{"2147483647", 2147483647},
                      MinutesCase{"-2147483648", -2147483647 - 1}, MinutesCase{"abc", std::nullopt},
                      MinutesCase{"", std::nullopt}, MinutesCase{"1e400", std::nullopt},
                      MinutesCase{"2147483648", std::nullopt}, MinutesCase{"nan", std::nullopt},
                      MinutesCase{"inf", std::nullopt}));

}  // namespace
