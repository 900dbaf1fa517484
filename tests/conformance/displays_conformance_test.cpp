// What the program relies on of display listing, device contexts and gamma ramps. Under Wine the
// displays are the outputs of an X server (the test scripts start Xorg with the dummy driver).
// Wine without an X server lists an adapter but reads no ramp: scripts/wine-run.sh then sets
// KESTRINE_DISPLAY_SKIP to the reason, and the checks that need a display driver skip with it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/owned_handles.h"
#include "platform/displays.h"
#include "tests/conformance/conformance_self.h"

#define SKIP_WITHOUT_DISPLAY_DRIVER()                              \
  if (const char* reason = std::getenv("KESTRINE_DISPLAY_SKIP")) { \
    GTEST_SKIP() << reason;                                        \
  }

namespace {

using conformance::runningUnderWine;

constexpr DWORD kListingBound = 64;
using Ramp = std::array<WORD, 768>;  // red, green, blue: 256 words each
using velmo::DeviceContext;

// Entry `index` of the listing for `device` (null: the adapters) into `entry`; false past its end.
bool listed(const char* device, std::size_t index, DISPLAY_DEVICEA& entry) {
  entry = DISPLAY_DEVICEA{};
  entry.cb = sizeof entry;
  return platform::EnumDisplayDevicesA(device, static_cast<DWORD>(index), &entry, 0) != FALSE;
}

// The entries listed for `device`, up to the first index that gives 0 (at most kListingBound).
std::vector<DISPLAY_DEVICEA> listDevices(const char* device) {
  std::vector<DISPLAY_DEVICEA> entries(1);
  while (entries.size() <= kListingBound && listed(device, entries.size() - 1, entries.back())) {
    entries.emplace_back();
  }
  entries.pop_back();
  return entries;
}

DeviceContext openDisplay(const std::string& name) {
  return DeviceContext(platform::CreateDCA("DISPLAY", name.c_str(), nullptr, nullptr));
}

// The ramp of a screen gamma (red, green, blue): 65535 * (i / 255) ^ (1 / gamma). A gamma of 1
// gives the identity ramp, 257 * i.
Ramp gammaRamp(const std::array<double, 3>& gammas) {
  Ramp ramp{};
  for (std::size_t i = 0; i < ramp.size(); ++i) {
    ramp[i] = static_cast<WORD>(std::lround(
        65535.0 * std::pow(static_cast<double>(i % 256) / 255.0, 1.0 / gammas[i / 256])));
  }
  return ramp;
}

// The adapter listing ends with a 0 and names adapters "\\.\..."; an unknown display has no
// monitor. (The program takes names as the listing gives them, and asks a display for its
// first monitor only.)
TEST(DisplaysConformance, ListingEndsAndNamesTheAdapters) {
  const std::vector<DISPLAY_DEVICEA> adapters = listDevices(nullptr);
  ASSERT_LT(adapters.size(), kListingBound) << "the listing must end";
  for (const DISPLAY_DEVICEA& adapter : adapters) {
    EXPECT_EQ(std::string(adapter.DeviceName).rfind("\\\\.\\", 0), 0u) << adapter.DeviceName;
  }
  DISPLAY_DEVICEA device;
  EXPECT_FALSE(listed("\\\\.\\DISPLAY99", 0, device));
}

// Exactly one adapter is the primary, and it is attached to the desktop. A device context for
// each attached display, and none for an unknown driver. Wine departs from Windows for an
// unknown display name: it gives a context for any name (its display driver takes no device
// name into account), where Windows and the sim give none.
TEST(DisplaysConformance, OnePrimaryAndAContextForEachAttachedDisplay) {
  SKIP_WITHOUT_DISPLAY_DRIVER();
  const bool anyName = conformance::runningUnderWine();
  std::vector<std::pair<std::string, bool>> cases = {{"\\\\.\\DISPLAY99", anyName}};
  int primaries = 0;
  for (const DISPLAY_DEVICEA& adapter : listDevices(nullptr)) {
    const bool primary = adapter.StateFlags & DISPLAY_DEVICE_PRIMARY_DEVICE;
    const bool attached = adapter.StateFlags & DISPLAY_DEVICE_ATTACHED_TO_DESKTOP;
    primaries += primary ? 1 : 0;
    EXPECT_TRUE(attached || !primary) << adapter.DeviceName;
    if (attached) cases.emplace_back(adapter.DeviceName, true);
  }
  EXPECT_EQ(primaries, 1);
  for (const auto& [name, context] : cases) EXPECT_EQ(static_cast<bool>(openDisplay(name)), context) << name;
  EXPECT_EQ(platform::CreateDCA("KESTRINE_NO_SUCH_DRIVER", nullptr, nullptr, nullptr), nullptr);
}

// What a display holds is read as it is: the fresh sim holds the identity ramp; under Wine the
// test scripts give the X screen the gamma in KESTRINE_X_GAMMA ("R:G:B"), and the X server keeps
// its ramps to 8 bits (a step of 257).
// A ramp that is set reads back word for word, with two exceptions. The all-zero ramp is refused
// on Windows unless the machine allows any ramp (GdiIcmGammaRange 256), and always by Wine; the
// sim is a machine that allows it, as the program needs to blank. Wine departs from Windows in
// keeping a gamma value, not the ramp: a ramp that is not a power curve, such as the linear ramp
// 255 * i, reads back as the nearest gamma's ramp. The identity ramp comes last and stays.
TEST(DisplaysConformance, RampsReadAsHeldAndSetOnesReadBackButUnderWineOnlyAsAGammaCurve) {
  SKIP_WITHOUT_DISPLAY_DRIVER();
#ifdef _WIN32
  constexpr bool kAllZeroAccepted = false;
#else
  constexpr bool kAllZeroAccepted = true;
#endif
  std::array<double, 3> gammas = {1.0, 1.0, 1.0};
  int tolerance = 0;
  if (const char* given = std::getenv("KESTRINE_X_GAMMA")) {
    ASSERT_EQ(std::sscanf(given, "%lf:%lf:%lf", &gammas[0], &gammas[1], &gammas[2]), 3) << given;
    tolerance = 257;
  }
  Ramp linear{};
  for (std::size_t i = 0; i < linear.size(); ++i) linear[i] = static_cast<WORD>(255 * (i % 256));
  const struct { const char* what; Ramp ramp; bool accepted, exact; } cases[] = {
      {"all zero", Ramp{}, kAllZeroAccepted, true},
      {"linear", linear, true, !conformance::runningUnderWine()},
      {"identity", gammaRamp({1.0, 1.0, 1.0}), true, true}};
  // Under Wine every output shares the screen's one gamma, so every display is read before any
  // is set.
  std::vector<std::pair<std::string, DeviceContext>> displays;
  for (const DISPLAY_DEVICEA& adapter : listDevices(nullptr)) {
    if (adapter.StateFlags & DISPLAY_DEVICE_ATTACHED_TO_DESKTOP) {
      displays.emplace_back(adapter.DeviceName, openDisplay(adapter.DeviceName));
      ASSERT_TRUE(displays.back().second) << adapter.DeviceName;
    }
  }
  const Ramp held = gammaRamp(gammas);
  for (const auto& [name, context] : displays) {
    Ramp ramp{};
    ASSERT_NE(platform::GetDeviceGammaRamp(context.get(), ramp.data()), FALSE) << name;
    EXPECT_TRUE(std::equal(ramp.begin(), ramp.end(), held.begin(),
                           [&](int a, int b) { return std::abs(a - b) <= tolerance; })) << name;
  }
  for (const auto& [name, context] : displays) {
    for (const auto& c : cases) {
      Ramp ramp = c.ramp;
      ASSERT_EQ(platform::SetDeviceGammaRamp(context.get(), ramp.data()) != FALSE, c.accepted)
          << name << ", " << c.what;
      if (c.accepted) {
        ASSERT_NE(platform::GetDeviceGammaRamp(context.get(), ramp.data()), FALSE);
        EXPECT_EQ(ramp == c.ramp, c.exact) << name << ", " << c.what;
      }
    }
  }
}

}  // namespace
