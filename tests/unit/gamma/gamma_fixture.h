// Shared ground of the gamma tests: a fresh simulated machine, a virtual clock so that the gamma
// save's sleeps cost no time, a recording logger, and short ways to shape the displays.
#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "blanking/gamma/gamma_ramp.h"
#include "platform/sim/displays/display_state.h"
#include "tests/support/recording_logger.h"
#include "tests/support/sim_test.h"
#include "tests/support/virtual_clock.h"

namespace gamma_test {

inline const std::string kDisplay1 = "\\\\.\\DISPLAY1";
inline const std::string kDisplay2 = "\\\\.\\DISPLAY2";

inline sim::RampWords toWords(const GammaRamp& ramp) {
  sim::RampWords words{};
  std::memcpy(words.data(), &ramp, sizeof ramp);
  return words;
}

inline GammaRamp linearRamp() {
  GammaRamp ramp{};
  setLinearRamp(ramp);
  return ramp;
}

inline bool isDark(const sim::RampWords& words) {
  for (const WORD word : words) {
    if (word != 0) {
      return false;
    }
  }
  return true;
}

class GammaTest : public testing_support::SimTest {
 protected:
  // The clock's hooks go in after SimTest has cleared all hooks.
  void SetUp() override {
    SimTest::SetUp();
    clock = std::make_unique<testing_support::VirtualClock>();
  }
  void TearDown() override {
    clock.reset();
    SimTest::TearDown();
  }

  // The ramp the simulated display holds now.
  static sim::RampWords deviceRamp(const std::string& name) { return sim::loadDisplay(name)->ramp; }

  static void changeDisplay(const std::string& name,
                            const std::function<void(sim::SimDisplay&)>& change) {
    ASSERT_TRUE(sim::updateDisplay(name, change)) << name;
  }

  std::unique_ptr<velmo::logging::LoggerBase> subLogger() {
    return log.createCategoryLogger(velmo::logging::kInheritCategory);
  }

  std::size_t callCount(const std::string& operation) const {
    return sim::test::callsOf(operation).size();
  }

  std::unique_ptr<testing_support::VirtualClock> clock;
  testing_support::RecordingLogger log;
};

}  // namespace gamma_test
