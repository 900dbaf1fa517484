// What the program relies on of the loader and of WinVerifyTrust: a bare name found only by the
// search flags, its full path, a missing export, and the verdict on an unsigned file (the check
// executable itself). dxva2.dll is in System32 on Windows, under Wine and on the sim.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>

#include "platform/errors.h"
#include "platform/loader.h"
#include "platform/local_memory.h"
#include "platform/trust.h"
#include "tests/support/verify_trust.h"

namespace {

constexpr DWORD kSearchFlags =
    DONT_RESOLVE_DLL_REFERENCES | LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;

std::string narrow(const platform::WideString& text) {
  std::string result;
  for (const WCHAR c : text) {
    result += c < 0x80 ? static_cast<char>(c) : '?';
  }
  return result;
}

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// A full path on either system: "C:\..." or "/...".
bool isFullPath(const std::string& path) {
  return (path.size() > 2 && path[1] == ':' && path[2] == '\\') || path.rfind('/', 0) == 0;
}

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
  const std::string text = lowerCase(narrow(path));
  EXPECT_TRUE(isFullPath(text)) << text;
  EXPECT_GT(text.size(), 10u);
  EXPECT_TRUE(text.size() > 10 && (text.compare(text.size() - 10, 10, "\\dxva2.dll") == 0 ||
                                   text.compare(text.size() - 10, 10, "/dxva2.dll") == 0))
      << text;

  // A path that does not fit is cut to the buffer's size (whether it is terminated then
  // depends on the Windows version).
  WCHAR small[4] = {1, 1, 1, 1};
  EXPECT_EQ(platform::GetModuleFileNameW(mapped, small, 4), 4u);
  EXPECT_NE(platform::FreeLibrary(mapped), FALSE);

  const HMODULE loaded = platform::LoadLibraryExW(path.c_str(), nullptr, 0);
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(moduleFileName(loaded), path);
  EXPECT_NE(platform::GetProcAddress(loaded, "GetNumberOfPhysicalMonitorsFromHMONITOR"), nullptr);
  EXPECT_EQ(platform::GetProcAddress(loaded, "KestrineNoSuchExport"), nullptr);
  EXPECT_EQ(platform::GetLastError(), ERROR_PROC_NOT_FOUND);
  EXPECT_NE(platform::FreeLibrary(loaded), FALSE);
  // Once released, the handle is no module any more.
  EXPECT_EQ(platform::GetProcAddress(loaded, "GetNumberOfPhysicalMonitorsFromHMONITOR"), nullptr);
  EXPECT_EQ(platform::GetLastError(), ERROR_MOD_NOT_FOUND);
}

TEST(LoaderConformance, UnsignedFileHasNoSignature) {
  const platform::WideString self = moduleFileName(nullptr);
  ASSERT_FALSE(self.empty());
  const testing_support::TrustAnswer answer = testing_support::verifyTrust(self);
  EXPECT_EQ(answer.status, TRUST_E_NOSIGNATURE);
  EXPECT_EQ(answer.lastError, static_cast<DWORD>(TRUST_E_NOSIGNATURE));
  EXPECT_EQ(answer.closeStatus, 0);

  HCERTSTORE store = nullptr;
  HCRYPTMSG message = nullptr;
  EXPECT_EQ(platform::CryptQueryObject(CERT_QUERY_OBJECT_FILE, self.c_str(),
                                       CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED,
                                       CERT_QUERY_FORMAT_FLAG_BINARY, 0, nullptr, nullptr, nullptr,
                                       &store, &message, nullptr),
            FALSE);
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
