// The binding of the eight monitor functions; the power tests call them through the blanker.
#include "library/dxva2_library.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "tests/unit/library/library_fixture.h"

namespace {

using velmo::Dxva2Library;

class Dxva2LibraryTest : public library_test::LibraryTest, public ::testing::WithParamInterface<int> {};

TEST_F(Dxva2LibraryTest, BindsAllEightAndUnloadsOnceOnDestruction) {
  auto library = std::make_unique<Dxva2Library>(subLogger());
  EXPECT_EQ(callCount("GetProcAddress"), 8u);
  EXPECT_EQ(callCount("LoadLibraryExW"), 2u);
  EXPECT_EQ(callCount("FreeLibrary"), 1u);
  library.reset();
  EXPECT_EQ(callCount("FreeLibrary"), 2u);
}

TEST_P(Dxva2LibraryTest, MissingExportStopsTheBindingAtItsSlotAndIsNamed) {
  const std::string missing = sim::defaultDxva2Library().exports[GetParam()];
  library_test::changeDxva2([&](sim::SimLibrary& library) {
    library.exports.erase(library.exports.begin() + GetParam());
  });
  EXPECT_EQ(library_test::messageOf<std::runtime_error>([&] { Dxva2Library library(subLogger()); }),
            "Failed to load function: " + missing);
  EXPECT_EQ(callCount("GetProcAddress"), static_cast<std::size_t>(GetParam()) + 1);
  EXPECT_EQ(callCount("FreeLibrary"), 2u) << "the library goes with the failed binding";
}

INSTANTIATE_TEST_SUITE_P(Slots, Dxva2LibraryTest, ::testing::Range(0, 8));

}  // namespace
