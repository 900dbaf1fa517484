// The verdict read from the tool's lines: passes repeated until the request's limit count once,
// only the last pass counts, both log formats are read, and a document logged across lines is
// never taken for the tool's own lines.
#include "tools/peer/tool_verdict.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/peer/tool_log.h"

namespace {

// The tool's console form of one message.
std::string console(const std::string& level, const std::string& message) {
  return "0001 *> [Category   0, " + std::string(12 - level.size() - 4, ' ') + level +
         std::string(8 - level.size(), ' ') + "]       0 : " + message + "\n";
}

std::string file(const std::string& level, const std::string& message) {
  return "[4312  ] 2026-03-05T07:09:02.041Z 1532     00000000-0000-0000-0000-000000000000 0     <" +
         level + ">" + std::string(9 - level.size(), ' ') + "0           " + message + "\n";
}

const std::string kValidated = "Restored initial device gamma ramps and successfully validated restoration";
const std::string kPassFailed = "Failed to restore initial gamma ramps for one or more displays";

// A pass in which the first display is validated and the second fails its five attempts.
std::string failingPass(std::string (*form)(const std::string&, const std::string&)) {
  std::string text = form("DEBUG", kValidated);
  for (int attempt = 0; attempt < 5; ++attempt) {
    text += form("ERROR", "Failed to restore device gamma ramp! (attempt = " + std::to_string(attempt) + ")");
  }
  return text + form("ERROR", kPassFailed);
}

struct RestoreCase {
  const char* name;
  std::string text;
  std::size_t held;
  std::string described;
};

class RestoreVerdictTest : public ::testing::TestWithParam<RestoreCase> {};

TEST_P(RestoreVerdictTest, CountsTheLastPass) {
  const auto verdict = peer::judgeRestore(peer::readToolLines(GetParam().text), GetParam().held);
  EXPECT_EQ(peer::describeRestore(verdict), GetParam().described);
  EXPECT_EQ(verdict.allValidated(), GetParam().described == "2 of 2 validated");
}

INSTANTIATE_TEST_SUITE_P(Cases, RestoreVerdictTest, ::testing::Values(
    RestoreCase{"clean", console("INFO", "Received \"{\n  \"x\" : \"" + console("DEBUG", kValidated) + "\"") +
                             console("DEBUG", kValidated) + console("DEBUG", kValidated) +
                             console("DEBUG", "Request to restore succeeded"), 2, "2 of 2 validated"},
    RestoreCase{"oneDisplayFailsEveryPass", failingPass(console) + failingPass(console) + failingPass(console) +
                             console("DEBUG", "Request to restore failed"), 2, "restore FAILED, 1 of 2 validated"},
    RestoreCase{"inTheLogFile", failingPass(file) + file("DEBUG", kValidated) + file("DEBUG", kValidated) +
                             file("DEBUG", "Request to restore succeeded"), 2, "2 of 2 validated"},
    RestoreCase{"displayMissingFromTheDocument", console("DEBUG", kValidated) + console("DEBUG", kValidated) +
                             console("DEBUG", "Request to restore succeeded"), 3, "restore FAILED, 2 of 3 validated"},
    RestoreCase{"noRequest", console("ERROR", "Failed to parse input"), 2,
                "restore FAILED, the tool reported no restore request, 0 of 2 validated"},
    RestoreCase{"endedWithinANewPass", failingPass(console) + console("ERROR", "Failed to restore device gamma ramp! (attempt = 0)"),
                2, "restore FAILED, the tool reported no restore request, 0 of 2 validated"},
    RestoreCase{"nothingHeard", "", 2, "restore UNCONFIRMED: no line of the tool reached the peer"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SaveVerdictTest, NamesEachRefusedDisplayOnceAcrossRepeatedPasses) {
  std::string text = console("DEBUG", "Request to blank succeeded");
  EXPECT_EQ(peer::describeSave(peer::judgeSave(peer::readToolLines(text))), "blank succeeded");
  text.clear();
  for (int pass = 0; pass < 3; ++pass) {
    text += file("ERROR", "Failed to set gamma ramp for \\\\.\\DISPLAY1 display") +
            file("ERROR", "Failed to set gamma ramp for \\\\.\\DISPLAY2 display") +
            file("ERROR", "Failed to set blanking gamma ramps for one or more displays");
  }
  text += file("DEBUG", "Request to blank failed");
  EXPECT_EQ(peer::describeSave(peer::judgeSave(peer::readToolLines(text))),
            "blank FAILED: the system refused the dark ramp for \\\\.\\DISPLAY1, \\\\.\\DISPLAY2");
}

TEST(ToolLogTest, OnlyTheToolsOwnFileNamesOfThatBaseCount) {
  EXPECT_TRUE(peer::isToolLogFileName("restore_2026_03_05T07_09_02_041Z.txt", "restore"));
  EXPECT_TRUE(peer::isToolLogFileName("k.log_2026_03_05T07_09_02_041Z.txt", "k.log"));
  for (const char* other : {"restore_2026_03_05T07_09_02_041Z.txt.bak", "restore2_2026_03_05T07_09_02_041Z.txt",
                            "restore_2026_03_05T07_09_02_04xZ.txt", "restore.txt"}) {
    EXPECT_FALSE(peer::isToolLogFileName(other, "restore")) << other;
  }
}

}  // namespace
