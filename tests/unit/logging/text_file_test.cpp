// TextFile: what ends up in the file for the lines written, and the failures it swallows.
#include "logging/text_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "logging/log_time.h"
#include "tests/support/sim_test.h"
#include "tests/unit/library/message_of.h"
#include "tests/unit/logging/log_files.h"

namespace {

using testing_support::contentOf;

struct WriteCase {
  const char* name;
  std::vector<std::string> lines;
  std::string expected;
};

class TextFileWriteTest : public testing_support::SimTest,
                          public ::testing::WithParamInterface<WriteCase> {};

TEST_P(TextFileWriteTest, EachLineEndsWithALineFeedAndNothingOldStays) {
  const auto path = simRoot / "out.txt";
  std::ofstream(path) << "former content of the file\n";
  {
    velmo::TextFile file(path.string());
    for (const std::string& line : GetParam().lines) {
      file.writeLine(line);
      // Flushed per line: the line is readable before the file is closed.
      EXPECT_EQ(contentOf(path).back(), '\n');
    }
  }
  EXPECT_EQ(contentOf(path), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Writes, TextFileWriteTest,
    ::testing::Values(WriteCase{"TwoLines", {"first", "second"}, "first\nsecond\n"},
                      WriteCase{"EmptyLine", {""}, "\n"},
                      WriteCase{"CutAtZeroByte", {std::string("ab\0cd", 5)}, "ab\n"}),
    [](const ::testing::TestParamInfo<WriteCase>& info) { return std::string(info.param.name); });

class TextFileTest : public testing_support::SimTest {};

TEST_F(TextFileTest, FailedOpenDropsLinesButKeepsTheCreationTime) {
  const std::int64_t before = velmo::logging::systemMilliseconds();
  velmo::TextFile file((simRoot / "no-such-dir" / "f.txt").string());
  const std::int64_t after = velmo::logging::systemMilliseconds();
  EXPECT_NO_THROW(file.writeLine("lost"));
  EXPECT_GE(file.creationTime(), before);
  EXPECT_LE(file.creationTime(), after);
  EXPECT_FALSE(std::filesystem::exists(simRoot / "no-such-dir"));
}

TEST_F(TextFileTest, EmptyPathIsRefused) {
  EXPECT_EQ(library_test::messageOf<std::invalid_argument>([] { velmo::TextFile file(""); }),
            "File path is empty");
}

}  // namespace
