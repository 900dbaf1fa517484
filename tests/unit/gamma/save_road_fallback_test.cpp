// A display whose save fails is blanked all the same. On the save road the document is taken
// before the blank, so it records that display as unsaved, and a restore from it leaves it dark.
#include <json/value.h>

#include "blanking/gamma/windows_gamma_blanker.h"
#include "tests/unit/gamma/gamma_fixture.h"

namespace {

using gamma_test::kDisplay1;
using SaveRoadTest = gamma_test::GammaTest;

TEST_F(SaveRoadTest, ADisplayWithoutAStableRampStaysDarkAfterTheRestore) {
  changeDisplay(kDisplay1, [](sim::SimDisplay& d) { d.faults[sim::kChanging.word] = 0; });
  WindowsGammaBlanker save(subLogger(), Json::Value(), false);
  const Json::Value document = save.toJson();  // what main sends, taken before the blank
  ASSERT_TRUE(save.blank());
  changeDisplay(kDisplay1, [](sim::SimDisplay& d) { d.faults.erase(sim::kChanging.word); });

  WindowsGammaBlanker restore(subLogger(), document, true);
  EXPECT_FALSE(document[0]["initialGammasSaved"].asBool());
  EXPECT_FALSE(restore.restore());
  EXPECT_TRUE(gamma_test::isDark(kDisplay1));
  EXPECT_EQ(gamma_test::deviceRamp(gamma_test::kDisplay2), sim::identityRamp());
  EXPECT_EQ(log.count("Skipping gamma restoration on display: initial gamma was not saved"), 1u);
}

}  // namespace
