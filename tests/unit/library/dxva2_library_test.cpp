#include "library/dxva2_library.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "platform/errors.h"
#include "tests/unit/library/library_fixture.h"

namespace {

using library_test::LibraryTest;
using library_test::messageOf;
using velmo::Dxva2Library;

using Dxva2LibraryTest = LibraryTest;

TEST_F(Dxva2LibraryTest, BindsAllEightAndUnloadsOnceOnDestruction) {
  auto library = std::make_unique<Dxva2Library>(subLogger());
  EXPECT_EQ(callCount("GetProcAddress"), 8u);
  EXPECT_EQ(callCount("LoadLibraryExW"), 2u);
  EXPECT_EQ(callCount("FreeLibrary"), 1u);

  // The machine has no DDC/CI monitor: no physical monitors, and no handle is one.
  DWORD count = 5;
  EXPECT_NE(library->getNumberOfPhysicalMonitorsFromHMONITOR(nullptr, &count), 0);
  EXPECT_EQ(count, 0u);
  DWORD length = 0;
  EXPECT_EQ(library->getCapabilitiesStringLength(nullptr, &length), 0);
  EXPECT_EQ(platform::GetLastError(), ERROR_GRAPHICS_INVALID_PHYSICAL_MONITOR_HANDLE);

  library.reset();
  EXPECT_EQ(callCount("FreeLibrary"), 2u);
}

class MissingExport : public LibraryTest, public ::testing::WithParamInterface<int> {};

TEST_P(MissingExport, StopsTheBindingAtItsSlotAndNamesIt) {
  const std::string missing = sim::defaultDxva2Library().exports[GetParam()];
  changeDxva2([&](sim::SimLibrary& library) {
    library.exports.erase(library.exports.begin() + GetParam());
  });
  EXPECT_EQ(messageOf<std::runtime_error>([&] { Dxva2Library library(subLogger()); }),
            "Failed to load function: " + missing);
  EXPECT_EQ(callCount("GetProcAddress"), static_cast<std::size_t>(GetParam()) + 1);
  EXPECT_EQ(callCount("FreeLibrary"), 2u) << "the library goes with the failed binding";
}

INSTANTIATE_TEST_SUITE_P(Slots, MissingExport, ::testing::Range(0, 8));

// A refused or missing library reaches the caller as the loader's exception, before any binding.
TEST_F(Dxva2LibraryTest, LoaderFailureReachesTheCallerUnchanged) {
  ASSERT_TRUE(sim::removeSystem32Library("dxva2.dll"));
  EXPECT_EQ(messageOf<std::runtime_error>([&] { Dxva2Library library(subLogger()); }),
            "Failed to load the library: error code = 126");
  EXPECT_EQ(callCount("GetProcAddress"), 0u);
}

}  // namespace
