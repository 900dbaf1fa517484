// Shared ground of the monitor power tests: the test access to the screen blanker, which starts
// it with DPMSBlanking offered and calls its power members, and a fixture on a fresh simulated
// machine with the default DDC/CI monitors.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "blanking/windows_screen_blanker.h"
#include "platform/monitor_configuration.h"
#include "platform/sim/monitors/dxva2_exports.h"
#include "platform/sim/monitors/monitor_state.h"
#include "platform/sim/monitors/physical_monitor_handles.h"
#include "platform/sim/core/test_api.h"
#include "tests/support/eventually.h"
#include "tests/support/recording_logger.h"
#include "tests/support/sim_test.h"
#include "tests/support/virtual_clock.h"

// The one way into the power method: the program itself never offers it.
class WindowsScreenBlankerTestAccess {
 public:
  using Blanker = WindowsScreenBlanker;
  using Records = std::vector<PhysicalMonitorRecord>;
  static std::unique_ptr<Blanker> withPowerMethod(
      std::unique_ptr<velmo::logging::LoggerBase> logger, const std::string& document) {
    return std::unique_ptr<Blanker>(new Blanker(std::move(logger), document, true));
  }
  static bool enumerate(Blanker& b, bool read) { return b.enumeratePhysicalMonitors(read); }
  static const Records& physicalMonitors(Blanker& b) { return b.physicalMonitors; }
  static const Records& initialMonitors(Blanker& b) { return b.initialMonitors; }
  static bool apply(Blanker& b, std::uint32_t current, std::uint32_t requested, std::uint32_t& achieved) {
    return b.applyDPMSRequest(current, requested, achieved);
  }
  static bool restore(Blanker& b) { return b.restoreDPMS(); }
  static std::uint32_t failureCount(Blanker& b) { return b.dpmsFailureCount; }
  static std::uint32_t requestedMethods(Blanker& b) {
    std::lock_guard<std::mutex> lock(b.requestMutex);
    return b.requestedMethods;
  }
  static void setSavedStateLimit(Blanker& b, std::chrono::milliseconds limit) { b.savedStateLimit = limit; }
  static void setRequestedMethods(Blanker& b, std::uint32_t methods) {
    std::lock_guard<std::mutex> lock(b.requestMutex);
    b.requestedMethods = methods;
  }
};

namespace power_test {

using Access = WindowsScreenBlankerTestAccess;

constexpr const char* kDisplay1 = "\\\\.\\DISPLAY1";
constexpr const char* kDisplay2 = "\\\\.\\DISPLAY2";
using Modes = std::pair<DWORD, DWORD>;  // D6 of DISPLAY1 and DISPLAY2
constexpr std::uint32_t kBlankBoth = IOSScreenBlanker::GammaBlanking | IOSScreenBlanker::DPMSBlanking;

// The power members are called on the test's thread while the worker idles: it only acts on a
// posted request or while a blank is in force, and these tests post none unless they say so.
class PowerBlankerTest : public testing_support::SimTest {
 protected:
  // The blanker keeps its physical monitor handles to the end of the process; the test closes
  // them as the end of the process would. The restore-only option goes back to its start value.
  void TearDown() override {
    blanker.reset();
    std::vector<PHYSICAL_MONITOR> left;
    for (HANDLE handle : sim::test::openPhysicalMonitorHandles()) left.push_back({handle, {}});
    const auto destroy = reinterpret_cast<platform::DestroyPhysicalMonitorsFn>(
        reinterpret_cast<void (*)()>(sim::dxva2Export("DestroyPhysicalMonitors")));
    EXPECT_TRUE(left.empty() || destroy(static_cast<DWORD>(left.size()), left.data()));
    ScreenBlanker::setOption(0, false);
    SimTest::TearDown();
  }

  // Returns once the worker has logged its start, so that no line of the start comes later.
  WindowsScreenBlanker& make(const std::string& document = "") {
    const std::size_t started = root.count("Windows screen blanking started");
    blanker = Access::withPowerMethod(root.createCategoryLogger(velmo::logging::kInheritCategory), document);
    EXPECT_TRUE(testing_support::eventually(
        [&] { return root.count("Windows screen blanking started") > started; }));
    return *blanker;
  }

  static void changePhysical(const std::string& display,
                             const std::function<void(sim::SimPhysicalMonitor&)>& change) {
    ASSERT_TRUE(sim::updateMonitor(display, [&](sim::SimMonitor& m) { change(m.physical.at(0)); }));
  }
  // D6 of the first physical monitor of each display; 0 for a display without one.
  static Modes powerModes() {
    const auto mode = [](const char* display) -> DWORD {
      const std::optional<sim::SimMonitor> monitor = sim::loadMonitor(display);
      return monitor->physical.empty() ? 0 : monitor->physical.front().powerMode;
    };
    return {mode(kDisplay1), mode(kDisplay2)};
  }
  static std::size_t calls(const std::string& operation) {
    return sim::test::callsOf(operation).size();
  }
  std::size_t linesEqualTo(const std::string& message) const {
    const std::vector<std::string> all = root.messages();
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), message));
  }

  testing_support::VirtualClock clock;  // the gamma save's reads and sleeps cost no real time
  testing_support::RecordingLogger root;
  std::unique_ptr<WindowsScreenBlanker> blanker;
};

}  // namespace power_test
