// The monitor part of the display state document as a blanker writes it: descriptions escaped to
// pure ASCII, and the warning when the monitors were not recorded in time.
#include "tests/unit/power/power_blanker_fixture.h"

namespace {

using SavedDocumentTest = power_test::PowerBlankerTest;

TEST_F(SavedDocumentTest, WritesANonAsciiDescriptionAsEscapes) {
  changePhysical(power_test::kDisplay1,
                 [](sim::SimPhysicalMonitor& m) { m.description = "\xC3\x89" "cran \xE4\xB8\xAD"; });
  const std::string document = make().getSavedDisplayStates();
  EXPECT_NE(document.find("\"description\" : \"\\u00c9cran \\u4e2d\""), std::string::npos) << document;
  EXPECT_NE(document.find(R"("name" : "\\\\.\\DISPLAY1")"), std::string::npos) << document;
  EXPECT_TRUE(std::all_of(document.begin(), document.end(),
                          [](char c) { return static_cast<unsigned char>(c) < 0x80; }));
}

TEST_F(SavedDocumentTest, WarnsWhenNoMonitorsWereRecordedInTime) {
  ScreenBlanker::setOption(0, true);  // a restore records no monitors, so none ever come
  power_test::Access::setSavedStateLimit(make(), std::chrono::milliseconds(1));
  const std::string document = blanker->getSavedDisplayStates();
  EXPECT_EQ(linesEqualTo("Warning: Timeout waiting 4 sec for the display state save"), 1u);
  EXPECT_EQ(document.find("initialMonitors"), std::string::npos);
}

}  // namespace
