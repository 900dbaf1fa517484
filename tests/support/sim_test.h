// Fixture for tests on the sim: a fresh machine in a temporary root, no hooks, an empty call
// log, and at the end no handle left open.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "platform/sim/core/test_api.h"
#include "tests/support/recording_logger.h"

namespace testing_support {

class SimTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = std::filesystem::temp_directory_path() / "kestrine-test-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    simRoot = pattern;
    ::setenv("KESTRINE_SIM_ROOT", simRoot.c_str(), 1);
    sim::test::clearHooks();
    sim::test::clearCalls();
    sim::test::recordCalls(true);
  }

  void TearDown() override {
    sim::test::clearHooks();
    sim::test::recordCalls(false);
    sim::test::clearCalls();
    EXPECT_EQ(sim::test::openHandleCount(), 0u) << "a handle was left open";
    std::error_code ec;
    std::filesystem::remove_all(simRoot, ec);
  }

  std::filesystem::path simRoot;
};

// The same, with a logger that keeps every record; the object under test gets a sub-logger of it.
class LoggedSimTest : public SimTest {
 protected:
  std::unique_ptr<velmo::logging::LoggerBase> subLogger() {
    return log.createCategoryLogger(velmo::logging::kInheritCategory);
  }
  static std::size_t callCount(const std::string& operation) { return sim::test::callsOf(operation).size(); }

  RecordingLogger log;
};

}  // namespace testing_support
