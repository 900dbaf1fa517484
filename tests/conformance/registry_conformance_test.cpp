// What the program relies on of the registry: value types and sizes, the error codes of a
// missing or too long value, and the change notification that one change signals once. Each
// check works on a key of its own under HKEY_CURRENT_USER.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/events.h"
#include "platform/pipes_files.h"
#include "platform/registry.h"

namespace {

const WCHAR* const kTestKey = PLATFORM_WIDE("Software\\KestrineConformance");
const WCHAR* const kSubKey = PLATFORM_WIDE("Software\\KestrineConformance\\Sub");

std::vector<BYTE> stringBytes(const platform::WideString& text) {
  const auto* first = reinterpret_cast<const BYTE*>(text.c_str());
  return std::vector<BYTE>(first, first + (text.size() + 1) * sizeof(WCHAR));
}

LSTATUS createKey(const WCHAR* path, HKEY* key) {
  return platform::RegCreateKeyExW(HKEY_CURRENT_USER, path, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                   KEY_ALL_ACCESS, nullptr, key, nullptr);
}

LSTATUS set(HKEY key, const WCHAR* name, DWORD type, const std::vector<BYTE>& data) {
  return platform::RegSetValueExW(key, name, 0, type, data.data(), static_cast<DWORD>(data.size()));
}

// A value read into a buffer of 512 bytes; for ERROR_MORE_DATA `data` has the size needed.
struct Read { LSTATUS status; DWORD type; std::vector<BYTE> data; };

Read readValue(HKEY key, const WCHAR* name) {
  Read read{0, REG_NONE, std::vector<BYTE>(512, 0xAB)};
  DWORD size = static_cast<DWORD>(read.data.size());
  read.status = platform::RegQueryValueExW(key, name, nullptr, &read.type, read.data.data(), &size);
  read.data.resize(size);
  return read;
}

class RegistryConformance : public ::testing::Test {
 protected:
  void SetUp() override {
    TearDown();
    ASSERT_EQ(createKey(kTestKey, &key), 0);
  }

  void TearDown() override {
    if (key) platform::RegCloseKey(key);
    key = nullptr;
    platform::RegDeleteKeyW(HKEY_CURRENT_USER, kSubKey);
    platform::RegDeleteKeyW(HKEY_CURRENT_USER, kTestKey);
  }

  HKEY key = nullptr;
};

TEST_F(RegistryConformance, TypeAndBytesReadBackWithTheirSize) {
  const std::pair<DWORD, std::vector<BYTE>> values[] = {
      {REG_SZ, stringBytes(PLATFORM_WIDE("12"))},
      {REG_SZ, stringBytes(PLATFORM_WIDE(""))},  // two bytes
      {REG_EXPAND_SZ, stringBytes(PLATFORM_WIDE("%X%"))}, {REG_DWORD, {0x05, 0x00, 0x00, 0x00}}};
  for (const auto& [type, data] : values) {
    SCOPED_TRACE(testing::Message() << "type " << type << ", size " << data.size());
    ASSERT_EQ(set(key, PLATFORM_WIDE("V"), type, data), 0);
    const Read read = readValue(key, PLATFORM_WIDE("v"));
    ASSERT_EQ(read.status, 0) << "value names ignore case";
    EXPECT_EQ(read.type, type);
    EXPECT_EQ(read.data, data);
  }
}

// A missing key or value (one deleted too), a value longer than the buffer (the size needed comes
// back) and the handle of a key deleted since it was opened each give their code.
TEST_F(RegistryConformance, FailuresGiveTheirCodes) {
  HKEY other = nullptr;
  EXPECT_EQ(platform::RegOpenKeyExW(HKEY_CURRENT_USER, PLATFORM_WIDE("Software\\KestrineNoSuchKey"),
                                    0, KEY_READ, &other), static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(readValue(key, PLATFORM_WIDE("Absent")).status, static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
  // 256 units and the terminator do not fit 512 bytes.
  const std::vector<BYTE> data = stringBytes(platform::WideString(256, 'x'));
  ASSERT_EQ(set(key, PLATFORM_WIDE("Long"), REG_SZ, data), 0);
  const Read tooLong = readValue(key, PLATFORM_WIDE("Long"));
  EXPECT_EQ(tooLong.status, static_cast<LSTATUS>(ERROR_MORE_DATA));
  EXPECT_EQ(tooLong.data.size(), data.size());
  ASSERT_EQ(platform::RegDeleteValueW(key, PLATFORM_WIDE("long")), 0);
  EXPECT_EQ(readValue(key, PLATFORM_WIDE("Long")).status, static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(platform::RegDeleteValueW(key, PLATFORM_WIDE("Long")), static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));

  ASSERT_EQ(platform::RegOpenKeyExW(HKEY_CURRENT_USER, kTestKey, 0, KEY_READ, &other), 0);
  ASSERT_EQ(platform::RegDeleteKeyW(HKEY_CURRENT_USER, kTestKey), 0);
  EXPECT_EQ(readValue(other, PLATFORM_WIDE("V")).status, static_cast<LSTATUS>(ERROR_KEY_DELETED));
  EXPECT_EQ(platform::RegCloseKey(other), 0);
}

// A watch on the test key's subtree: one change signals the event once, and the next change
// signals nothing until a new watch is made; a new subkey and a value set in it are changes.
TEST_F(RegistryConformance, OneChangeInTheSubtreeSignalsTheEventOnce) {
  HANDLE event = platform::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  ASSERT_NE(event, nullptr);
  const auto watch = [&] {
    return platform::RegNotifyChangeKeyValue(
        key, TRUE, REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET, event, TRUE);
  };
  const auto waitFor = [&](DWORD milliseconds) {
    return platform::WaitForMultipleObjects(1, &event, FALSE, milliseconds);
  };
  ASSERT_EQ(watch(), 0);
  EXPECT_EQ(waitFor(50), WAIT_TIMEOUT) << "nothing changed yet";
  ASSERT_EQ(set(key, PLATFORM_WIDE("V"), REG_SZ, stringBytes(PLATFORM_WIDE("1"))), 0);
  EXPECT_EQ(waitFor(5000), WAIT_OBJECT_0);
  ASSERT_EQ(set(key, PLATFORM_WIDE("V"), REG_SZ, stringBytes(PLATFORM_WIDE("2"))), 0);
  EXPECT_EQ(waitFor(100), WAIT_TIMEOUT) << "the watch is used up";

  ASSERT_EQ(watch(), 0);
  HKEY sub = nullptr;
  ASSERT_EQ(createKey(kSubKey, &sub), 0);
  EXPECT_EQ(waitFor(5000), WAIT_OBJECT_0) << "a new subkey is a change of names";
  ASSERT_EQ(watch(), 0);
  ASSERT_EQ(set(sub, PLATFORM_WIDE("W"), REG_DWORD, {1, 0, 0, 0}), 0);
  EXPECT_EQ(waitFor(5000), WAIT_OBJECT_0) << "a value set in the subkey";
  platform::RegCloseKey(sub);
  platform::CloseHandle(event);
}

}  // namespace
