#include "library/windows_dynamic_library.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "library/dynamic_library.h"
#include "platform/loader.h"
#include "platform/local_memory.h"
#include "platform/trust.h"
#include "tests/unit/library/library_fixture.h"

namespace {

using library_test::messageOf;
using library_test::system32Path;
using velmo::LibrarySearchScope;
using velmo::LibraryValidation;
using velmo::WindowsDynamicLibrary;

constexpr auto kSubject = LibraryValidation::ValidateSubjectName;
constexpr auto kSignature = LibraryValidation::ValidateSignature;
const std::string kNotFound = "Failed to load the library: error code = 126";

class WindowsDynamicLibraryTest : public library_test::LibraryTest {
 protected:
  std::unique_ptr<WindowsDynamicLibrary> open(LibraryValidation validation = kSubject,
                                              const std::string& pattern = "Microsoft",
                                              const std::string& name = "dxva2.dll") {
    return std::make_unique<WindowsDynamicLibrary>(name, subLogger(), std::regex(pattern),
                                                   LibrarySearchScope::SearchApplicationAndSystem,
                                                   validation);
  }

  // Loads with flags 0: the only loads that would run a library's code.
  static std::size_t realLoads() {
    const auto loads = sim::test::callsOf("LoadLibraryExW");
    return std::count_if(loads.begin(), loads.end(), [](const sim::test::Call& call) {
      return std::regex_search(call.arguments, std::regex(", 0$"));
    });
  }
};

TEST_F(WindowsDynamicLibraryTest, GoodLibraryIsCheckedThenLoadedOnceByItsFullPath) {
  auto library = open();
  const std::string path = system32Path("dxva2.dll");
  const auto loads = sim::test::callsOf("LoadLibraryExW");
  ASSERT_EQ(loads.size(), 2u);
  EXPECT_EQ(loads[0].arguments, "\"dxva2.dll\", null, 2561");  // 0xA01: search, run nothing
  EXPECT_EQ(loads[1].arguments, "\"" + path + "\", null, 0");
  EXPECT_EQ(callCount("FreeLibrary"), 1u) << "the file is unmapped before it is checked";
  EXPECT_EQ(callCount("WinVerifyTrust"), 2u);
  EXPECT_EQ(callCount("LocalAlloc"), callCount("LocalFree"));
  EXPECT_EQ(library->getLibraryPath(), path);
  EXPECT_EQ(log.messages(), std::vector<std::string>{"Successfully loaded " + path});
  EXPECT_EQ(library->getFunctionAddress(""), nullptr);
  EXPECT_EQ(callCount("GetProcAddress"), 0u) << "no look-up without a name";
  library.reset();
  EXPECT_EQ(callCount("FreeLibrary"), 2u);
}

// Re-signs dxva2.dll with copies of its first signer under the given subjects, in this order.
void signedBy(const std::vector<std::string>& subjects) {
  library_test::changeDxva2([&](sim::SimLibrary& library) {
    library.signers.assign(subjects.size(), sim::SimSigner(library.signers.front()));
    for (std::size_t i = 0; i < subjects.size(); ++i) library.signers[i].subject = subjects[i];
  });
}

template <LONG status>
void trustStatus() {
  library_test::changeDxva2([](sim::SimLibrary& library) { library.trustStatus = status, library.trustLastError = 0; });
}
const auto distrust = trustStatus<TRUST_E_EXPLICIT_DISTRUST>;
// CERT_E_UNTRUSTEDROOT: a chain whose root the machine does not trust. Windows refuses it; Wine
// accepts it, so only the sim can hold this case.
const auto untrustedRoot = trustStatus<static_cast<LONG>(0x800B0109u)>;

// Makes the calls of an operation for which `when` holds fail, with some last error.
template <class R, class... A, class When>
void failWhen(R (*op)(A...), When when) {
  sim::test::setHook(op, [when](A... args) mutable -> std::optional<R> {
    if (!when(args...)) return std::nullopt;
    sim::setLastError(0x8009200Du);
    return R{};
  });
}

const auto kAlways = [](auto&&...) { return true; };
void failLocalAlloc(int which) {
  failWhen(&platform::LocalAlloc, [seen = 0, which](UINT, SIZE_T) mutable {
    return ++seen == which;
  });
}
// The size call (no buffer) or the data call of a size-then-data operation fails.
void failSignerInfo(bool sizeCall) {
  failWhen(&platform::CryptMsgGetParam, [=](HCRYPTMSG, DWORD, DWORD, void* out, DWORD*) { return !out == sizeCall; });
}
void failCertName(DWORD nameFlags, bool sizeCall) {
  failWhen(&platform::CertGetNameStringW, [=](PCCERT_CONTEXT, DWORD, DWORD flags, void*, LPWSTR out, DWORD) {
             return flags == nameFlags && !out == sizeCall;
           });
}

struct RefusalRow {
  void (*arrange)();
  std::string logged;  // {path} stands for dxva2.dll's full path
  DWORD code = 0;
  LibraryValidation validation = kSubject;
  const char* pattern = "Microsoft";
};

class Refusal : public WindowsDynamicLibraryTest, public ::testing::WithParamInterface<RefusalRow> {};

// Whatever refuses the library, one line is logged at ERROR, nothing is loaded to run, the verdict
// is closed and every block handed out comes back (a refused allocation is a call too).
TEST_P(Refusal, IsLoggedThrownAndLeavesNothingLoaded) {
  const RefusalRow& row = GetParam();
  row.arrange();
  EXPECT_EQ(messageOf<std::runtime_error>([&] { open(row.validation, row.pattern); }),
            row.validation == kSubject ? "Signature validation against subject name failed"
                                       : "Signature validation failed");
  const auto logged = log.records();
  ASSERT_EQ(logged.size(), 1u);
  EXPECT_EQ(logged[0].message, std::regex_replace(row.logged, std::regex("\\{path\\}"), system32Path("dxva2.dll")));
  EXPECT_EQ(logged[0].level, velmo::logging::ERROR);
  EXPECT_EQ(static_cast<DWORD>(logged[0].resultCode), row.code);
  EXPECT_EQ(realLoads(), 0u);
  EXPECT_EQ(callCount("WinVerifyTrust"), 2u);
  // The signature is only taken apart when Windows trusts it.
  EXPECT_EQ(callCount("CryptQueryObject"), row.logged.rfind("The file", 0) == 0 ? 0u : 1u);
  const bool allocationRefused = row.logged.find("memory") != std::string::npos;
  EXPECT_EQ(callCount("LocalFree") + allocationRefused, callCount("LocalAlloc"));
}

// A failed step of reading the signature is logged with this tail, without the step's own code.
const std::string kRead = " Reading embedded signature of {path} failed";
const std::string kMismatch = " Against provided regex for library {path}";

INSTANTIATE_TEST_SUITE_P(
    Rows, Refusal,
    ::testing::Values(
        RefusalRow{distrust, "The file {path} is explicitly not trusted.", 0x800B0111u, kSignature},
        RefusalRow{distrust, "The file {path} is explicitly not trusted.; Failed to read embedded "
                             "signature. Library signature not validated!" + kRead},
        RefusalRow{untrustedRoot, "The file {path} is untrusted Error code -2146762487; Failed to read "
                                  "embedded signature. Library signature not validated!" + kRead},
        RefusalRow{[] { signedBy({"Contoso Ltd"}); },
                   "Failed to match subject name Contoso Ltd" + kMismatch},
        RefusalRow{[] { signedBy({"Microsoft Windows"}); },
                   "Failed to match subject name Microsoft Windows" + kMismatch, 0, kSubject, "microsoft"},
        // Only the first signer counts.
        RefusalRow{[] { signedBy({"Contoso Ltd", "Microsoft Windows"}); },
                   "Failed to match subject name Contoso Ltd" + kMismatch},
        RefusalRow{[] { failWhen(&platform::CryptQueryObject, kAlways); },
                   "CryptQueryObject failed" + kRead},
        RefusalRow{[] { failSignerInfo(true); },
                   "CryptMsgGetParam failed - signer information size" + kRead},
        RefusalRow{[] { failLocalAlloc(1); }, "Unable to allocate memory for Signer Info." + kRead},
        RefusalRow{[] { failSignerInfo(false); },
                   "CryptMsgGetParam failed - signer information" + kRead},
        RefusalRow{[] { failWhen(&platform::CryptDecodeObject, kAlways); },
                   "CryptDecodeObject failed" + kRead},
        RefusalRow{[] { failLocalAlloc(2); }, "Unable to allocate memory for Publisher Info." + kRead},
        RefusalRow{[] { failWhen(&platform::CertFindCertificateInStore, kAlways); },
                   "CertFindCertificateInStore failed" + kRead},
        RefusalRow{[] { failCertName(CERT_NAME_ISSUER_FLAG, true); },
                   "CertGetNameString failed - Issuer Name" + kRead},
        RefusalRow{[] { failCertName(0, false); }, "CertGetNameString failed - Subject Name" + kRead}));

// A signer without the opus attribute (program name and links) is accepted as it stands.
TEST_F(WindowsDynamicLibraryTest, SignerWithoutOpusIsAccepted) {
  library_test::changeDxva2([](sim::SimLibrary& library) { library.signers.front().opus.reset(); });
  EXPECT_NO_THROW(open());
  EXPECT_EQ(callCount("CryptDecodeObject"), 0u);
}

// Search failures come before any complaint about the logger; a failed path query unmaps the
// file again.
TEST_F(WindowsDynamicLibraryTest, SearchFailuresComeFirst) {
  const auto make = [](const char* name) {
    return [name] {
      WindowsDynamicLibrary(name, nullptr, std::regex("Microsoft"),
                            LibrarySearchScope::SearchApplicationAndSystem, kSubject);
    };
  };
  EXPECT_EQ(messageOf<std::logic_error>(make("")), "Invalid name provided");
  EXPECT_EQ(callCount("LoadLibraryExW"), 0u);
  EXPECT_EQ(messageOf<std::runtime_error>(make("kestrine-missing.dll")), kNotFound);
  EXPECT_EQ(messageOf<std::invalid_argument>(make("dxva2.dll")),
            "WindowsDynamicLibrary object requires a valid logger");
  EXPECT_EQ(realLoads(), 0u);
  // The application-only scope leaves System32 out of the search (0x201).
  sim::test::clearCalls();
  EXPECT_EQ(messageOf<std::runtime_error>([] {
              velmo::WindowsDynamicLibraryBase("dxva2.dll", LibrarySearchScope::SearchApplicationOnly);
            }), kNotFound);
  EXPECT_EQ(sim::test::callsOf("LoadLibraryExW").at(0).arguments, "\"dxva2.dll\", null, 513");
  sim::test::setHook(&platform::GetModuleFileNameW, [](HMODULE, LPWSTR, DWORD) {
    sim::setLastError(5);
    return std::optional<DWORD>(0);
  });
  EXPECT_EQ(messageOf<std::runtime_error>([&] { open(); }), "Failed to load the library: error code = 5");
  EXPECT_EQ(callCount("FreeLibrary"), 1u);
}

TEST_F(WindowsDynamicLibraryTest, LoadReportsTheRealLoadAndNothingOnceLoaded) {
  velmo::WindowsDynamicLibraryBase library("dxva2.dll",
                                           LibrarySearchScope::SearchApplicationAndSystem);
  ASSERT_TRUE(sim::removeSystem32Library("dxva2.dll"));
  const velmo::LibraryResult missing = library.load();
  EXPECT_FALSE(missing.ok);
  EXPECT_EQ(missing.errorCode, ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(missing.message, "Failed to load " + system32Path("dxva2.dll"));
  ASSERT_TRUE(sim::restoreSystem32Library("dxva2.dll"));
  EXPECT_EQ(library.load().message, "Successfully loaded " + system32Path("dxva2.dll"));
  sim::test::clearCalls();
  const velmo::LibraryResult again = library.load();
  EXPECT_TRUE(again.ok && again.message.empty());
  EXPECT_EQ(callCount("LoadLibraryExW"), 0u);
}

TEST_F(WindowsDynamicLibraryTest, CreateChoosesTheCheckAndRefusesABadPatternFirst) {
  EXPECT_THROW(velmo::createDynamicLibrary("dxva2.dll", subLogger(), "(", true), std::regex_error);
  EXPECT_TRUE(sim::test::calls().empty());
  velmo::createDynamicLibrary("dxva2.dll", subLogger(), "Microsoft", false);
  EXPECT_EQ(callCount("WinVerifyTrust"), 2u);
  EXPECT_EQ(callCount("CryptQueryObject"), 0u);
  velmo::createDynamicLibrary("dxva2.dll", subLogger(), "Microsoft", true);
  EXPECT_EQ(callCount("CryptQueryObject"), 1u);
}

}  // namespace
