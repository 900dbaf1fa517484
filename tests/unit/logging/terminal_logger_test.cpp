#include "logging/terminal_logger.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

using namespace velmo::logging;

// Collects what the root prints on its two streams.
class TerminalLoggerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    out = std::tmpfile();
    err = std::tmpfile();
  }
  void TearDown() override {
    std::fclose(out);
    std::fclose(err);
  }
  static std::string contents(std::FILE* file) {
    std::fflush(file);
    std::rewind(file);
    std::string text;
    char buffer[512];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
      text.append(buffer, n);
    }
    return text;
  }
  std::FILE* out = nullptr;
  std::FILE* err = nullptr;
};

TEST_F(TerminalLoggerTest, FormatsLinesAndKeepsTwoIndependentSequences) {
  TerminalLogger root(0, TRACE);
  root.setStreams(out, err);
  for (int i = 0; i < 10; ++i) {
    root.log("Got action save", INFO, 0);
  }
  root.log("Failed to parse input", ERROR, kUnexpectedFailure);
  root.log("crit", CRITICAL, 7);
  root.log("trace", TRACE, 123456);
  root.log("odd", static_cast<LogLevel>(9), 0);  // above the root's level: no number taken
  const std::string output = contents(out);
  EXPECT_EQ(output.substr(0, output.find('\n') + 1),
            "0001 *> [Category   0,     INFO    ]       0 : Got action save\n");
  EXPECT_NE(output.find("0011 *> [Category   0,     TRACE   ]    123456 : trace\n"),
            std::string::npos);
  EXPECT_EQ(contents(err),
            "0001 *> [Category   0,     ERROR   ]    -500 : Failed to parse input\n"
            "0002 *> [Category   0,     CRITICAL]       7 : crit\n");
}

TEST_F(TerminalLoggerTest, UnknownLevelTextAndFilterAgainstRootLevel) {
  TerminalLogger root(0, 3);
  root.setStreams(out, err);
  auto sub = root.createCategoryLogger(kInheritCategory);
  EXPECT_EQ(sub->logLevel, TRACE);  // a terminal sub-logger's own level is 4
  sub->log("dropped", TRACE, 0);   // the root's level 3 is the filter
  sub->log("kept", DEBUG, 0);
  TerminalLogger wide(0, 9);
  wide.setStreams(out, err);
  wide.log("strange", static_cast<LogLevel>(7), 0);
  EXPECT_EQ(contents(out),
            "0001 *> [Category   0,     DEBUG   ]       0 : kept\n"
            "0001 *> [Category   0,     UNKNOWN ]       0 : strange\n");
}

TEST_F(TerminalLoggerTest, SubLoggersShowTheirCategoryAndWidenTheBracket) {
  TerminalLogger root(0, TRACE);
  root.setStreams(out, err);
  auto inherited = root.createCategoryLogger(kInheritCategory);
  auto seven = root.createCategoryLogger(7);
  auto wide = seven->createCategoryLogger(12345);
  auto session = seven->createSessionLogger("00000000-0000-0000-0000-000000000000");
  inherited->log("a", INFO, 0);
  seven->log("b", INFO, 0);
  wide->log("c", INFO, 0);
  session->log("d", INFO, 0);
  root.log("e", INFO, 0);
  EXPECT_EQ(contents(out),
            "0001 *> [Category   0,     INFO    ]       0 : a\n"
            "0002 *> [Category   7,     INFO    ]       0 : b\n"
            "0003 *> [Category 12345,     INFO    ]       0 : c\n"
            "0004 *> [Category   7,     INFO    ]       0 : d\n"
            "0005 *> [Category   0,     INFO    ]       0 : e\n");
}

TEST_F(TerminalLoggerTest, CallingFormsApplyTheLevelFirst) {
  TerminalLogger root(0, INFO);
  root.setStreams(out, err);
  logAt(root, DEBUG, 0, "suppressed");
  logAt(root, INFO, 5, "shown");
  logError(root, 2, std::string("as string"));
  logError(root, 3, "as text");
  logError(root, 4, "Failed to open registry key:", "SOFTWARE\\Norvalis");
  root.log("by reference", INFO, static_cast<const long&>(9L));
  EXPECT_EQ(contents(out),
            "0001 *> [Category   0,     INFO    ]       5 : shown\n"
            "0002 *> [Category   0,     INFO    ]       9 : by reference\n");
  EXPECT_EQ(contents(err),
            "0001 *> [Category   0,     ERROR   ]       2 : as string\n"
            "0002 *> [Category   0,     ERROR   ]       3 : as text\n"
            "0003 *> [Category   0,     ERROR   ]       4 : Failed to open registry key: "
            "SOFTWARE\\Norvalis\n");

  TerminalLogger silent(0, CRITICAL);
  silent.setStreams(out, err);
  logError(silent, 1, "not written");
  EXPECT_EQ(contents(err).find("not written"), std::string::npos);
}

}  // namespace
