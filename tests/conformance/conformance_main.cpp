// Entry point of the conformance checks. Every run works in a fresh temporary directory, which is
// also its working directory, so that the files the checks make never land in the source tree or
// the build tree. On the sim that directory is also the root of a machine of its own; on Windows
// the checks run against the real system.
#include <gtest/gtest.h>

#ifndef _WIN32
#include <stdlib.h>
#endif

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>
#include <thread>

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "tests/conformance/conformance_self.h"

namespace conformance {
std::string selfPath;
}  // namespace conformance

int main(int argc, char** argv) {
  // Started by a check as a child process: end at once with the given status.
  constexpr const char kExitFlag[] = "--conformance-exit=";
  if (argc > 1 && std::strncmp(argv[1], kExitFlag, sizeof kExitFlag - 1) == 0) {
    return std::atoi(argv[1] + sizeof kExitFlag - 1);
  }
  // Started by a check that ends it: wait long enough never to end by itself during the check,
  // holding the given file open without sharing it. The check looks into the file meanwhile, so
  // an open refused for sharing is tried again (for at most a minute).
  constexpr const char kHoldFlag[] = "--conformance-hold=";
  const bool hold = argc > 1 && std::strncmp(argv[1], kHoldFlag, sizeof kHoldFlag - 1) == 0;
  for (int attempt = 0; hold; ++attempt) {
    if (platform::CreateFileW(velmo::utf8ToWide(argv[1] + sizeof kHoldFlag - 1).c_str(), GENERIC_READ, 0,
                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr) != INVALID_HANDLE_VALUE) {
      break;
    }
    if (platform::GetLastError() != ERROR_SHARING_VIOLATION || attempt == 60000) return 1;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (hold || (argc > 1 && std::strcmp(argv[1], "--conformance-linger") == 0)) {
    std::this_thread::sleep_for(std::chrono::minutes(5));
    return 0;
  }
  // Absolute, as the working directory changes below.
  conformance::selfPath = std::filesystem::absolute(argv[0]).string();
  if (argc > 1 && conformance::runAsChild(argv[1])) return 0;
  ::testing::InitGoogleTest(&argc, argv);
  std::filesystem::path scratch;
  std::random_device seed;
  for (int attempt = 0; attempt < 100 && scratch.empty(); ++attempt) {
    const auto candidate =
        std::filesystem::temp_directory_path() / ("kestrine-conformance-" + std::to_string(seed()));
    std::error_code ec;
    if (std::filesystem::create_directory(candidate, ec)) scratch = candidate;
  }
  if (scratch.empty()) return 2;
#ifndef _WIN32
  ::setenv("KESTRINE_SIM_ROOT", scratch.string().c_str(), 1);
#endif
  // The checks' own files go beside the sim's machine, never into it.
  std::filesystem::create_directory(scratch / "files");
  std::filesystem::current_path(scratch / "files");
  const int status = RUN_ALL_TESTS();
  std::error_code ec;
  std::filesystem::current_path(scratch.parent_path(), ec);
  std::filesystem::remove_all(scratch, ec);
  return status;
}
