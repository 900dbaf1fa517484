// FileLogger: the file it makes, and how the root and its sub-loggers fill it.
#include "logging/file_logger.h"

#include <gtest/gtest.h>

#include <regex>
#include <stdexcept>

#include "logging/file_log_format.h"
#include "logging/log_time.h"
#include "platform/threads.h"
#include "tests/unit/logging/log_files.h"

namespace {

namespace fs = std::filesystem;
using testing_support::filesIn;
using testing_support::linesOf;
using testing_support::parseLogLine;
using velmo::logging::FileLogger;
using namespace velmo::logging;

class FileLoggerTest : public testing_support::LogDirectoryTest {
 protected:
  std::unique_ptr<FileLogger> makeRoot(const std::string& name = "log") {
    return std::make_unique<FileLogger>(0, DEBUG, "root-session", nullptr,
                                        (logDir / name).string());
  }

  fs::path onlyFile() {
    const auto files = filesIn(logDir);
    EXPECT_EQ(files.size(), 1u);
    return files.empty() ? fs::path() : files.front();
  }
};

struct NameCase {
  const char* name;
  std::string given;      // relative to the log directory
  std::string directory;  // where the file lands, relative to the log directory
  std::string pattern;    // the file's name, with the time as the one group
};

const std::string kTime = R"((\d{4}_\d\d_\d\dT\d\d_\d\d_\d\d_\d{3}Z))";

class FileLoggerNameTest : public FileLoggerTest, public ::testing::WithParamInterface<NameCase> {};

TEST_P(FileLoggerNameTest, NameIsTheGivenNameUnderscoreUtcTimeAndTxt) {
  fs::create_directories(logDir / "sub");
  const std::string before = fileNameTimeText(systemTicks());
  makeRoot(GetParam().given);
  const std::string after = fileNameTimeText(systemTicks());

  const auto files = filesIn(logDir / GetParam().directory);
  ASSERT_EQ(files.size(), 1u);
  const std::string name = files.front().filename().string();
  std::smatch match;
  ASSERT_TRUE(std::regex_match(name, match, std::regex(GetParam().pattern))) << name;
  // The time in the name is the time of creation (the format sorts like the time).
  EXPECT_LE(before, match[1].str());
  EXPECT_GE(after, match[1].str());
}

INSTANTIATE_TEST_SUITE_P(
    Names, FileLoggerNameTest,
    ::testing::Values(NameCase{"Plain", "mylog", "", "mylog_" + kTime + R"(\.txt)"},
                      NameCase{"DirectoryPartIsKept", "sub/mylog", "sub",
                               "mylog_" + kTime + R"(\.txt)"}),
    [](const ::testing::TestParamInfo<NameCase>& info) { return std::string(info.param.name); });

TEST_F(FileLoggerTest, HeaderComesFirstAndSubLoggersWriteIntoTheRootsFile) {
  auto root = makeRoot();
  const auto inherited = root->createCategoryLogger(kInheritCategory);
  const auto seven = root->createCategoryLogger(7);
  const auto session = seven->createSessionLogger("other-session");
  root->log("from root", INFO, 0);
  inherited->log("inherited", ERROR, -500);
  seven->log("seven", DEBUG, 3);
  session->log("session", INFO, 0);

  const auto lines = linesOf(onlyFile());
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0], fileLogHeader());
  const std::vector<std::tuple<std::string, std::uint32_t, std::string, std::int32_t, std::string>>
      expected = {{"root-session", 0, "<INFO>", 0, "from root"},
                  {"root-session", 0, "<ERROR>", -500, "inherited"},
                  {"root-session", 7, "<DEBUG>", 3, "seven"},
                  {"other-session", 7, "<INFO>", 0, "session"}};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto line = parseLogLine(lines[i + 1]);
    ASSERT_TRUE(line) << lines[i + 1];
    EXPECT_EQ(std::make_tuple(line->sessionLogId, line->category, line->tag, line->resultCode,
                              line->message),
              expected[i]);
    EXPECT_EQ(line->threadId, platform::GetCurrentThreadId());
    EXPECT_GE(line->elapsedMs, 0);
  }
}

TEST_F(FileLoggerTest, LevelFilterHoldsEvenForDirectWritesAndUnknownLevelsWriteNothing) {
  auto root = makeRoot();
  root->log("trace", TRACE, 0);
  root->writeMessage("direct trace", 0, TRACE, 0, "s");
  EXPECT_THROW(root->writeMessage("unknown", 0, static_cast<LogLevel>(-1), 0, "s"),
               std::out_of_range);
  EXPECT_EQ(linesOf(onlyFile()).size(), 1u);
}

}  // namespace
