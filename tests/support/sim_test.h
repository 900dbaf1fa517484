// Fixture for tests on the sim: a fresh machine in a temporary root, no hooks, an empty call
// log, and at the end no handle left open.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace testing_support {

class SimTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::filesystem::path simRoot;
};

}  // namespace testing_support
