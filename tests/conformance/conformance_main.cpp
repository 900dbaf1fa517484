// Entry point of the conformance checks. On the sim each run gets a machine of its own in a
// temporary root; on Windows the checks run against the real system.
#include <gtest/gtest.h>

#ifndef _WIN32
#include <stdlib.h>

#include <filesystem>
#include <string>
#endif

#include <chrono>
#include <cstdlib>
#include <cstring>
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
    if (platform::GetLastError() != ERROR_SHARING_VIOLATION || attempt == 60000) {
      return 1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (hold || (argc > 1 && std::strcmp(argv[1], "--conformance-linger") == 0)) {
    std::this_thread::sleep_for(std::chrono::minutes(5));
    return 0;
  }
  conformance::selfPath = argv[0];
  if (argc > 1 && conformance::runAsChild(argv[1])) {
    return 0;
  }
  ::testing::InitGoogleTest(&argc, argv);
#ifndef _WIN32
  std::string pattern =
      (std::filesystem::temp_directory_path() / "kestrine-conformance-XXXXXX").string();
  if (!::mkdtemp(pattern.data())) {
    return 2;
  }
  ::setenv("KESTRINE_SIM_ROOT", pattern.c_str(), 1);
  const int status = RUN_ALL_TESTS();
  std::error_code ec;
  std::filesystem::remove_all(pattern, ec);
  return status;
#else
  return RUN_ALL_TESTS();
#endif
}
