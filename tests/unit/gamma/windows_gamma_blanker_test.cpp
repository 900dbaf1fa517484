// The gamma blanker over simulated displays: its blank and restore passes, and the "GammaBlanking"
// value of the display state document it writes and reads.
#include "blanking/gamma/windows_gamma_blanker.h"

#include <optional>
#include <stdexcept>

#include "platform/displays.h"
#include "tests/unit/gamma/gamma_fixture.h"
#include "tests/unit/library/message_of.h"

namespace {

using namespace gamma_test;

const std::string kBlankSummary = "Failed to set blanking gamma ramps for one or more displays";
const std::string kRestoreSummary = "Failed to restore initial gamma ramps for one or more displays";

TEST_F(GammaTest, ConstructionNeedsALogger) {
  EXPECT_EQ(library_test::messageOf<std::invalid_argument>(
                [] { WindowsGammaBlanker blanker(nullptr, Json::Value(), false); }),
            "Windows gamma blanker requires a logger");
}

TEST_F(GammaTest, SaveBlankAndRestoreBringTheRampsBack) {
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  const std::size_t readsAtConstruction = callCount("GetDeviceGammaRamp");

  EXPECT_TRUE(blanker.blank());
  EXPECT_TRUE(blanker.blank());
  EXPECT_TRUE(isDark(kDisplay1) && isDark(kDisplay2));
  EXPECT_EQ(callCount("GetDeviceGammaRamp"), readsAtConstruction) << "saved once, at construction";

  EXPECT_TRUE(blanker.restore());
  EXPECT_EQ(deviceRamp(kDisplay1), sim::identityRamp());
  EXPECT_EQ(deviceRamp(kDisplay2), sim::identityRamp());
  EXPECT_EQ(log.count("Restored Gammas; RGB brightness (65535, 65535, 65535)"), 2u);
  EXPECT_FALSE(log.contains("Failed"));
}

TEST_F(GammaTest, FailingDisplayDoesNotStopTheBlankPass) {
  changeDisplay(kDisplay1, [](sim::SimDisplay& d) { d.faults[sim::kSetFails.word] = 87; });
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  EXPECT_FALSE(blanker.blank());
  EXPECT_TRUE(isDark(kDisplay2));
  EXPECT_EQ(linesWith(log, "Failed to set gamma ramp for \\\\.\\DISPLAY1 display", ERROR, 87).size(), 1u);
  EXPECT_EQ(linesWith(log, kBlankSummary, ERROR, kUnexpectedFailure).size(), 1u);
  EXPECT_EQ(log.records().back().message, kBlankSummary);
}

// blank (true) and restore (false) treat a turned-off display and one without a context alike.
class GammaPassTest : public GammaTest, public ::testing::WithParamInterface<bool> {
 protected:
  bool run(WindowsGammaBlanker& blanker) { return GetParam() ? blanker.blank() : blanker.restore(); }
  const std::string& summary() { return GetParam() ? kBlankSummary : kRestoreSummary; }
};

TEST_P(GammaPassTest, TurnedOffDisplayIsToldOnceUntilItComesBack) {
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  // Each pass runs with DISPLAY1 on (false) or turned off (true), and must succeed.
  for (const bool off : {true, true, true, true, false, true, true}) {
    changeDisplay(kDisplay1, [off](sim::SimDisplay& d) { d.faults.clear(); if (off) d.faults[sim::kTurnedOff.word] = 0; });
    EXPECT_TRUE(run(blanker));
  }
  const std::string notice = std::string("Could not ") + (GetParam() ? "blank" : "restore") +
                             " display \\\\.\\DISPLAY1 because it is turned off, skipping";
  EXPECT_EQ(linesWith(log, notice, DEBUG, 0).size(), 2u);
  EXPECT_FALSE(log.contains(summary()));
}

TEST_P(GammaPassTest, ActiveDisplayWithoutDeviceContextFailsThePass) {
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  changeDisplay(kDisplay1, [](sim::SimDisplay& d) { d.faults[sim::kNoDeviceContext.word] = 0; });
  EXPECT_FALSE(run(blanker));
  EXPECT_EQ(linesWith(log, "Failed to create device context for display \\\\.\\DISPLAY1", ERROR,
                      kUnexpectedFailure).size(), 1u);
  EXPECT_EQ(log.count(summary()), 1u);
  EXPECT_EQ(callCount("SetDeviceGammaRamp"), 1u) << "the second display is still done";
}

INSTANTIATE_TEST_SUITE_P(BlankAndRestore, GammaPassTest, ::testing::Bool());

// A restore in which every attempt on DISPLAY1 fails in one way.
// When numbered, each attempt's line is `line`, the attempt's number and ")".
struct RestoreFailure { std::string name; std::function<void(sim::SimDisplay&)> fault; std::string line;
                        bool numbered; LogLevel level; std::int32_t resultCode; };

class GammaRestoreFailureTest : public GammaTest, public ::testing::WithParamInterface<RestoreFailure> {};

TEST_P(GammaRestoreFailureTest, FiveAttemptsThenFailure) {
  const RestoreFailure& c = GetParam();
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  changeDisplay(kDisplay1, c.fault);
  sim::test::clearCalls();

  EXPECT_FALSE(blanker.restore());

  EXPECT_EQ(callCount("SetDeviceGammaRamp"), 5u + 1u) << "five on DISPLAY1, one on DISPLAY2";
  std::vector<std::string> expected;
  for (int attempt = 0; attempt < 5; ++attempt) {
    expected.push_back(c.numbered ? c.line + std::to_string(attempt) + ")" : c.line);
  }
  EXPECT_EQ(linesWith(log, c.line, c.level, c.resultCode), expected);
  EXPECT_EQ(log.records().back().message, kRestoreSummary);
  EXPECT_EQ(deviceRamp(kDisplay2), sim::identityRamp());
}

INSTANTIATE_TEST_SUITE_P(
    Faults, GammaRestoreFailureTest,
    ::testing::Values(
        RestoreFailure{"SetFails",
                       [](sim::SimDisplay& d) { d.faults[sim::kSetFails.word] = 1234; },
                       "Failed to restore device gamma ramp! (attempt = ", true, ERROR, 1234},
        RestoreFailure{"ReadBackFails", [](sim::SimDisplay& d) { d.faults[sim::kGetFails.word] = 0; },
                       "Restored initial device gamma ramps; but failed read back for validation!",
                       false, DEBUG, 0},
        RestoreFailure{"OneWordAltered", [](sim::SimDisplay& d) { d.faults[sim::kAlteredReadback.word] = 1; },
                       "Restored initial device gamma ramps; but 1 entries failed validation!",
                       false, DEBUG, 0}),
    [](const ::testing::TestParamInfo<RestoreFailure>& info) { return info.param.name; });

TEST_F(GammaTest, RestoreSucceedsOnASecondAttempt) {
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  ASSERT_TRUE(blanker.blank());
  int sets = 0;
  sim::test::ScopedHook failFirst(&platform::SetDeviceGammaRamp, [&sets](HDC, LPVOID) -> std::optional<BOOL> {
                                    sim::setLastError(5);
                                    return sets++ > 0 ? std::nullopt : std::optional<BOOL>(FALSE);
                                  });
  EXPECT_TRUE(blanker.restore());
  EXPECT_EQ(linesWith(log, "Failed to restore device gamma ramp!", ERROR, 5),
            std::vector<std::string>{"Failed to restore device gamma ramp! (attempt = 0)"});
  EXPECT_EQ(deviceRamp(kDisplay1), sim::identityRamp());
}

TEST_F(GammaTest, RestoreSkipsADisplayTheDocumentDoesNotName) {
  Json::Value document = WindowsGammaBlanker(subLogger(), Json::Value(), false).toJson();
  document.removeIndex(0, nullptr);  // keep DISPLAY2 only
  for (const std::string& name : {kDisplay1, kDisplay2}) {
    changeDisplay(name, [](sim::SimDisplay& d) { d.ramp.fill(0); });
  }
  WindowsGammaBlanker restorer(subLogger(), document, true);
  EXPECT_FALSE(restorer.restore());
  EXPECT_EQ(linesWith(log, "Skipping gamma restoration on display", ERROR, kUnexpectedFailure),
            std::vector<std::string>{"Skipping gamma restoration on display: initial gamma was not saved"});
  EXPECT_TRUE(isDark(kDisplay1));
  EXPECT_EQ(deviceRamp(kDisplay2), sim::identityRamp());
}

TEST_F(GammaTest, RestoreOnlyBlankerReadsNoRampAndBlanksUnsavedDisplays) {
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), true);
  EXPECT_TRUE(blanker.blank());
  EXPECT_EQ(callCount("GetDeviceGammaRamp"), 0u);
  EXPECT_EQ(callCount("CreateDCA"), 4u) << "one context per display at construction and per pass";
  for (const GammaDisplay& display : blanker.getDisplays()) {
    EXPECT_FALSE(display.initialGammasSaved);
    EXPECT_EQ(toWords(display.initialGammas), sim::RampWords{});
    EXPECT_TRUE(isDark(display.displayName));
  }
}

TEST_F(GammaTest, BlankSavesAgainAfterAFailedSaveAndFallsBackToLinear) {
  changeDisplay(kDisplay1, [](sim::SimDisplay& d) { d.faults[sim::kChanging.word] = 0; d.ramp[0] = 7; });
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), false);
  ASSERT_FALSE(blanker.getDisplays()[0].initialGammasSaved);
  sim::test::clearCalls();

  EXPECT_TRUE(blanker.blank()) << "a failed save does not fail the pass";
  EXPECT_EQ(callCount("GetDeviceGammaRamp"), 40u) << "the second save ran its full time";
  EXPECT_TRUE(blanker.getDisplays()[0].initialGammasSaved);
  const sim::RampWords saved = toWords(blanker.getDisplays()[0].initialGammas);
  for (std::size_t i = 0; i < saved.size(); ++i) ASSERT_EQ(saved[i], 255 * (i % 256)) << "linear, word " << i;
  EXPECT_TRUE(isDark(kDisplay1));
  EXPECT_EQ(log.count("Gamma blanking failed due to failure to find stable initial gamma"), 2u);
}

// The "GammaBlanking" value of the display state document: writing, reading back, and what the
// reader tolerates and refuses.

using Change = std::function<void(Json::Value&)>;

// Word i of channel c is (seed + 3 x i + c) mod 65536.
GammaRamp seededRamp(unsigned seed) {
  GammaRamp ramp{};
  for (unsigned i = 0; i < 256; ++i) {
    ramp.red[i] = static_cast<WORD>(seed + 3 * i);
    ramp.green[i] = static_cast<WORD>(seed + 3 * i + 1);
    ramp.blue[i] = static_cast<WORD>(seed + 3 * i + 2);
  }
  return ramp;
}

Json::Value element(const std::string& name, const GammaRamp& ramp, bool saved) {
  Json::Value entry;
  entry["displayName"] = name;
  for (const auto& [key, words] : {std::pair{"red", &ramp.red}, {"green", &ramp.green}, {"blue", &ramp.blue}}) {
    Json::Value& channel = entry["initialGammas"][key] = Json::Value(Json::arrayValue);
    for (const WORD word : *words) channel.append(word);
  }
  entry["initialGammasSaved"] = saved;
  return entry;
}

// A document for both default displays, DISPLAY1 with seed 100 and DISPLAY2 with seed 200.
Json::Value validDocument(const Change& change = [](Json::Value&) {}) {
  Json::Value document(Json::arrayValue);
  document.append(element(kDisplay1, seededRamp(100), true));
  document.append(element(kDisplay2, seededRamp(200), true));
  change(document);
  return document;
}

TEST_F(GammaTest, NoDisplaysGiveANullDocument) {
  sim::replaceDisplays({});
  EXPECT_TRUE(WindowsGammaBlanker(subLogger(), Json::Value(), true).toJson().isNull());
  EXPECT_TRUE(WindowsGammaBlanker(subLogger(), Json::Value(), false).getDisplays().empty());
  EXPECT_TRUE(log.records().empty());
}

TEST_F(GammaTest, RoundTripKeepsEveryWordAndTheSavedFlag) {
  // Two displays of 768 words each take every value from 0 to 65535 across the runs.
  for (unsigned seed = 0; seed < 65536; seed += 2 * 768) {
    Json::Value document(Json::arrayValue);
    document.append(element(kDisplay1, seededRamp(seed), seed % 2 == 0));
    document.append(element(kDisplay2, seededRamp(seed + 768), false));
    const WindowsGammaBlanker blanker(subLogger(), document, true);
    const auto& displays = blanker.getDisplays();
    ASSERT_EQ(toWords(displays[0].initialGammas), toWords(seededRamp(seed)));
    ASSERT_EQ(toWords(displays[1].initialGammas), toWords(seededRamp(seed + 768)));
    ASSERT_TRUE(displays[0].initialGammasSaved);
    ASSERT_FALSE(displays[1].initialGammasSaved);
    ASSERT_EQ(blanker.toJson().toStyledString(), document.toStyledString());
  }
  EXPECT_TRUE(log.records().empty());
}

TEST_F(GammaTest, ReaderReadsWhatItCanAndSkipsTheRest) {
  const std::string kNoDisplay =
      "Could not read json entry for gamma blanking: could not find corresponding display";
  struct Row {
    const char* name;
    Change change;
    std::optional<GammaRamp> display1;  // DISPLAY1 afterwards; none: left unsaved, all zero
    bool display1Saved;
    std::vector<std::string> messages;
  };
  GammaRamp converted = seededRamp(100);
  const WORD convertedWords[] = {1, 0, 12, 0, 1};  // true, null, 12.7, 65536, 65537
  std::copy(std::begin(convertedWords), std::end(convertedWords), converted.red.begin());
  const Row rows[] = {
      {"GreenOneWordShort", [](Json::Value& d) { d[0]["initialGammas"]["green"].resize(255); },
       std::nullopt, false, {"Failed to read json gamma entry"}},
      {"UnknownNameThenNextElement",
       [](Json::Value& d) { d[0]["displayName"] = "\\\\.\\DISPLAY9"; d[1]["displayName"] = kDisplay1; },
       seededRamp(200), true, {kNoDisplay}},
      {"NameInOtherCase", [](Json::Value& d) { d[0]["displayName"] = "\\\\.\\display1"; },
       std::nullopt, false, {kNoDisplay}},
      {"LaterDuplicateWins", [](Json::Value& d) { d.append(element(kDisplay1, seededRamp(900), false)); },
       seededRamp(900), false, {}},
      {"WordConversions",
       [](Json::Value& d) { Json::Value& red = d[0]["initialGammas"]["red"];
         red[0] = true; red[1] = Json::Value(); red[2] = 12.7; red[3] = 65536; red[4] = 65537; },
       converted, true, {}},
      {"SavedFlagMissing", [](Json::Value& d) { d[0].removeMember("initialGammasSaved"); },
       seededRamp(100), false, {}},
      {"ObjectInsteadOfArray", [](Json::Value& d) { Json::Value object; object["0"] = d[0]; d = object; },
       std::nullopt, false, {}}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    log.clear();
    const WindowsGammaBlanker blanker(subLogger(), validDocument(row.change), true);
    const GammaDisplay& display1 = blanker.getDisplays()[0];
    EXPECT_EQ(toWords(display1.initialGammas), toWords(row.display1.value_or(GammaRamp{})));
    EXPECT_EQ(display1.initialGammasSaved, row.display1Saved);
    EXPECT_EQ(linesWith(log, "", DEBUG, 0), row.messages);
  }
}

TEST_F(GammaTest, ReaderThrowsOnAWrongType) {
  for (const Change& change : std::vector<Change>{
           [](Json::Value& d) { d[0] = 5; },
           [](Json::Value& d) { d[0]["initialGammas"]["green"][7] = "7"; },
           [](Json::Value& d) { d[0]["initialGammas"]["blue"][0] = -1; },
           [](Json::Value& d) { d[0]["initialGammas"]["red"][9] = Json::UInt64(4294967296ull); },
           [](Json::Value& d) { d[0]["initialGammasSaved"] = "yes"; }}) {
    EXPECT_THROW(WindowsGammaBlanker(subLogger(), validDocument(change), true), std::exception);
  }
}

}  // namespace
