// The "GammaBlanking" value of the display state document: writing, reading back, and what the
// reader tolerates and refuses.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "blanking/gamma/windows_gamma_blanker.h"
#include "tests/unit/gamma/gamma_fixture.h"

namespace {

using gamma_test::GammaTest;
using gamma_test::kDisplay1;
using gamma_test::kDisplay2;

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

Json::Value channel(const std::array<WORD, 256>& words) {
  Json::Value array(Json::arrayValue);
  for (const WORD word : words) {
    array.append(word);
  }
  return array;
}

Json::Value element(const std::string& name, const GammaRamp& ramp, bool saved) {
  Json::Value entry;
  entry["displayName"] = name;
  entry["initialGammas"]["red"] = channel(ramp.red);
  entry["initialGammas"]["green"] = channel(ramp.green);
  entry["initialGammas"]["blue"] = channel(ramp.blue);
  entry["initialGammasSaved"] = saved;
  return entry;
}

// A document for both default displays, DISPLAY1 with seed 100 and DISPLAY2 with seed 200.
Json::Value validDocument() {
  Json::Value document(Json::arrayValue);
  document.append(element(kDisplay1, seededRamp(100), true));
  document.append(element(kDisplay2, seededRamp(200), true));
  return document;
}

TEST_F(GammaTest, NoDisplaysGiveNullAndNullChangesNothing) {
  sim::replaceDisplays({});
  EXPECT_TRUE(WindowsGammaBlanker(subLogger(), Json::Value(), true).toJson().isNull());
  EXPECT_TRUE(WindowsGammaBlanker(subLogger(), Json::Value(), false).getDisplays().empty());
  EXPECT_TRUE(log.records().empty());
  sim::replaceDisplays(sim::defaultDisplays(2));
  WindowsGammaBlanker blanker(subLogger(), Json::Value(), true);
  for (const GammaDisplay& display : blanker.getDisplays()) {
    EXPECT_FALSE(display.initialGammasSaved);
    EXPECT_EQ(gamma_test::toWords(display.initialGammas), sim::RampWords{});
  }
}

TEST_F(GammaTest, RoundTripKeepsEveryWordAndTheSavedFlag) {
  // Two displays of 768 words each take every value from 0 to 65535 across the runs.
  for (unsigned seed = 0; seed < 65536; seed += 2 * 768) {
    Json::Value document(Json::arrayValue);
    document.append(element(kDisplay1, seededRamp(seed), seed % 2 == 0));
    document.append(element(kDisplay2, seededRamp(seed + 768), false));
    const WindowsGammaBlanker first(subLogger(), document, true);
    const WindowsGammaBlanker second(subLogger(), first.toJson(), true);
    for (const WindowsGammaBlanker* blanker : {&first, &second}) {
      const auto& displays = blanker->getDisplays();
      ASSERT_EQ(gamma_test::toWords(displays[0].initialGammas), gamma_test::toWords(seededRamp(seed)));
      ASSERT_EQ(gamma_test::toWords(displays[1].initialGammas),
                gamma_test::toWords(seededRamp(seed + 768)));
      ASSERT_TRUE(displays[0].initialGammasSaved);
      ASSERT_FALSE(displays[1].initialGammasSaved);
    }
    ASSERT_EQ(first.toJson().toStyledString(), document.toStyledString());
  }
  EXPECT_TRUE(log.records().empty());
}

struct ReaderCase {
  std::string name;
  std::function<Json::Value()> document;
  std::optional<GammaRamp> display1;  // DISPLAY1 afterwards; none: left unsaved, all zero
  bool display1Saved;
  std::vector<std::string> messages;
};

class GammaReaderTest : public GammaTest, public ::testing::WithParamInterface<ReaderCase> {};

TEST_P(GammaReaderTest, ReadsWhatItCanAndSkipsTheRest) {
  const ReaderCase& c = GetParam();
  const WindowsGammaBlanker blanker(subLogger(), c.document(), true);
  const GammaDisplay& display1 = blanker.getDisplays()[0];
  EXPECT_EQ(gamma_test::toWords(display1.initialGammas),
            gamma_test::toWords(c.display1.value_or(GammaRamp{})));
  EXPECT_EQ(display1.initialGammasSaved, c.display1Saved);
  EXPECT_EQ(log.messages(), c.messages);
  for (const auto& record : log.records()) {
    EXPECT_EQ(record.level, velmo::logging::DEBUG);
    EXPECT_EQ(record.resultCode, 0);
  }
}

const std::string kNoDisplay =
    "Could not read json entry for gamma blanking: could not find corresponding display";
const std::string kBadEntry = "Failed to read json gamma entry";

Json::Value withDisplay1(const std::function<void(Json::Value&)>& change) {
  Json::Value document = validDocument();
  change(document[0]);
  return document;
}

GammaRamp convertedWords() {
  GammaRamp ramp = seededRamp(100);
  ramp.red[0] = 1;   // true
  ramp.red[1] = 0;   // null
  ramp.red[2] = 12;  // 12.7
  ramp.red[3] = 0;   // 65536
  ramp.red[4] = 1;   // 65537
  return ramp;
}

INSTANTIATE_TEST_SUITE_P(
    Documents, GammaReaderTest,
    ::testing::Values(
        ReaderCase{"Valid", validDocument, seededRamp(100), true, {}},
        ReaderCase{"GreenOneWordShort",
                   [] { return withDisplay1([](Json::Value& e) { e["initialGammas"]["green"].resize(255); }); },
                   std::nullopt, false, {kBadEntry}},
        ReaderCase{"UnknownNameThenNextElement",
                   [] {
                     Json::Value document(Json::arrayValue);
                     document.append(element("\\\\.\\DISPLAY9", seededRamp(7), true));
                     document.append(element(kDisplay1, seededRamp(100), true));
                     return document;
                   },
                   seededRamp(100), true, {kNoDisplay}},
        ReaderCase{"NameInOtherCase",
                   [] { return withDisplay1([](Json::Value& e) { e["displayName"] = "\\\\.\\display1"; }); },
                   std::nullopt, false, {kNoDisplay}},
        ReaderCase{"LaterDuplicateWins",
                   [] {
                     Json::Value document = validDocument();
                     document.append(element(kDisplay1, seededRamp(900), false));
                     return document;
                   },
                   seededRamp(900), false, {}},
        ReaderCase{"WordConversions",
                   [] {
                     return withDisplay1([](Json::Value& e) {
                       Json::Value& red = e["initialGammas"]["red"];
                       red[0] = true;
                       red[1] = Json::Value();
                       red[2] = 12.7;
                       red[3] = 65536;
                       red[4] = 65537;
                     });
                   },
                   convertedWords(), true, {}},
        ReaderCase{"SavedFlagMissing",
                   [] { return withDisplay1([](Json::Value& e) { e.removeMember("initialGammasSaved"); }); },
                   seededRamp(100), false, {}},
        ReaderCase{"ObjectInsteadOfArray",
                   [] {
                     Json::Value object;
                     object["0"] = validDocument()[0];
                     return object;
                   },
                   std::nullopt, false, {}}),
    [](const ::testing::TestParamInfo<ReaderCase>& info) { return info.param.name; });

struct WrongType {
  std::string name;
  std::function<void(Json::Value&)> change;  // applied to DISPLAY1's element
};

class GammaReaderWrongTypeTest : public GammaTest,
                                 public ::testing::WithParamInterface<WrongType> {};

TEST_P(GammaReaderWrongTypeTest, Throws) {
  const Json::Value document = withDisplay1(GetParam().change);
  EXPECT_THROW(WindowsGammaBlanker(subLogger(), document, true), std::exception);
}

INSTANTIATE_TEST_SUITE_P(
    Documents, GammaReaderWrongTypeTest,
    ::testing::Values(
        WrongType{"ElementIsANumber", [](Json::Value& e) { e = 5; }},
        WrongType{"WordIsAString", [](Json::Value& e) { e["initialGammas"]["green"][7] = "7"; }},
        WrongType{"WordIsNegative", [](Json::Value& e) { e["initialGammas"]["blue"][0] = -1; }},
        WrongType{"WordBeyond32Bits",
                  [](Json::Value& e) { e["initialGammas"]["red"][9] = Json::UInt64(4294967296ull); }},
        WrongType{"SavedFlagIsAString", [](Json::Value& e) { e["initialGammasSaved"] = "yes"; }}),
    [](const ::testing::TestParamInfo<WrongType>& info) { return info.param.name; });

}  // namespace
