// What the program relies on of the loader and of WinVerifyTrust: a bare name found only by the
// search flags, its full path, a missing export, and the verdict on an unsigned file (the check
// executable itself). dxva2.dll is in System32 on Windows, under Wine and on the sim.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <regex>
#include <string>

#include "platform/errors.h"
#include "platform/loader.h"
#include "platform/local_memory.h"
#include "platform/trust.h"

namespace {

constexpr DWORD kSearchFlags =
    DONT_RESOLVE_DLL_REFERENCES | LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;

platform::WideString moduleFileName(HMODULE module) {
  WCHAR buffer[MAX_PATH] = {};
  const DWORD length = platform::GetModuleFileNameW(module, buffer, MAX_PATH);
  return platform::WideString(buffer, length);
}

TEST(LoaderConformance, MissingLibraryIsNotFound) {
  for (const WCHAR* name : {PLATFORM_WIDE("kestrine-no-such-library.dll"), PLATFORM_WIDE(""),
                            PLATFORM_WIDE("kestrine-no-such-directory\\dxva2.dll")}) {
    EXPECT_EQ(platform::LoadLibraryExW(name, nullptr, kSearchFlags), nullptr);
    EXPECT_EQ(platform::GetLastError(), ERROR_MOD_NOT_FOUND);
  }
}

TEST(LoaderConformance, SearchFindsSystem32LibraryByItsFullPath) {
  const HMODULE mapped = platform::LoadLibraryExW(PLATFORM_WIDE("dxva2.dll"), nullptr, kSearchFlags);
  ASSERT_NE(mapped, nullptr);
  const platform::WideString path = moduleFileName(mapped);
  // A full path on either system, in any case: "C:\...\dxva2.dll" or "/.../dxva2.dll".
  std::string text;
  for (const WCHAR c : path) text += c < 0x80 ? static_cast<char>(std::tolower(c)) : '?';
  EXPECT_TRUE(std::regex_match(text, std::regex(R"(([a-z]:\\|/).*[\\/]dxva2\.dll)"))) << text;
  EXPECT_NE(platform::FreeLibrary(mapped), FALSE);

  const HMODULE loaded = platform::LoadLibraryExW(path.c_str(), nullptr, 0);
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(moduleFileName(loaded), path);
  EXPECT_NE(platform::GetProcAddress(loaded, "GetNumberOfPhysicalMonitorsFromHMONITOR"), nullptr);
  EXPECT_EQ(platform::GetProcAddress(loaded, "KestrineNoSuchExport"), nullptr);
  EXPECT_EQ(platform::GetLastError(), ERROR_PROC_NOT_FOUND);
  EXPECT_NE(platform::FreeLibrary(loaded), FALSE);
}

// The trust question as the program asks it: the verdict, the last error right after it, and
// the call that closes the verification state again.
TEST(LoaderConformance, UnsignedFileHasNoSignature) {
  const platform::WideString self = moduleFileName(nullptr);
  ASSERT_FALSE(self.empty());
  WINTRUST_FILE_INFO file{};
  file.cbStruct = sizeof file;
  file.pcwszFilePath = self.c_str();
  platform::WINTRUST_DATA data{};
  data.cbStruct = sizeof data;
  data.dwUIChoice = WTD_UI_NONE;
  data.dwUnionChoice = WTD_CHOICE_FILE;
  data.pFile = &file;
  data.dwStateAction = WTD_STATEACTION_VERIFY;
  GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
  const LONG status = platform::WinVerifyTrust(nullptr, &action, &data);
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(TRUST_E_NOSIGNATURE));
  EXPECT_EQ(status, TRUST_E_NOSIGNATURE);
  data.dwStateAction = WTD_STATEACTION_CLOSE;
  EXPECT_EQ(platform::WinVerifyTrust(nullptr, &action, &data), 0);

  HCERTSTORE store = nullptr;
  HCRYPTMSG message = nullptr;
  EXPECT_EQ(platform::CryptQueryObject(CERT_QUERY_OBJECT_FILE, self.c_str(),
                                       CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED,
                                       CERT_QUERY_FORMAT_FLAG_BINARY, 0, nullptr, nullptr, nullptr,
                                       &store, &message, nullptr), FALSE);
  EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(CRYPT_E_NO_MATCH));
  EXPECT_EQ(store, nullptr);
  EXPECT_EQ(message, nullptr);
}

TEST(LoaderConformance, LocalMemoryIsZeroFilled) {
  const HLOCAL block = platform::LocalAlloc(LPTR, 64);
  ASSERT_NE(block, nullptr);
  const auto* bytes = static_cast<const unsigned char*>(block);
  EXPECT_TRUE(std::all_of(bytes, bytes + 64, [](unsigned char b) { return b == 0; }));
  EXPECT_EQ(platform::LocalFree(block), nullptr);
}

}  // namespace
