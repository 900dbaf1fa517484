// Shared ground of the gamma tests: a fresh simulated machine, a virtual clock so that the gamma
// save's sleeps cost no time, a recording logger, and short ways to shape the displays.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "blanking/gamma/gamma_ramp.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/displays/display_state.h"
#include "tests/support/sim_test.h"
#include "tests/support/virtual_clock.h"

namespace gamma_test {

using velmo::logging::DEBUG;
using velmo::logging::ERROR;
using velmo::logging::INFO;
using velmo::logging::kUnexpectedFailure;
using velmo::logging::LogLevel;

inline const std::string kDisplay1 = "\\\\.\\DISPLAY1";
inline const std::string kDisplay2 = "\\\\.\\DISPLAY2";

inline sim::RampWords toWords(const GammaRamp& ramp) {
  sim::RampWords words{};
  std::memcpy(words.data(), &ramp, sizeof ramp);
  return words;
}

// The ramp the simulated display holds now, and whether it is the all-zero blanking ramp.
inline sim::RampWords deviceRamp(const std::string& name) { return sim::loadDisplay(name)->ramp; }
inline bool isDark(const std::string& name) { return deviceRamp(name) == sim::RampWords{}; }

// The messages that hold `fragment`, in order; each is expected at `level` with `code`.
inline std::vector<std::string> linesWith(const testing_support::RecordingLogger& log,
                                          const std::string& fragment,
                                          velmo::logging::LogLevel level, std::int32_t code) {
  std::vector<std::string> found;
  for (const testing_support::LogRecord& record : log.records()) {
    if (record.message.find(fragment) != std::string::npos) {
      EXPECT_EQ(record.level, level) << record.message;
      EXPECT_EQ(record.resultCode, code) << record.message;
      found.push_back(record.message);
    }
  }
  return found;
}

class GammaTest : public testing_support::LoggedSimTest {
 protected:
  // The clock's hooks go in after SimTest has cleared all hooks.
  void SetUp() override {
    LoggedSimTest::SetUp();
    clock = std::make_unique<testing_support::VirtualClock>();
  }

  static void changeDisplay(const std::string& name, const std::function<void(sim::SimDisplay&)>& change) {
    ASSERT_TRUE(sim::updateDisplay(name, change)) << name;
  }

  std::unique_ptr<testing_support::VirtualClock> clock;
};

}  // namespace gamma_test
