#include "blanking/windows_screen_blanker.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "platform/displays.h"
#include "tests/support/eventually.h"
#include "tests/unit/gamma/gamma_fixture.h"

namespace {

using namespace std::chrono_literals;
using gamma_test::isDark;
using testing_support::eventually;

// Counts SetDeviceGammaRamp calls and fails them while `failSets` is true.
struct SetRampProbe {
  std::atomic<int> calls{0};
  std::atomic<bool> failSets{false};
  sim::test::ScopedHook hook{&platform::SetDeviceGammaRamp, "SetDeviceGammaRamp",
                             [this](HDC, LPVOID) -> std::optional<BOOL> {
                               calls.fetch_add(1);
                               sim::setLastError(31);
                               return failSets.load() ? std::optional<BOOL>(FALSE) : std::nullopt;
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
    return std::make_unique<WindowsScreenBlanker>(log.createCategoryLogger(velmo::logging::kInheritCategory),
                                                  document);
  }
  void blank(WindowsScreenBlanker& blanker) { blanker.requestScreenBlanking(IOSScreenBlanker::GammaBlanking); }

  testing_support::RecordingLogger log;
};

TEST_F(WindowsScreenBlankerTest, BlankThatSucceedsReturnsAtOnceAndStaysInForce) {
  auto blanker = makeBlanker();
  EXPECT_TRUE(eventually([&] { return log.contains("Windows screen blanking started"); }));
  const auto start = std::chrono::steady_clock::now();
  blank(*blanker);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 900ms);
  EXPECT_TRUE(log.contains("Request to blank succeeded"));
  EXPECT_EQ(blanker->getCurrentMethods(), 3u);
  EXPECT_TRUE(isDark(gamma_test::kDisplay1) && isDark(gamma_test::kDisplay2));

  // A blank in force is applied again on every pass, so a display that came back goes dark.
  SetRampProbe probe;
  EXPECT_TRUE(eventually([&] { return probe.calls.load() >= 4; }));

  blanker.reset();
  EXPECT_EQ(log.count("Windows screen blanking ended"), 1u);
  EXPECT_TRUE(isDark(gamma_test::kDisplay1)) << "destruction must leave the displays dark";
}

TEST_F(WindowsScreenBlankerTest, BlankThatNeverSucceedsFailsAtTheLimitAndGoesIdle) {
  auto blanker = makeBlanker();
  SetRampProbe probe;
  probe.failSets = true;
  blank(*blanker);
  EXPECT_TRUE(log.contains("Request to blank failed"));
  EXPECT_EQ(blanker->getCurrentMethods(), 1u);
  // About ten passes of two displays fit into the second; each failed pass sleeps 100 ms.
  const int passes = probe.calls.load() / 2;
  EXPECT_GE(passes, 5);
  EXPECT_LE(passes, 12);
  std::this_thread::sleep_for(300ms);
  EXPECT_LE(probe.calls.load() / 2, passes + 1) << "the worker must go idle after giving up";
  EXPECT_FALSE(isDark(gamma_test::kDisplay1));
}

TEST_F(WindowsScreenBlankerTest, BlankThatLaterFailsEndsTheBlankWithoutRetrying) {
  auto blanker = makeBlanker();
  blank(*blanker);
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
  blanker->requestScreenBlanking(static_cast<IOSScreenBlanker::ScreenBlankingMethod>(
      IOSScreenBlanker::DPMSBlanking | IOSScreenBlanker::GammaBlanking));
  const std::string unsupported = "Unsupported method 'DPMSBlanking' requested";
  EXPECT_EQ(gamma_test::linesWith(log, unsupported, velmo::logging::ERROR, velmo::logging::kUnexpectedFailure),
            std::vector<std::string>{unsupported});
  EXPECT_TRUE(log.contains("Request to blank succeeded"));

  // DPMSBlanking alone, with nothing blanked, leaves nothing to do: still a "blank", and it
  // fails at the limit. The restore first spares the fresh blanker a save over dark displays.
  blanker->requestScreenBlanking(IOSScreenBlanker::NoBlanking);
  blanker.reset();
  blanker = makeBlanker();
  blanker->requestScreenBlanking(IOSScreenBlanker::DPMSBlanking);
  EXPECT_TRUE(log.contains("Request to blank failed"));
  EXPECT_EQ(blanker->getCurrentMethods(), 1u);
}

TEST_F(WindowsScreenBlankerTest, RestoreWithoutBlankStillRunsAPass) {
  makeBlanker()->requestScreenBlanking(IOSScreenBlanker::NoBlanking);
  EXPECT_TRUE(log.contains("Request to restore succeeded"));
  EXPECT_TRUE(log.contains("Restored initial device gamma ramps and successfully validated"));
}

// The whole road back through a restore run is the end-to-end test's, and the reader's answers
// to hostile documents are e2e_schema_versus_reader's; here the document's form.
TEST_F(WindowsScreenBlankerTest, SavedDocumentIsOneGammaObjectEndingInOneLineFeed) {
  const std::string document = makeBlanker()->getSavedDisplayStates();
  ASSERT_GE(document.size(), 2u);
  EXPECT_EQ(document.front() + document.substr(document.size() - 2), "{}\n");
  EXPECT_EQ(document.find("initialMonitors"), std::string::npos);
  ScreenBlanker::setOption(0, true);
  EXPECT_EQ(makeBlanker(document)->getSavedDisplayStates(), document);
}

}  // namespace
