// The display list, the shared device context and the monitor's state.
#include "blanking/gamma/gamma_displays.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/sim/core/test_api.h"
#include "tests/unit/gamma/gamma_fixture.h"

namespace {

using gamma_test::GammaTest;

std::vector<std::string> namesOf(const std::vector<GammaDisplay>& displays) {
  std::vector<std::string> names;
  for (const GammaDisplay& display : displays) {
    names.push_back(display.displayName);
  }
  return names;
}

// Displays DISPLAY1.. with the given adapter state flags.
void installDisplays(const std::vector<DWORD>& flags) {
  std::vector<sim::SimDisplay> displays = sim::defaultDisplays(flags.size());
  for (std::size_t i = 0; i < flags.size(); ++i) {
    displays[i].stateFlags = flags[i];
  }
  sim::replaceDisplays(displays);
}

TEST_F(GammaTest, MirroringDriversAreLeftOutAndOtherFlagsIgnored) {
  installDisplays({0x5, DISPLAY_DEVICE_MIRRORING_DRIVER | 0x1, 0x0, 0x1});
  const std::vector<GammaDisplay> displays = buildDisplayList(log, true);
  EXPECT_EQ(namesOf(displays), (std::vector<std::string>{"\\\\.\\DISPLAY1", "\\\\.\\DISPLAY3",
                                                         "\\\\.\\DISPLAY4"}));
}

TEST_F(GammaTest, DisplayWithoutDeviceContextStaysUnsavedAndSilent) {
  changeDisplay(gamma_test::kDisplay1, [](sim::SimDisplay& d) { d.faults.noDeviceContext = true; });
  const std::vector<GammaDisplay> displays = buildDisplayList(log, false);
  ASSERT_EQ(displays.size(), 2u);
  EXPECT_FALSE(displays[0].initialGammasSaved);
  EXPECT_EQ(gamma_test::toWords(displays[0].initialGammas), sim::RampWords{});
  EXPECT_TRUE(displays[1].initialGammasSaved);
  EXPECT_EQ(gamma_test::toWords(displays[1].initialGammas), sim::identityRamp());
  // Only the second display's save speaks.
  EXPECT_EQ(log.messages(), (std::vector<std::string>{
                                "Initial gammas successfully saved.; RGB brightness (65535, 65535, 65535)"}));
}

struct ActiveCase {
  std::string name;
  std::string displayName;
  bool noDeviceContext;
  bool turnedOff;
  bool active;
};

class DisplayActiveTest : public GammaTest, public ::testing::WithParamInterface<ActiveCase> {};

TEST_P(DisplayActiveTest, FollowsTheMonitorEntry) {
  const ActiveCase& c = GetParam();
  changeDisplay(gamma_test::kDisplay1, [&c](sim::SimDisplay& d) {
    d.faults.noDeviceContext = c.noDeviceContext;
    d.faults.turnedOff = c.turnedOff;
  });
  GammaDisplay display;
  display.displayName = c.displayName;
  EXPECT_EQ(isDisplayActive(display), c.active);
}

INSTANTIATE_TEST_SUITE_P(
    Monitors, DisplayActiveTest,
    ::testing::Values(ActiveCase{"On", gamma_test::kDisplay1, false, false, true},
                      ActiveCase{"OnWithoutDeviceContext", gamma_test::kDisplay1, true, false, true},
                      ActiveCase{"TurnedOff", gamma_test::kDisplay1, false, true, false},
                      ActiveCase{"UnknownDisplay", "\\\\.\\DISPLAY9", false, false, false}),
    [](const ::testing::TestParamInfo<ActiveCase>& info) { return info.param.name; });

TEST_F(GammaTest, SharedDeviceContextIsDeletedOnceWithItsLastCopy) {
  std::shared_ptr<HDC__> first = makeSharedHDC(gamma_test::kDisplay1);
  ASSERT_TRUE(first);
  std::shared_ptr<HDC__> second = first;
  first.reset();
  EXPECT_EQ(sim::test::openHandleCount(), 1u);
  second.reset();
  EXPECT_EQ(sim::test::openHandleCount(), 0u);
  EXPECT_EQ(callCount("DeleteDC"), 1u);
  EXPECT_FALSE(makeSharedHDC("\\\\.\\DISPLAY9"));
}

TEST_F(GammaTest, LinearRampAndItsBrightnessLine) {
  const GammaRamp ramp = gamma_test::linearRamp();
  for (const auto* channel : {&ramp.red, &ramp.green, &ramp.blue}) {
    EXPECT_EQ((*channel)[0], 0);
    EXPECT_EQ((*channel)[1], 255);
    EXPECT_EQ((*channel)[255], 65025);
  }
  logGammaBrightness(ramp, log, "x");
  ASSERT_EQ(log.records().size(), 1u);
  EXPECT_EQ(log.records()[0].message, "x; RGB brightness (65025, 65025, 65025)");
  EXPECT_EQ(log.records()[0].level, velmo::logging::DEBUG);
}

}  // namespace
