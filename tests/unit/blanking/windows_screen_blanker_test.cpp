#include "blanking/windows_screen_blanker.h"

#include <atomic>

#include "platform/displays.h"
#include "tests/support/eventually.h"
#include "tests/unit/gamma/gamma_fixture.h"

namespace {

using gamma_test::isDark;
using testing_support::eventually;

// Counts SetDeviceGammaRamp calls and fails them while `failSets` is true, and the first
// `failFirst` calls.
struct SetRampProbe {
  std::atomic<int> calls{0};
  std::atomic<bool> failSets{false};
  int failFirst = 0;
  sim::test::ScopedHook hook{&platform::SetDeviceGammaRamp, [this](HDC, LPVOID) -> std::optional<BOOL> {
                               const int call = calls.fetch_add(1) + 1;
                               sim::setLastError(31);
                               return failSets.load() || call <= failFirst ? std::optional<BOOL>(FALSE)
                                                                           : std::nullopt;
                             }};
};

class WindowsScreenBlankerTest : public testing_support::LoggedSimTest {
 protected:
  void TearDown() override {
    ScreenBlanker::setOption(0, false);
    LoggedSimTest::TearDown();
  }

  // The blanker gets a sub-logger: its records stay readable here after the blanker is gone.
  std::unique_ptr<WindowsScreenBlanker> makeBlanker(const std::string& document = "") {
    return std::make_unique<WindowsScreenBlanker>(subLogger(), document);
  }
  void blank(WindowsScreenBlanker& blanker) { blanker.requestScreenBlanking(IOSScreenBlanker::GammaBlanking); }
};

// The worker's timings (how soon a request is answered, how many passes fit into the request's
// limit, that nothing follows a given-up request) are measured by bench/blanking_worker_bench.

TEST_F(WindowsScreenBlankerTest, BlankThatSucceedsStaysInForce) {
  auto blanker = makeBlanker();
  EXPECT_TRUE(eventually([&] { return log.contains("Windows screen blanking started"); }));
  blank(*blanker);
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

// A failed pass is tried again within the request; a request that never succeeds fails and
// leaves the displays lit.
TEST_F(WindowsScreenBlankerTest, BlankIsRetriedUntilItSucceedsOrFailsAtTheLimit) {
  for (const bool everyPassFails : {false, true}) {
    SCOPED_TRACE(everyPassFails ? "every pass fails" : "the first pass fails");
    log.clear();
    auto blanker = makeBlanker();
    SetRampProbe probe;
    probe.failFirst = 2;  // both displays of the first pass
    probe.failSets = everyPassFails;
    blank(*blanker);
    EXPECT_TRUE(log.contains(everyPassFails ? "Request to blank failed" : "Request to blank succeeded"));
    EXPECT_EQ(blanker->getCurrentMethods(), everyPassFails ? 1u : 3u);
    EXPECT_EQ(isDark(gamma_test::kDisplay1), !everyPassFails);
    EXPECT_GE(probe.calls.load(), 3) << "the first failed pass was not tried again";
    if (!everyPassFails) {
      blanker->requestScreenBlanking(IOSScreenBlanker::NoBlanking);  // lit for the next case
    }
  }
}

TEST_F(WindowsScreenBlankerTest, BlankThatLaterFailsEndsTheBlank) {
  auto blanker = makeBlanker();
  blank(*blanker);
  ASSERT_EQ(blanker->getCurrentMethods(), 3u);
  SetRampProbe probe;
  probe.failSets = true;
  EXPECT_TRUE(eventually([&] { return blanker->getCurrentMethods() == 1u; }));
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
