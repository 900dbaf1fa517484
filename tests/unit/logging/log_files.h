// Reading back what the file loggers wrote: the files of a directory and their lines.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/sim_test.h"

namespace testing_support {

// A fresh sim machine with an empty directory for log files.
class LogDirectoryTest : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    std::filesystem::create_directories(logDir = simRoot / "logs");
  }
  std::filesystem::path logDir;
};

// The regular files of `directory`, by name (the time in a log file's name sorts them by age).
inline std::vector<std::filesystem::path> filesIn(const std::filesystem::path& directory) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

inline std::string contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The lines of a file without their line feeds.
inline std::vector<std::string> linesOf(const std::filesystem::path& file) {
  std::istringstream content(contentOf(file));
  std::vector<std::string> lines;
  for (std::string line; std::getline(content, line);) lines.push_back(line);
  return lines;
}

// The columns of one record line that the tests read.
struct LogLine {
  std::uint32_t threadId, category;
  std::int64_t elapsedMs;
  std::int32_t resultCode;
  std::string sessionLogId, tag, message;  // the message without leading blanks
};

// Every record line of every file of `directory`, oldest file first, headers left out.
inline std::vector<LogLine> recordsIn(const std::filesystem::path& directory) {
  static const std::regex pattern(R"(^\[(\d+) *\] \S{24} +(-?\d+) +(\S+) +(\d+) +(<[A-Z]+>) +(-?\d+) +(.*)$)");
  std::vector<LogLine> all;
  std::smatch m;
  for (const auto& file : filesIn(directory)) {
    for (const std::string& text : linesOf(file)) {
      if (!std::regex_match(text, m, pattern)) continue;
      all.push_back(LogLine{static_cast<std::uint32_t>(std::stoul(m[1])),
                            static_cast<std::uint32_t>(std::stoul(m[4])), std::stoll(m[2]), std::stoi(m[6]),
                            m[3], m[5], m[7]});
    }
  }
  return all;
}

}  // namespace testing_support
