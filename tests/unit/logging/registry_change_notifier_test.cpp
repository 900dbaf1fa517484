// RegistryChangeNotifier on the sim's registry: what it refuses, what it delivers, and that it
// always stops.
#include "logging/registry_change_notifier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>

#include "platform/events.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/registry/registry_watch.h"
#include "tests/support/eventually.h"
#include "tests/support/recording_logger.h"
#include "tests/support/sim_test.h"
#include "tests/support/virtual_clock.h"
#include "tests/unit/library/message_of.h"
#include "tests/unit/logging/registry_values.h"

namespace {

using namespace testing_support;

const std::string kKey = "SOFTWARE\\KestrineTest";
const std::string kValue = "Setting";

class NotifierTest : public SimTest {
 protected:
  // Deliveries are kept as the messages of a logger of their own, safe from any thread.
  std::unique_ptr<velmo::RegistryChangeNotifier> makeNotifier() {
    return std::make_unique<velmo::RegistryChangeNotifier>(
        kKey, kValue, [this](std::string text) { delivered.log(text, velmo::logging::INFO, 0); },
        log.createCategoryLogger(0));
  }
  std::vector<std::string> deliveries() const { return delivered.messages(); }

  // A change made before the worker has subscribed brings no event: tests change the registry
  // only once it has.
  static bool subscribed() { return sim::test::activeRegistryWatches() == 1; }

  std::size_t logged(const std::string& text, std::int32_t code) const {
    const auto records = log.records();
    return std::count_if(records.begin(), records.end(),
                         [&](const auto& r) { return r.message == text && r.resultCode == code; });
  }

  RecordingLogger log, delivered;
};

// Each row changes the registry left by the rows before it. SimTest's TearDown checks that no key
// or event handle stayed open.
TEST_F(NotifierTest, RefusedValuesThrowFromTheConstructorAndLeaveNothingOpen) {
  const std::pair<void (*)(), std::string> cases[] = {
      {[] {}, "Failed to open registry key: SOFTWARE\\KestrineTest"},
      {[] { setRegistryString(kKey, "Other", "1"); },
       "Failed to query (2) registry value: Setting"},
      {[] { setRegistryValue(kKey, kValue, REG_DWORD, std::string(4, '\x05')); },
       "Unexpected value type \"4\" from registry value: Setting"},
      {[] { setRegistryValue(kKey, kValue, REG_SZ, ""); },
       "Unexpected value size of \"0\" from registry value: Setting"},
      {[] { setRegistryString(kKey, kValue, std::string(256, 'x')); },
       "Failed to query (234) registry value: Setting"},
  };
  for (const auto& [prepare, message] : cases) {
    prepare();
    EXPECT_EQ(library_test::messageOf<std::runtime_error>([&] { makeNotifier(); }), message);
  }
  EXPECT_TRUE(deliveries().empty() && log.records().empty());
}

TEST_F(NotifierTest, FirstValueArrivesBeforeTheConstructorReturns) {
  std::string fullBuffer;  // 256 units of U+7979 and no terminator: the whole buffer is the text
  for (int i = 0; i < 256; ++i) fullBuffer += "\xE7\xA5\xB9";
  const std::tuple<DWORD, std::string, std::string> cases[] = {
      {REG_EXPAND_SZ, registryStringBytes("%TEMP%"), "%TEMP%"},  // not expanded
      {REG_SZ, std::string(512, 'y'), fullBuffer},
      {REG_SZ, registryStringBytes("ab") + registryStringBytes("cd"), "ab"},
  };
  for (const auto& [type, bytes, text] : cases) {
    setRegistryValue(kKey, kValue, type, bytes);
    makeNotifier();
    EXPECT_EQ(deliveries().back(), text);
  }
  EXPECT_EQ(deliveries().size(), 3u);
}

TEST_F(NotifierTest, ChangesAreDeliveredOnTheWorkerFailedReadsLoggedAndStopAlwaysWorks) {
  setRegistryString(kKey, kValue, "1");
  setRegistryString(kKey + "\\Sub", "Other", "x");
  auto notifier = makeNotifier();
  ASSERT_TRUE(eventually(subscribed));
  setRegistryString(kKey, kValue, "2");
  ASSERT_TRUE(eventually([&] { return deliveries().size() == 2 && subscribed(); }));
  // Any change in the subtree brings the value again, even an unchanged one.
  setRegistryString(kKey + "\\Sub", "Other", "y");
  ASSERT_TRUE(eventually([&] { return deliveries().size() == 3 && subscribed(); }));
  // A value that cannot be read is logged, and the last text stays.
  setRegistryValue(kKey, kValue, REG_SZ, std::nullopt);
  ASSERT_TRUE(eventually([&] {
    return logged("Failed to query (2) registry value: Setting", -500) == 1 && subscribed();
  }));
  setRegistryString(kKey, kValue, "3");
  ASSERT_TRUE(eventually([&] { return deliveries().size() == 4; }));
  EXPECT_EQ(deliveries(), (std::vector<std::string>{"1", "2", "2", "3"}));
  // A stop event that cannot be set is logged, and the change event wakes the worker instead.
  std::atomic<int> calls{0};
  sim::test::setHook(&platform::SetEvent, [&](HANDLE) -> std::optional<BOOL> {
    if (calls++ > 0) return std::nullopt;
    sim::setLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  });
  notifier.reset();
  EXPECT_EQ(logged("Failed to set event to stop thread: " + kKey + "\\" + kValue,
                   ERROR_INVALID_HANDLE),
            1u);
}

// Three subscriptions fail, then every wait: each failure is logged and paused after, on virtual
// time as the pause's own wait fails too, and the worker still stops.
TEST_F(NotifierTest, StopsWhileSubscribingOrWaitingKeepsFailing) {
  setRegistryString(kKey, kValue, "1");
  VirtualClock clock;
  std::atomic<int> subscriptions{0};
  sim::test::setHook(&platform::RegNotifyChangeKeyValue, [&](HKEY, BOOL, DWORD, HANDLE, BOOL) -> std::optional<LSTATUS> {
                       return subscriptions++ < 3 ? std::optional<LSTATUS>(ERROR_KEY_DELETED)
                                                  : std::nullopt;
                     });
  std::atomic<int> pauses{0};  // waits on the stop event alone
  sim::test::setHook(&platform::WaitForMultipleObjects, [&](DWORD count, const HANDLE*, BOOL, DWORD) -> std::optional<DWORD> {
                       pauses += count == 1 ? 1 : 0;
                       sim::setLastError(ERROR_INVALID_HANDLE);
                       return WAIT_FAILED;
                     });
  auto notifier = makeNotifier();
  ASSERT_TRUE(eventually([&] {
    return logged("Failed to wait for event: " + kKey + "\\" + kValue, ERROR_INVALID_HANDLE) >= 3;
  }));
  notifier.reset();
  EXPECT_EQ(logged("Failed to subscribe to change notification on registry key: " + kKey,
                   ERROR_KEY_DELETED),
            3u);
  EXPECT_GE(clock.sleepCount(), 6);
  EXPECT_GE(pauses.load(), 6);
}

}  // namespace
