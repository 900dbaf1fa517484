// FileLoggerWindows: the rotation time setting, its reading and its messages, rotation under
// concurrent logging, and the registry value followed while the logger runs.
#include "logging/file_logger_windows.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>

#include "logging/file_log_format.h"
#include "logging/rotation_time.h"
#include "tests/support/eventually.h"
#include "tests/unit/logging/log_files.h"
#include "tests/unit/logging/registry_values.h"

namespace {

using namespace testing_support;
using namespace velmo::logging;

TEST(RotationMinutesTest, ReadsLikeStodAndTruncatesTowardZero) {
  const std::pair<std::string, std::optional<std::int32_t>> cases[] = {
      {"1.9", 1}, {"-3.9", -3}, {"12abc", 12}, {"  7", 7}, {"1e2", 100}, {"0x10", 16},
      {"2147483647", 2147483647}, {"-2147483648", -2147483647 - 1}, {"abc", std::nullopt},
      {"", std::nullopt}, {"1e400", std::nullopt}, {"2147483648", std::nullopt},
      {"nan", std::nullopt}, {"inf", std::nullopt}};
  for (const auto& [text, minutes] : cases) {
    EXPECT_EQ(rotationMinutesFromText(text), minutes) << "text \"" << text << "\"";
  }
}

class FileLoggerWindowsTest : public LogDirectoryTest {
 protected:
  // A logger whose files go to the subdirectory `directory` of the log directory.
  auto makeLogger(std::int64_t initialMs, const std::string& directory = "") {
    std::filesystem::create_directories(logDir / directory);
    return std::make_unique<FileLoggerWindows>(0, DEBUG, "session",
                                               (logDir / directory / "log").string(), initialMs);
  }
};

TEST_F(FileLoggerWindowsTest, EachValueGivesItsOneMessageAndRefusedOnesLeaveTheTimeInForce) {
  const std::tuple<std::int64_t, std::string, std::string, std::int32_t, std::string> cases[] = {
      // The sign is judged on the whole minutes.
      {60000, "-0.5", "<INFO>", 0, "Setting log rotation time to: 0 mins"},
      {300000, "5.5", "<DEBUG>", 0,
       "New rotation time is (\"5.5\") mins which is the same as the last rotation time"},
      {0, "-3", "<ERROR>", -500,
       "Invalid log rotation time obtained (\"-3\") mins. Continue to use existing rotation time."},
      {0, "abc", "<ERROR>", -500,
       "Invalid log rotation time obtained (\"abc\"). Conversion failed. Continue to use existing "
       "rotation time."}};
  for (const auto& [initialMs, text, tag, code, message] : cases) {
    makeLogger(initialMs, text)->onRotationTimeChanged(text);
    const auto lines = recordsIn(logDir / text);  // the first tells that the key is missing
    ASSERT_EQ(lines.size(), 2u) << text;
    EXPECT_EQ(std::tie(lines[1].tag, lines[1].resultCode, lines[1].message), std::tie(tag, code, message));
  }
  const auto logger = makeLogger(120000, "refused");
  for (const char* text : {"-3", "abc", "", "2"}) logger->onRotationTimeChanged(text);
  EXPECT_EQ(recordsIn(logDir / "refused").back().tag, "<DEBUG>") << "2 minutes stayed in force";
}

TEST_F(FileLoggerWindowsTest, RotationLosesNoLineAndEveryFileStartsWithTheHeader) {
  std::atomic<bool> enough{false};
  {
    const auto logger = makeLogger(30);
    std::vector<std::thread> threads;
    for (std::uint32_t t = 1; t <= 4; ++t) {
      threads.emplace_back([&, sub = std::shared_ptr<LoggerBase>(logger->createCategoryLogger(t))] {
        for (int n = 0; !enough; ++n) {
          sub->log(std::to_string(n), INFO, 0);
          std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
      });
    }
    const bool rotated = eventually([&] { return filesIn(logDir).size() > 3; });
    enough = true;
    for (std::thread& thread : threads) thread.join();
    ASSERT_TRUE(rotated);
  }
  for (const auto& file : filesIn(logDir)) EXPECT_EQ(linesOf(file).at(0), fileLogHeader()) << file;
  // Each thread's numbers arrive once each and in order, across the files.
  std::map<std::uint32_t, int> next;
  for (const LogLine& line : recordsIn(logDir)) {
    if (line.category != 0) {  // 0: the logger's own line about the registry
      EXPECT_EQ(std::stoi(line.message), next[line.category]++) << "thread " << line.category;
    }
  }
  EXPECT_EQ(next.size(), 4u);
}

// The value is followed while the logger runs, and the logger can go while changes arrive.
TEST_F(FileLoggerWindowsTest, RegistryValueIsFollowedLiveAndTeardownWhileChangesArriveIsSafe) {
  const auto setValue = [](const char* text) {
    setRegistryString(FileLoggerWindows::kRotationKey, FileLoggerWindows::kRotationValueName, text);
  };
  setValue("1");
  std::atomic<bool> stop{false};
  auto logger = makeLogger(0);
  std::thread writer([&] {
    for (int n = 0; !stop; ++n) setValue(n % 2 ? "1" : "2");
  });
  EXPECT_TRUE(eventually([&] {
    return contentOf(filesIn(logDir).at(0)).find("Setting log rotation time to: 2 mins") != std::string::npos;
  }));
  logger.reset();
  stop = true;
  writer.join();
}

}  // namespace
