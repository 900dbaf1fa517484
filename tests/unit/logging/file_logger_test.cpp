// FileLogger: the file it makes, and how the root and its sub-loggers fill it; the TextFile
// that takes its lines.
#include "logging/file_logger.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "logging/file_log_format.h"
#include "logging/log_time.h"
#include "logging/text_file.h"
#include "platform/threads.h"
#include "tests/unit/library/message_of.h"
#include "tests/unit/logging/log_files.h"

namespace {

using namespace velmo::logging;
using namespace testing_support;

using FileLoggerTest = LogDirectoryTest;

TEST_F(FileLoggerTest, NameIsTheGivenNameUnderscoreUtcTimeAndTxtInTheGivenDirectory) {
  std::filesystem::create_directories(logDir / "sub");
  const std::string before = fileNameTimeText(systemTicks());
  FileLogger(0, DEBUG, "root-session", nullptr, (logDir / "sub" / "mylog").string());
  const std::string after = fileNameTimeText(systemTicks());
  const auto files = filesIn(logDir / "sub");
  ASSERT_EQ(files.size(), 1u);
  const std::string name = files.front().filename().string();
  EXPECT_EQ(name.substr(0, 6) + name.substr(30), "mylog_.txt");
  // The time in the name is the time of creation (the format sorts like the time).
  EXPECT_LE(before, name.substr(6, 24));
  EXPECT_GE(after, name.substr(6, 24));
}

TEST_F(FileLoggerTest, HeaderComesFirstAndSubLoggersWriteIntoTheRootsFile) {
  const auto root = std::make_unique<FileLogger>(0, DEBUG, "root-session", nullptr,
                                                 (logDir / "log").string());
  const auto inherited = root->createCategoryLogger(kInheritCategory);
  const auto seven = root->createCategoryLogger(7);
  const auto session = seven->createSessionLogger("other-session");
  root->log("from root", INFO, 0);
  inherited->log("inherited", ERROR, -500);
  seven->log("seven", DEBUG, 3);
  session->log("session", INFO, 0);
  root->log("trace", TRACE, 0);  // below the root's level
  root->writeMessage("direct trace", 0, TRACE, 0, "s");
  EXPECT_THROW(root->writeMessage("unknown", 0, static_cast<LogLevel>(-1), 0, "s"), std::out_of_range);

  ASSERT_EQ(filesIn(logDir).size(), 1u);
  const auto text = linesOf(filesIn(logDir)[0]);
  ASSERT_EQ(text.size(), 5u);
  EXPECT_EQ(text[0], fileLogHeader());
  const auto lines = recordsIn(logDir);
  const std::vector<std::tuple<std::string, std::uint32_t, std::string, std::int32_t, std::string>>
      expected = {{"root-session", 0, "<INFO>", 0, "from root"},
                  {"root-session", 0, "<ERROR>", -500, "inherited"},
                  {"root-session", 7, "<DEBUG>", 3, "seven"}, {"other-session", 7, "<INFO>", 0, "session"}};
  ASSERT_EQ(lines.size(), 4u);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const LogLine& l = lines[i];
    EXPECT_EQ(std::make_tuple(l.sessionLogId, l.category, l.tag, l.resultCode, l.message), expected[i]);
    EXPECT_EQ(l.threadId, platform::GetCurrentThreadId());
    EXPECT_GE(l.elapsedMs, 0);
  }
}

// A TextFile cuts what the file held, ends each line (at a zero byte) with a line feed and
// flushes it; one that cannot be opened drops its lines but still has its creation time.
TEST_F(FileLoggerTest, TextFileWritesWholeFlushedLinesOrDropsThem) {
  const auto path = logDir / "out.txt";
  std::ofstream(path) << "former content of the file\n";
  const std::int64_t before = systemMilliseconds();
  {
    velmo::TextFile file(path.string());
    for (const std::string& line : std::vector<std::string>{"first", "", {"ab\0cd", 5}}) {
      file.writeLine(line);
      EXPECT_EQ(contentOf(path).back(), '\n');
    }
    velmo::TextFile lost((logDir / "no-such-dir" / "f.txt").string());
    EXPECT_NO_THROW(lost.writeLine("lost"));
    EXPECT_GE(lost.creationTime(), before);
    EXPECT_LE(lost.creationTime(), systemMilliseconds());
  }
  EXPECT_EQ(contentOf(path), "first\n\nab\n");
  EXPECT_EQ(library_test::messageOf<std::invalid_argument>([] { velmo::TextFile empty(""); }),
            "File path is empty");
}

}  // namespace
