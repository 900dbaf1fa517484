#include "logging/string_formatter.h"

#include <gtest/gtest.h>

namespace {

using velmo::logging::StringFormatter;

TEST(StringFormatterTest, JoinsWithOneBlankAndEmptyTextsJoinWithout) {
  const StringFormatter f;
  EXPECT_EQ(f.format("Setting log rotation time to:", 5, "mins"),
            "Setting log rotation time to: 5 mins");
  EXPECT_EQ(f.format("a", "b"), "a b");
  EXPECT_EQ(f.format("a", "", "b"), "ab");
  EXPECT_EQ(f.format("x", -500), "x -500");
  EXPECT_EQ(f.format("x", 4294967295u), "x 4294967295");
  EXPECT_EQ(f.format("trailing ", "blank"), "trailing  blank");
  EXPECT_EQ(f.format("Null logger provided:", std::string("SOFTWARE\\Key"), "", "\\", "",
                     std::string("Value")),
            "Null logger provided: SOFTWARE\\Key\\Value");
  EXPECT_EQ(f.format("", "lead"), "lead");
  EXPECT_EQ(f.format("{}", "{0}"), "{} {0}");
}

}  // namespace
