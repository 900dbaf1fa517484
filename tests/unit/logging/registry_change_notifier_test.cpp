// RegistryChangeNotifier on the sim's registry: what it refuses, what it delivers, and that it
// always stops.
#include "logging/registry_change_notifier.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "platform/events.h"
#include "platform/sim/registry/registry_watch.h"
#include "platform/sim/core/test_api.h"
#include "tests/support/eventually.h"
#include "tests/support/recording_logger.h"
#include "tests/support/sim_test.h"
#include "tests/support/virtual_clock.h"
#include "tests/unit/library/message_of.h"
#include "tests/unit/logging/registry_values.h"

namespace {

using testing_support::eventually;
using testing_support::registryStringBytes;
using testing_support::setRegistryString;
using testing_support::setRegistryValue;

const std::string kKey = "SOFTWARE\\KestrineTest";
const std::string kValue = "Setting";

class NotifierTest : public testing_support::SimTest {
 protected:
  std::unique_ptr<velmo::RegistryChangeNotifier> makeNotifier() {
    return std::make_unique<velmo::RegistryChangeNotifier>(
        kKey, kValue,
        [this](std::string text) {
          std::lock_guard<std::mutex> lock(mutex);
          delivered.push_back(std::move(text));
        },
        log.createCategoryLogger(0));
  }

  // A change made before the worker has subscribed brings no event: tests change the registry
  // only once it has.
  static bool subscribed() { return sim::test::activeRegistryWatches() == 1; }

  std::vector<std::string> deliveries() {
    std::lock_guard<std::mutex> lock(mutex);
    return delivered;
  }

  std::size_t logged(const std::string& text, std::int32_t code) const {
    std::size_t n = 0;
    for (const auto& record : log.records()) {
      n += record.message == text && record.resultCode == code ? 1 : 0;
    }
    return n;
  }

  testing_support::RecordingLogger log;
  std::mutex mutex;
  std::vector<std::string> delivered;
};

struct RefusedCase {
  const char* name;
  void (*prepare)();  // null: no key at all
  std::string message;
};

class NotifierRefusesTest : public NotifierTest,
                            public ::testing::WithParamInterface<RefusedCase> {};

TEST_P(NotifierRefusesTest, ConstructorThrowsAndLeavesNothingOpen) {
  if (GetParam().prepare) {
    GetParam().prepare();
  }
  EXPECT_EQ(library_test::messageOf<std::runtime_error>([&] { makeNotifier(); }), GetParam().message);
  EXPECT_TRUE(deliveries().empty());
  EXPECT_TRUE(log.records().empty());
  // SimTest's TearDown checks that no key or event handle stayed open.
}

INSTANTIATE_TEST_SUITE_P(
    Failures, NotifierRefusesTest,
    ::testing::Values(
        RefusedCase{"MissingKey", nullptr, "Failed to open registry key: SOFTWARE\\KestrineTest"},
        RefusedCase{"MissingValue", [] { setRegistryString(kKey, "Other", "1"); },
                    "Failed to query (2) registry value: Setting"},
        RefusedCase{"NumberType",
                    [] { setRegistryValue(kKey, kValue, REG_DWORD, std::string(4, '\x05')); },
                    "Unexpected value type \"4\" from registry value: Setting"},
        RefusedCase{"ZeroSize", [] { setRegistryValue(kKey, kValue, REG_SZ, ""); },
                    "Unexpected value size of \"0\" from registry value: Setting"},
        RefusedCase{"TooLongForTheBuffer",
                    [] { setRegistryString(kKey, kValue, std::string(256, 'x')); },
                    "Failed to query (234) registry value: Setting"}),
    [](const ::testing::TestParamInfo<RefusedCase>& info) { return std::string(info.param.name); });

struct DeliveryCase {
  const char* name;
  DWORD type;
  std::string bytes;
  std::string text;
};

class NotifierDeliversTest : public NotifierTest,
                             public ::testing::WithParamInterface<DeliveryCase> {};

TEST_P(NotifierDeliversTest, FirstValueArrivesBeforeTheConstructorReturns) {
  setRegistryValue(kKey, kValue, GetParam().type, GetParam().bytes);
  const auto notifier = makeNotifier();
  EXPECT_EQ(deliveries(), std::vector<std::string>{GetParam().text});
}

INSTANTIATE_TEST_SUITE_P(
    Values, NotifierDeliversTest,
    ::testing::Values(DeliveryCase{"ExpandStringIsNotExpanded", REG_EXPAND_SZ,
                                   registryStringBytes("%TEMP%"), "%TEMP%"},
                      DeliveryCase{"EmptyStringHasTwoBytes", REG_SZ, registryStringBytes(""), ""},
                      // 256 units of U+7979 and no terminator: the whole buffer is the text.
                      DeliveryCase{"FullBufferWithoutTerminator", REG_SZ, std::string(512, 'y'),
                                   [] {
                                     std::string text;
                                     for (int i = 0; i < 256; ++i) {
                                       text += "\xE7\xA5\xB9";
                                     }
                                     return text;
                                   }()},
                      DeliveryCase{"UpToTheFirstZeroUnit", REG_SZ,
                                   registryStringBytes("ab") + registryStringBytes("cd"), "ab"}),
    [](const ::testing::TestParamInfo<DeliveryCase>& info) {
      return std::string(info.param.name);
    });

TEST_F(NotifierTest, ChangesUnderTheKeyAreDeliveredOnTheWorker) {
  setRegistryString(kKey, kValue, "1");
  const auto notifier = makeNotifier();
  ASSERT_TRUE(eventually(subscribed));
  setRegistryString(kKey, kValue, "2");
  ASSERT_TRUE(eventually([&] { return deliveries().size() == 2 && subscribed(); }));
  // Any change in the subtree brings the value again, even an unchanged one.
  setRegistryString(kKey + "\\Sub", "Other", "x");
  ASSERT_TRUE(eventually([&] { return deliveries().size() == 3; }));
  EXPECT_EQ(deliveries(), (std::vector<std::string>{"1", "2", "2"}));
}

TEST_F(NotifierTest, DeletedValueIsLoggedAndTheLastTextStays) {
  setRegistryString(kKey, kValue, "1");
  const auto notifier = makeNotifier();
  ASSERT_TRUE(eventually(subscribed));
  testing_support::deleteRegistryValue(kKey, kValue);
  ASSERT_TRUE(eventually([&] {
    return logged("Failed to query (2) registry value: Setting", -500) == 1 && subscribed();
  }));
  setRegistryString(kKey, kValue, "3");
  ASSERT_TRUE(eventually([&] { return deliveries().size() == 2; }));
  EXPECT_EQ(deliveries(), (std::vector<std::string>{"1", "3"}));
}

TEST_F(NotifierTest, StopsWhileSubscribingKeepsFailing) {
  setRegistryString(kKey, kValue, "1");
  sim::test::setHook(
      &platform::RegNotifyChangeKeyValue, "RegNotifyChangeKeyValue",
      [](HKEY, BOOL, DWORD, HANDLE, BOOL) -> std::optional<LSTATUS> { return ERROR_KEY_DELETED; });
  // The pause between attempts ends at once, so the loop goes round quickly.
  sim::test::setHook(&platform::WaitForMultipleObjects, "WaitForMultipleObjects",
                     [](DWORD count, const HANDLE*, BOOL, DWORD) -> std::optional<DWORD> {
                       return count == 1 ? std::optional<DWORD>(WAIT_TIMEOUT) : std::nullopt;
                     });
  auto notifier = makeNotifier();
  ASSERT_TRUE(eventually([&] {
    return logged("Failed to subscribe to change notification on registry key: " + kKey,
                  ERROR_KEY_DELETED) >= 3;
  }));
  notifier.reset();
}

TEST_F(NotifierTest, StopsWhileWaitingKeepsFailing) {
  setRegistryString(kKey, kValue, "1");
  testing_support::VirtualClock clock;  // the fallback pause sleeps on virtual time
  sim::test::setHook(&platform::WaitForMultipleObjects, "WaitForMultipleObjects",
                     [](DWORD, const HANDLE*, BOOL, DWORD) -> std::optional<DWORD> {
                       sim::setLastError(ERROR_INVALID_HANDLE);
                       return WAIT_FAILED;
                     });
  auto notifier = makeNotifier();
  ASSERT_TRUE(eventually([&] {
    return logged("Failed to wait for event: " + kKey + "\\" + kValue, ERROR_INVALID_HANDLE) >= 3;
  }));
  notifier.reset();
  EXPECT_GE(clock.sleepCount(), 3);
}

TEST_F(NotifierTest, StopsWhenTheStopEventCannotBeSet) {
  setRegistryString(kKey, kValue, "1");
  auto notifier = makeNotifier();
  std::atomic<int> calls{0};
  sim::test::setHook(&platform::SetEvent, "SetEvent", [&](HANDLE) -> std::optional<BOOL> {
    if (calls.fetch_add(1) > 0) {
      return std::nullopt;
    }
    sim::setLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  });
  notifier.reset();
  EXPECT_EQ(
      logged("Failed to set event to stop thread: " + kKey + "\\" + kValue, ERROR_INVALID_HANDLE),
      1u);
}

}  // namespace
