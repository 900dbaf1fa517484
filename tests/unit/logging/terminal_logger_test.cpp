// The terminal logger's lines and streams, the calling forms, and the formatter they use.
#include "logging/terminal_logger.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {

using namespace velmo::logging;

// A root printing into two temporary files, and what each has received so far.
class TerminalLoggerTest : public ::testing::Test {
 protected:
  using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
  std::unique_ptr<TerminalLogger> makeRoot(std::int32_t level) {
    auto root = std::make_unique<TerminalLogger>(0, level);
    root->setStreams(out.get(), err.get());
    return root;
  }
  static std::string contents(const File& file) {
    std::rewind(file.get());  // flushes too
    std::string text(1 << 16, '\0');
    text.resize(std::fread(&text[0], 1, text.size(), file.get()));
    return text;
  }
  File out{std::tmpfile(), &std::fclose}, err{std::tmpfile(), &std::fclose};
};

// Each stream numbers its own lines; the root's level filters for every sub-logger, and a line
// it drops takes no number.
TEST_F(TerminalLoggerTest, LinesGoToTheirStreamWithTheirCategoryAndTheRootsLevelFilters) {
  const auto root = makeRoot(DEBUG);
  const auto inherited = root->createCategoryLogger(kInheritCategory);
  EXPECT_EQ(inherited->logLevel, TRACE);  // a terminal sub-logger's own level
  const auto seven = root->createCategoryLogger(7);
  const auto wide = seven->createCategoryLogger(12345);
  const auto session = seven->createSessionLogger("00000000-0000-0000-0000-000000000000");
  root->log("Got action save", INFO, 0);
  root->log("Failed to parse input", ERROR, kUnexpectedFailure);
  inherited->log("dropped", TRACE, 0);
  inherited->log("a", DEBUG, 123456);
  seven->log("crit", CRITICAL, 7);
  wide->log("c", INFO, 0);
  session->log("by reference", INFO, static_cast<const long&>(9L));
  makeRoot(9)->log("strange", static_cast<LogLevel>(7), 0);
  EXPECT_EQ(contents(out),
            "0001 *> [Category   0,     INFO    ]       0 : Got action save\n"
            "0002 *> [Category   0,     DEBUG   ]    123456 : a\n"
            "0003 *> [Category 12345,     INFO    ]       0 : c\n"
            "0004 *> [Category   7,     INFO    ]       9 : by reference\n"
            "0001 *> [Category   0,     UNKNOWN ]       0 : strange\n");
  EXPECT_EQ(contents(err),
            "0001 *> [Category   0,     ERROR   ]    -500 : Failed to parse input\n"
            "0002 *> [Category   7,     CRITICAL]       7 : crit\n");
}

TEST_F(TerminalLoggerTest, CallingFormsApplyTheLevelFirst) {
  const auto root = makeRoot(INFO);
  logAt(*root, DEBUG, 0, "suppressed");
  logAt(*root, INFO, 5, "shown");
  logError(*root, 2, std::string("as string"));
  logError(*root, 3, "as text");
  logError(*root, 4, "Failed to open registry key:", "SOFTWARE\\Norvalis");
  EXPECT_EQ(contents(out), "0001 *> [Category   0,     INFO    ]       5 : shown\n");
  EXPECT_EQ(contents(err),
            "0001 *> [Category   0,     ERROR   ]       2 : as string\n"
            "0002 *> [Category   0,     ERROR   ]       3 : as text\n"
            "0003 *> [Category   0,     ERROR   ]       4 : Failed to open registry key: "
            "SOFTWARE\\Norvalis\n");
}

TEST(StringFormatterTest, JoinsWithOneBlankAndEmptyTextsJoinWithout) {
  const StringFormatter f;
  EXPECT_EQ(f.format("a", "", "b", -500, 4294967295u), "ab -500 4294967295");
  EXPECT_EQ(f.format("trailing ", "blank"), "trailing  blank");
  EXPECT_EQ(f.format("", "lead"), "lead");
  EXPECT_EQ(f.format("{}", "{0}"), "{} {0}");
}

}  // namespace
