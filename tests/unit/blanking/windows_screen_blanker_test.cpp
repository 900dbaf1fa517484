#include "blanking/windows_screen_blanker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "platform/displays.h"
#include "platform/sim/core/test_api.h"
#include "tests/support/eventually.h"
#include "tests/support/recording_logger.h"
#include "tests/support/sim_test.h"
#include "tests/support/virtual_clock.h"
#include "tests/unit/gamma/gamma_fixture.h"

namespace {

using namespace std::chrono_literals;
using testing_support::eventually;
using testing_support::RecordingLogger;
using velmo::logging::ERROR;
using velmo::logging::kUnexpectedFailure;

using gamma_test::isDark;

// Counts SetDeviceGammaRamp calls and fails them while `failSets` is true.
struct SetRampProbe {
  std::atomic<int> calls{0};
  std::atomic<bool> failSets{false};
  sim::test::ScopedHook hook{&platform::SetDeviceGammaRamp, "SetDeviceGammaRamp",
                             [this](HDC, LPVOID) -> std::optional<BOOL> {
                               calls.fetch_add(1);
                               if (failSets.load()) {
                                 sim::setLastError(31);
                                 return FALSE;
                               }
                               return std::nullopt;
                             }};
};

class WindowsScreenBlankerTest : public testing_support::SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    ScreenBlanker::setOption(0, false);
  }
  void TearDown() override {
    ScreenBlanker::setOption(0, false);
    SimTest::TearDown();
  }

  // The blanker gets a sub-logger: its records stay readable here after the blanker is gone.
  std::unique_ptr<WindowsScreenBlanker> makeBlanker(const std::string& document = "") {
    return std::make_unique<WindowsScreenBlanker>(
        root.createCategoryLogger(velmo::logging::kInheritCategory), document);
  }

  testing_support::VirtualClock clock;  // the gamma save's reads and sleeps cost no real time
  RecordingLogger root;
  RecordingLogger* log = &root;
};

TEST_F(WindowsScreenBlankerTest, BlankThatSucceedsReturnsAtOnceAndStaysInForce) {
  auto blanker = makeBlanker();
  EXPECT_TRUE(eventually([&] { return log->contains("Windows screen blanking started"); }));
  const auto start = std::chrono::steady_clock::now();
  blanker->requestScreenBlanking(IOSScreenBlanker::GammaBlanking);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 900ms);
  EXPECT_TRUE(log->contains("Request to blank succeeded"));
  EXPECT_EQ(blanker->getCurrentMethods(), 3u);
  EXPECT_TRUE(isDark("\\\\.\\DISPLAY1"));
  EXPECT_TRUE(isDark("\\\\.\\DISPLAY2"));

  // A blank in force is applied again on every pass, so a display that came back goes dark.
  SetRampProbe probe;
  EXPECT_TRUE(eventually([&] { return probe.calls.load() >= 4; }));

  blanker.reset();
  EXPECT_EQ(log->count("Windows screen blanking ended"), 1u);
  EXPECT_TRUE(isDark("\\\\.\\DISPLAY1")) << "destruction must leave the displays dark";
}

TEST_F(WindowsScreenBlankerTest, BlankThatNeverSucceedsFailsAtTheLimitAndGoesIdle) {
  auto blanker = makeBlanker();
  SetRampProbe probe;
  probe.failSets = true;
  blanker->requestScreenBlanking(IOSScreenBlanker::GammaBlanking);
  EXPECT_TRUE(log->contains("Request to blank failed"));
  EXPECT_EQ(blanker->getCurrentMethods(), 1u);
  // About ten passes of two displays fit into the second; each failed pass sleeps 100 ms.
  const int passes = probe.calls.load() / 2;
  EXPECT_GE(passes, 5);
  EXPECT_LE(passes, 12);
  std::this_thread::sleep_for(300ms);
  EXPECT_LE(probe.calls.load() / 2, passes + 1) << "the worker must go idle after giving up";
  EXPECT_FALSE(isDark("\\\\.\\DISPLAY1"));
}

TEST_F(WindowsScreenBlankerTest, BlankThatLaterFailsEndsTheBlankWithoutRetrying) {
  auto blanker = makeBlanker();
  blanker->requestScreenBlanking(IOSScreenBlanker::GammaBlanking);
  ASSERT_EQ(blanker->getCurrentMethods(), 3u);
  SetRampProbe probe;
  probe.failSets = true;
  ASSERT_TRUE(eventually([&] { return blanker->getCurrentMethods() == 1u; }));
  const int calls = probe.calls.load();
  std::this_thread::sleep_for(300ms);
  EXPECT_EQ(probe.calls.load(), calls);
}

TEST_F(WindowsScreenBlankerTest, UnsupportedBitsAreDroppedWithAnError) {
  auto blanker = makeBlanker();
  blanker->requestScreenBlanking(
      static_cast<IOSScreenBlanker::ScreenBlankingMethod>(IOSScreenBlanker::DPMSBlanking |
                                                          IOSScreenBlanker::GammaBlanking));
  ASSERT_EQ(log->count("Unsupported method 'DPMSBlanking' requested"), 1u);
  for (const auto& record : log->records()) {
    if (record.message == "Unsupported method 'DPMSBlanking' requested") {
      EXPECT_EQ(record.level, ERROR);
      EXPECT_EQ(record.resultCode, kUnexpectedFailure);
    }
  }
  const auto records = log->records();
  const auto unsupported = std::find_if(records.begin(), records.end(), [](const auto& r) {
    return r.message == "Unsupported method 'DPMSBlanking' requested";
  });
  ASSERT_NE(unsupported, records.end());
  EXPECT_EQ(unsupported->level, ERROR);
  EXPECT_EQ(unsupported->resultCode, kUnexpectedFailure);
  EXPECT_TRUE(log->contains("Request to blank succeeded"));

  // DPMSBlanking alone, with nothing blanked, leaves nothing to do: still a "blank", and it
  // fails at the limit.
  blanker.reset();
  log->clear();
  auto fresh = makeBlanker();
  fresh->requestScreenBlanking(IOSScreenBlanker::DPMSBlanking);
  EXPECT_TRUE(log->contains("Request to blank failed"));
  EXPECT_EQ(fresh->getCurrentMethods(), 1u);
}

TEST_F(WindowsScreenBlankerTest, RestoreWithoutBlankStillRunsAPass) {
  auto blanker = makeBlanker();
  blanker->requestScreenBlanking(IOSScreenBlanker::NoBlanking);
  EXPECT_TRUE(log->contains("Request to restore succeeded"));
  EXPECT_TRUE(log->contains("Restored initial device gamma ramps and successfully validated"));
}

// The whole road back through a restore run is the end-to-end test's; here the document's form.
TEST_F(WindowsScreenBlankerTest, SavedDocumentIsOneGammaObjectEndingInOneLineFeed) {
  std::string document;
  {
    auto saver = makeBlanker();
    document = saver->getSavedDisplayStates();
    saver->requestScreenBlanking(IOSScreenBlanker::GammaBlanking);
  }
  ASSERT_FALSE(document.empty());
  EXPECT_EQ(document.front(), '{');
  EXPECT_EQ(document.back(), '\n');
  EXPECT_NE(document[document.size() - 2], '\n');
  EXPECT_EQ(document.find("initialMonitors"), std::string::npos);
  EXPECT_TRUE(isDark("\\\\.\\DISPLAY2"));
  ScreenBlanker::setOption(0, true);
  EXPECT_EQ(makeBlanker(document)->getSavedDisplayStates(), document);
}

struct DocumentCase {
  const char* name;
  std::string document;
  bool parseError;  // "Failed to parse input" logged
  bool fromDocument;  // the gamma state of the document is what the blanker holds
};

class DocumentReaderTest : public WindowsScreenBlankerTest,
                           public ::testing::WithParamInterface<DocumentCase> {};

TEST_P(DocumentReaderTest, FollowsTheFailureTable) {
  ScreenBlanker::setOption(0, true);
  auto blanker = makeBlanker(GetParam().document);
  EXPECT_EQ(log->count("Failed to parse input"), GetParam().parseError ? 1u : 0u);
  const std::string held = blanker->getSavedDisplayStates();
  EXPECT_EQ(held.find("\"initialGammasSaved\" : true") != std::string::npos,
            GetParam().fromDocument);
}


std::string ramp256(int value) {
  std::string words;
  for (int i = 0; i < 256; ++i) {
    words += (i ? "," : "") + std::to_string(value);
  }
  return "[" + words + "]";
}

std::string validGamma() {
  return R"("GammaBlanking":[{"displayName":"\\\\.\\DISPLAY1","initialGammasSaved":true,)"
         R"("initialGammas":{"red":)" + ramp256(1) + R"(,"green":)" + ramp256(2) +
         R"(,"blue":)" + ramp256(3) + "}}]";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DocumentReaderTest,
    ::testing::Values(
        DocumentCase{"empty", "", false, false},
        DocumentCase{"notJson", "this is not json", true, false},
        DocumentCase{"rootArray", "[1,2]", true, false},
        DocumentCase{"emptyObject", "{}", false, false},
        DocumentCase{"valid", "{" + validGamma() + "}", false, true},
        DocumentCase{"validWithCommentsAndExtraKeys",
                     "// saved\n{\"extra\":1," + validGamma() + ",\"initialMonitors\":[]}", false,
                     true},
        DocumentCase{"gammaOfWrongType", R"({"GammaBlanking":[5]})", true, false},
        DocumentCase{"monitorThatIsNotAnObject", "{" + validGamma() + R"(,"initialMonitors":[7]})",
                     true, true},
        DocumentCase{"monitorsAsNumber", "{" + validGamma() + R"(,"initialMonitors":3})", false,
                     true},
        DocumentCase{"negativeCoordinate",
                     "{" + validGamma() +
                         R"(,"initialMonitors":[{"name":"\\\\.\\DISPLAY1","position":{"left":-1}}]})",
                     true, true},
        DocumentCase{"numericNameAndFloatCoordinate",
                     "{" + validGamma() +
                         R"(,"initialMonitors":[{"name":5,"position":{"left":1.5}}]})",
                     false, true},
        DocumentCase{"nameThatIsAnArray",
                     "{" + validGamma() + R"(,"initialMonitors":[{"name":[1]}]})", true, true}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
