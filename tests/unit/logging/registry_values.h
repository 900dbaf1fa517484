// Writing registry values below HKEY_LOCAL_MACHINE from tests, through the seam as any process
// of the machine would.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "common/text_conversion.h"
#include "platform/registry.h"

namespace testing_support {

// The bytes of a string value as the registry stores it: UTF-16 with its terminator.
inline std::string registryStringBytes(const std::string& text) {
  const platform::WideString wide = velmo::utf8ToWide(text);
  return std::string(reinterpret_cast<const char*>(wide.c_str()), (wide.size() + 1) * sizeof(WCHAR));
}

// Sets the value `name` of `key` (made if missing) to `bytes` of `type`; without `bytes`, deletes
// the value.
inline void setRegistryValue(const std::string& key, const std::string& name, DWORD type,
                             const std::optional<std::string>& bytes) {
  HKEY handle = nullptr;
  ASSERT_EQ(platform::RegCreateKeyExW(HKEY_LOCAL_MACHINE, velmo::utf8ToWide(key).c_str(), 0,
                                      nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                                      &handle, nullptr), 0);
  const auto wideName = velmo::utf8ToWide(name);
  EXPECT_EQ(bytes ? platform::RegSetValueExW(handle, wideName.c_str(), 0, type,
                                             reinterpret_cast<const BYTE*>(bytes->data()),
                                             static_cast<DWORD>(bytes->size()))
                  : platform::RegDeleteValueW(handle, wideName.c_str()), 0);
  platform::RegCloseKey(handle);
}

inline void setRegistryString(const std::string& key, const std::string& name, const std::string& text) {
  setRegistryValue(key, name, REG_SZ, registryStringBytes(text));
}

}  // namespace testing_support
