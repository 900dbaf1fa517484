// FileLoggerWindows: the rotation time setting and its messages, rotation under concurrent
// logging, and the registry value followed while the logger runs.
#include "logging/file_logger_windows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <thread>

#include "logging/file_log_format.h"
#include "platform/sim/registry/registry_watch.h"
#include "tests/support/eventually.h"
#include "tests/unit/logging/log_files.h"
#include "tests/unit/logging/registry_values.h"

namespace {

namespace fs = std::filesystem;
using testing_support::eventually;
using testing_support::filesIn;
using testing_support::linesOf;
using testing_support::LogLine;
using testing_support::parseLogLine;
using velmo::logging::FileLoggerWindows;
using namespace velmo::logging;

const std::string kMissingKeyLine = "Failed to open registry key: SOFTWARE\\Norvalis\\VelmoAgent";

class FileLoggerWindowsTest : public testing_support::LogDirectoryTest {
 protected:
  std::unique_ptr<FileLoggerWindows> makeLogger(std::int64_t initialRotationTimeMs) {
    return std::make_unique<FileLoggerWindows>(0, DEBUG, "session", (logDir / "log").string(),
                                               initialRotationTimeMs);
  }

  static void setRotationValue(const std::string& text) {
    testing_support::setRegistryString(FileLoggerWindows::kRotationKey,
                                       FileLoggerWindows::kRotationValueName, text);
  }

  // Every record line of every file, oldest file first.
  std::vector<LogLine> records() const {
    std::vector<LogLine> all;
    for (const fs::path& file : filesIn(logDir)) {
      const auto lines = linesOf(file);
      for (std::size_t i = 1; i < lines.size(); ++i) {
        if (const auto line = parseLogLine(lines[i])) {
          all.push_back(*line);
        }
      }
    }
    return all;
  }

  bool logged(const std::string& message) const {
    const auto lines = records();
    return std::any_of(lines.begin(), lines.end(),
                       [&](const LogLine& line) { return line.message == message; });
  }
};

// --- The setting ---------------------------------------------------------------------------

struct SettingCase {
  const char* name;
  std::int64_t initialMs;
  std::string text;
  std::string tag;
  std::int32_t resultCode;
  std::string message;
};

class RotationSettingTest : public FileLoggerWindowsTest,
                            public ::testing::WithParamInterface<SettingCase> {};

TEST_P(RotationSettingTest, EachValueGivesItsOneMessage) {
  const SettingCase& c = GetParam();
  {
    const auto logger = makeLogger(c.initialMs);
    logger->onRotationTimeChanged(c.text);
  }
  const auto lines = records();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].message, kMissingKeyLine);
  EXPECT_EQ(std::make_tuple(lines[1].tag, lines[1].resultCode, lines[1].message),
            std::make_tuple(c.tag, c.resultCode, c.message));
}

std::string same(const std::string& text) {
  return "New rotation time is (\"" + text + "\") mins which is the same as the last rotation time";
}

std::string unconvertible(const std::string& text) {
  return "Invalid log rotation time obtained (\"" + text +
         "\"). Conversion failed. Continue to use existing rotation time.";
}

INSTANTIATE_TEST_SUITE_P(
    Values, RotationSettingTest,
    ::testing::Values(
        SettingCase{"FractionTruncates", 0, "1.9", "<INFO>", 0,
                    "Setting log rotation time to: 1 mins"},
        SettingCase{"SmallNegativeSwitchesOff", 60000, "-0.5", "<INFO>", 0,
                    "Setting log rotation time to: 0 mins"},
        SettingCase{"SameMinutesAfterTruncation", 300000, "5.5", "<DEBUG>", 0, same("5.5")},
        SettingCase{"Negative", 0, "-3", "<ERROR>", -500,
                    "Invalid log rotation time obtained (\"-3\") mins. Continue to use existing "
                    "rotation time."},
        SettingCase{"NoNumber", 0, "abc", "<ERROR>", -500, unconvertible("abc")}),
    [](const ::testing::TestParamInfo<SettingCase>& info) { return std::string(info.param.name); });

TEST_F(FileLoggerWindowsTest, RefusedValuesLeaveTheTimeInForce) {
  {
    const auto logger = makeLogger(120000);
    for (const char* refused : {"-3", "abc", ""}) {
      logger->onRotationTimeChanged(refused);
    }
    logger->onRotationTimeChanged("2");
  }
  EXPECT_EQ(records().back().message, same("2"));
}

// --- Rotation ------------------------------------------------------------------------------

TEST_F(FileLoggerWindowsTest, RotationLosesNoLineAndEveryFileStartsWithTheHeader) {
  constexpr int kThreads = 4;
  constexpr std::size_t kRotations = 3;
  std::atomic<bool> enough{false};
  {
    const auto logger = makeLogger(30);
    std::vector<std::thread> threads;
    std::vector<std::unique_ptr<LoggerBase>> subLoggers;
    for (int t = 0; t < kThreads; ++t) {
      subLoggers.push_back(logger->createCategoryLogger(static_cast<std::uint32_t>(t + 1)));
    }
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        for (int n = 0; !enough; ++n) {
          subLoggers[static_cast<std::size_t>(t)]->log(std::to_string(n), INFO, 0);
          std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
      });
    }
    const bool rotated = eventually([&] { return filesIn(logDir).size() > kRotations; });
    enough = true;
    for (std::thread& thread : threads) {
      thread.join();
    }
    ASSERT_TRUE(rotated);
  }

  const auto files = filesIn(logDir);
  for (const fs::path& file : files) {
    const auto lines = linesOf(file);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), fileLogHeader()) << file;
  }
  // Each thread's numbers arrive once each and in order, across the files.
  std::map<std::uint32_t, int> next;
  for (const LogLine& line : records()) {
    if (line.category == 0) {
      continue;  // the logger's own line about the registry
    }
    EXPECT_EQ(std::stoi(line.message), next[line.category]++) << "thread " << line.category;
  }
  EXPECT_EQ(next.size(), static_cast<std::size_t>(kThreads));
}

// --- The registry value --------------------------------------------------------------------

TEST_F(FileLoggerWindowsTest, RegistryValueIsInForceFromTheStartAndFollowedLive) {
  setRotationValue("10");
  const auto logger = makeLogger(0);
  ASSERT_EQ(records().size(), 1u);
  EXPECT_EQ(records()[0].message, "Setting log rotation time to: 10 mins");
  ASSERT_TRUE(eventually([] { return sim::test::activeRegistryWatches() == 1; }));
  setRotationValue("20");
  EXPECT_TRUE(eventually([&] { return logged("Setting log rotation time to: 20 mins"); }));
}

TEST_F(FileLoggerWindowsTest, TeardownWhileChangesArriveIsSafe) {
  setRotationValue("1");
  std::atomic<bool> stop{false};
  auto logger = makeLogger(0);
  std::thread writer([&] {
    for (int n = 0; !stop; ++n) {
      setRotationValue(n % 2 ? "1" : "2");
    }
  });
  EXPECT_TRUE(eventually([&] { return logged("Setting log rotation time to: 2 mins"); }));
  logger.reset();
  stop = true;
  writer.join();
}

}  // namespace
