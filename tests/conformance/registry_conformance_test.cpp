// What the program relies on of the registry: value types and sizes, the error codes of a
// missing or too long value, and the change notification that one change signals once. Each
// check works on a key of its own under HKEY_CURRENT_USER.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/events.h"
#include "platform/pipes_files.h"
#include "platform/registry.h"

namespace {

const WCHAR* const kTestKey = PLATFORM_WIDE("Software\\KestrineConformance");
const WCHAR* const kSubKey = PLATFORM_WIDE("Software\\KestrineConformance\\Sub");
constexpr DWORD kWatchFilter = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET;

std::vector<BYTE> stringBytes(const platform::WideString& text) {
  const auto* first = reinterpret_cast<const BYTE*>(text.c_str());
  return std::vector<BYTE>(first, first + (text.size() + 1) * sizeof(WCHAR));
}

class RegistryConformance : public ::testing::Test {
 protected:
  void SetUp() override {
    removeTestKeys();
    ASSERT_EQ(
        platform::RegCreateKeyExW(HKEY_CURRENT_USER, kTestKey, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                  KEY_ALL_ACCESS, nullptr, &key, nullptr),
        0);
  }

  void TearDown() override {
    if (key) {
      platform::RegCloseKey(key);
    }
    removeTestKeys();
  }

  static void removeTestKeys() {
    platform::RegDeleteKeyW(HKEY_CURRENT_USER, kSubKey);
    platform::RegDeleteKeyW(HKEY_CURRENT_USER, kTestKey);
  }

  LSTATUS set(HKEY target, const WCHAR* name, DWORD type, const std::vector<BYTE>& data) {
    return platform::RegSetValueExW(target, name, 0, type, data.data(),
                                    static_cast<DWORD>(data.size()));
  }

  // Subscribes `event` to the next change under the test key and its subkeys.
  void watch(HANDLE event) {
    ASSERT_EQ(platform::RegNotifyChangeKeyValue(key, TRUE, kWatchFilter, event, TRUE), 0);
  }

  static DWORD waitFor(HANDLE event, DWORD milliseconds) {
    return platform::WaitForMultipleObjects(1, &event, FALSE, milliseconds);
  }

  HKEY key = nullptr;
};

struct TypedValue {
  const char* name;
  DWORD type;
  std::vector<BYTE> data;
};

class RegistryValueConformance : public RegistryConformance,
                                 public ::testing::WithParamInterface<TypedValue> {};

TEST_P(RegistryValueConformance, TypeAndBytesReadBackWithTheirSize) {
  const TypedValue& value = GetParam();
  ASSERT_EQ(set(key, PLATFORM_WIDE("V"), value.type, value.data), 0);

  DWORD type = 0;
  DWORD size = 0;
  ASSERT_EQ(platform::RegQueryValueExW(key, PLATFORM_WIDE("V"), nullptr, &type, nullptr, &size), 0);
  EXPECT_EQ(type, value.type);
  EXPECT_EQ(size, value.data.size());

  std::vector<BYTE> buffer(512, 0xAB);
  size = static_cast<DWORD>(buffer.size());
  ASSERT_EQ(
      platform::RegQueryValueExW(key, PLATFORM_WIDE("v"), nullptr, &type, buffer.data(), &size), 0)
      << "value names ignore case";
  EXPECT_EQ(size, value.data.size());
  EXPECT_EQ(std::vector<BYTE>(buffer.begin(), buffer.begin() + size), value.data);
}

INSTANTIATE_TEST_SUITE_P(
    Types, RegistryValueConformance,
    ::testing::Values(TypedValue{"String", REG_SZ, stringBytes(PLATFORM_WIDE("12"))},
                      TypedValue{"EmptyStringIsTwoBytes", REG_SZ, stringBytes(PLATFORM_WIDE(""))},
                      TypedValue{"ExpandString", REG_EXPAND_SZ, stringBytes(PLATFORM_WIDE("%X%"))},
                      TypedValue{"Dword", REG_DWORD, {0x05, 0x00, 0x00, 0x00}}),
    [](const ::testing::TestParamInfo<TypedValue>& info) { return std::string(info.param.name); });

TEST_F(RegistryConformance, MissingKeyOrValueAndShortBufferGiveTheirCodes) {
  HKEY missing = nullptr;
  EXPECT_EQ(platform::RegOpenKeyExW(HKEY_CURRENT_USER, PLATFORM_WIDE("Software\\KestrineNoSuchKey"),
                                    0, KEY_READ, &missing),
            static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
  std::vector<BYTE> buffer(512);
  DWORD type = REG_SZ;
  DWORD size = static_cast<DWORD>(buffer.size());
  EXPECT_EQ(platform::RegQueryValueExW(key, PLATFORM_WIDE("Absent"), nullptr, &type, buffer.data(),
                                       &size),
            static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));

  // 256 units and the terminator do not fit 512 bytes: the size needed comes back.
  const std::vector<BYTE> data = stringBytes(platform::WideString(256, 'x'));
  ASSERT_EQ(set(key, PLATFORM_WIDE("Long"), REG_SZ, data), 0);
  size = static_cast<DWORD>(buffer.size());
  EXPECT_EQ(
      platform::RegQueryValueExW(key, PLATFORM_WIDE("Long"), nullptr, &type, buffer.data(), &size),
      static_cast<LSTATUS>(ERROR_MORE_DATA));
  EXPECT_EQ(size, data.size());
}

TEST_F(RegistryConformance, HandleOfADeletedKeyGivesKeyDeleted) {
  HKEY opened = nullptr;
  ASSERT_EQ(platform::RegOpenKeyExW(HKEY_CURRENT_USER, kTestKey, 0, KEY_READ, &opened), 0);
  ASSERT_EQ(platform::RegDeleteKeyW(HKEY_CURRENT_USER, kTestKey), 0);
  DWORD size = 0;
  EXPECT_EQ(
      platform::RegQueryValueExW(opened, PLATFORM_WIDE("V"), nullptr, nullptr, nullptr, &size),
      static_cast<LSTATUS>(ERROR_KEY_DELETED));
  EXPECT_EQ(platform::RegCloseKey(opened), 0);
}

TEST_F(RegistryConformance, OneChangeSignalsTheEventOnce) {
  HANDLE event = platform::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  ASSERT_NE(event, nullptr);
  watch(event);
  EXPECT_EQ(waitFor(event, 50), WAIT_TIMEOUT) << "nothing changed yet";

  ASSERT_EQ(set(key, PLATFORM_WIDE("V"), REG_SZ, stringBytes(PLATFORM_WIDE("1"))), 0);
  EXPECT_EQ(waitFor(event, 5000), WAIT_OBJECT_0);
  // The subscription is used up: the next change signals nothing until a new one is made.
  ASSERT_EQ(set(key, PLATFORM_WIDE("V"), REG_SZ, stringBytes(PLATFORM_WIDE("2"))), 0);
  EXPECT_EQ(waitFor(event, 100), WAIT_TIMEOUT);
  platform::CloseHandle(event);
}

TEST_F(RegistryConformance, ChangeInASubkeySignalsAWatchOnTheSubtree) {
  HANDLE event = platform::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  ASSERT_NE(event, nullptr);
  watch(event);
  HKEY sub = nullptr;
  ASSERT_EQ(
      platform::RegCreateKeyExW(HKEY_CURRENT_USER, kSubKey, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                KEY_ALL_ACCESS, nullptr, &sub, nullptr),
      0);
  EXPECT_EQ(waitFor(event, 5000), WAIT_OBJECT_0) << "a new subkey is a change of names";
  watch(event);
  ASSERT_EQ(set(sub, PLATFORM_WIDE("W"), REG_DWORD, {1, 0, 0, 0}), 0);
  EXPECT_EQ(waitFor(event, 5000), WAIT_OBJECT_0) << "a value set in the subkey";
  platform::RegCloseKey(sub);
  platform::CloseHandle(event);
}

}  // namespace
