#include "library/windows_dynamic_library.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <string>

#include "library/dynamic_library.h"
#include "platform/loader.h"
#include "platform/local_memory.h"
#include "platform/monitor_configuration.h"
#include "platform/trust.h"
#include "tests/unit/library/library_fixture.h"

namespace {

using library_test::LibraryTest;
using library_test::messageOf;
using library_test::system32Path;
using sim::test::ScopedHook;
using velmo::LibrarySearchScope;
using velmo::LibraryValidation;
using velmo::WindowsDynamicLibrary;

constexpr auto kSubject = LibraryValidation::ValidateSubjectName;
constexpr auto kSignature = LibraryValidation::ValidateSignature;

class WindowsDynamicLibraryTest : public LibraryTest {
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
    std::size_t count = 0;
    for (const sim::test::Call& call : sim::test::callsOf("LoadLibraryExW")) {
      const std::string& arguments = call.arguments;
      count += arguments.size() > 3 && arguments.compare(arguments.size() - 3, 3, ", 0") == 0;
    }
    return count;
  }

  // Replaces {path} by the full path of dxva2.dll.
  static std::string withPath(std::string text) {
    for (std::size_t at; (at = text.find("{path}")) != std::string::npos;) {
      text.replace(at, 6, system32Path("dxva2.dll"));
    }
    return text;
  }

  // The one message logged at ERROR; fails the test unless there is exactly one.
  testing_support::LogRecord onlyError() const {
    const auto logged = errors();
    EXPECT_EQ(logged.size(), 1u);
    return logged.empty() ? testing_support::LogRecord{} : logged.front();
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
  EXPECT_TRUE(errors().empty());
  EXPECT_TRUE(logger.contains("Successfully loaded " + path));

  library.reset();
  EXPECT_EQ(callCount("FreeLibrary"), 2u);
  EXPECT_EQ(callCount("LoadLibraryExW"), 2u);
}

// The application-only scope leaves System32 out of the search (0x201), so dxva2.dll is not found.
TEST_F(WindowsDynamicLibraryTest, ApplicationOnlyScopeSearchesTheApplicationDirectory) {
  EXPECT_EQ(messageOf<std::runtime_error>([] {
              velmo::WindowsDynamicLibraryBase("dxva2.dll", LibrarySearchScope::SearchApplicationOnly);
            }),
            "Failed to load the library: error code = 126");
  EXPECT_EQ(sim::test::callsOf("LoadLibraryExW").at(0).arguments, "\"dxva2.dll\", null, 513");
}

sim::SimSigner signer(const std::string& subject) {
  sim::SimSigner result = sim::defaultDxva2Library().signers.front();
  result.subject = subject;
  return result;
}

struct RefusalRow {
  const char* name;
  std::function<void(sim::SimLibrary&)> change;
  LibraryValidation validation;
  const char* pattern;
  std::string logged;  // {path} stands for the library's path
  DWORD code;
};

class Refusal : public WindowsDynamicLibraryTest, public ::testing::WithParamInterface<RefusalRow> {};

TEST_P(Refusal, IsLoggedThrownAndLeavesNothingLoaded) {
  const RefusalRow& row = GetParam();
  changeDxva2(row.change);
  EXPECT_EQ(messageOf<std::runtime_error>([&] { open(row.validation, row.pattern); }),
            row.validation == kSubject ? "Signature validation against subject name failed"
                                       : "Signature validation failed");
  const testing_support::LogRecord logged = onlyError();
  EXPECT_EQ(logged.message, withPath(row.logged));
  EXPECT_EQ(static_cast<DWORD>(logged.resultCode), row.code);
  EXPECT_EQ(realLoads(), 0u);
  EXPECT_EQ(callCount("WinVerifyTrust"), 2u) << "the verdict is always closed";
  // The signature is only taken apart when Windows trusts it.
  EXPECT_EQ(callCount("CryptQueryObject"), row.logged.rfind("Failed to match", 0) == 0 ? 1u : 0u);
}

const std::string kNotValidated =
    "; Failed to read embedded signature. Library signature not validated! Reading embedded "
    "signature of {path} failed";
const std::string kMismatch = " Against provided regex for library {path}";

void distrust(sim::SimLibrary& library) {
  library.trustStatus = TRUST_E_EXPLICIT_DISTRUST;
  library.trustLastError = 0;
}

void keep(sim::SimLibrary&) {}

INSTANTIATE_TEST_SUITE_P(
    Rows, Refusal,
    ::testing::Values(
        RefusalRow{"Distrusted", distrust, kSignature, "Microsoft",
                   "The file {path} is explicitly not trusted.", 0x800B0111u},
        RefusalRow{"DistrustedUnderSubjectCheck", distrust, kSubject, "Microsoft",
                   "The file {path} is explicitly not trusted." + kNotValidated, 0},
        RefusalRow{"OtherSubject",
                   [](sim::SimLibrary& library) { library.signers = {signer("Contoso Ltd")}; },
                   kSubject, "Microsoft", "Failed to match subject name Contoso Ltd" + kMismatch, 0},
        RefusalRow{"CaseCounts", keep, kSubject, "microsoft",
                   "Failed to match subject name Microsoft Windows" + kMismatch, 0},
        RefusalRow{"OnlyTheFirstSignerCounts",
                   [](sim::SimLibrary& library) {
                     library.signers = {signer("Contoso Ltd"), signer("Microsoft Windows")};
                   },
                   kSubject, "Microsoft", "Failed to match subject name Contoso Ltd" + kMismatch, 0}),
    [](const ::testing::TestParamInfo<RefusalRow>& info) { return info.param.name; });

// Makes one call of an operation fail, chosen by its arguments, with some last error.
template <class R, class... A, class When>
std::shared_ptr<ScopedHook> failWhen(R (*op)(A...), const char* name, When when) {
  return std::make_shared<ScopedHook>(op, name, [when](A... args) -> std::optional<R> {
    if (!when(args...)) {
      return std::nullopt;
    }
    sim::setLastError(0x8009200Du);
    return R{};
  });
}

std::shared_ptr<ScopedHook> failLocalAlloc(int which) {
  auto seen = std::make_shared<int>(0);
  return failWhen(&platform::LocalAlloc, "LocalAlloc", [=](UINT, SIZE_T) { return ++*seen == which; });
}

// The size call (no buffer) or the data call of a size-then-data operation fails.
std::shared_ptr<ScopedHook> failSignerInfo(bool sizeCall) {
  return failWhen(&platform::CryptMsgGetParam, "CryptMsgGetParam",
                  [=](HCRYPTMSG, DWORD, DWORD, void* out, DWORD*) { return !out == sizeCall; });
}

std::shared_ptr<ScopedHook> failOpusDecode(bool sizeCall) {
  return failWhen(&platform::CryptDecodeObject, "CryptDecodeObject",
                  [=](DWORD, LPCSTR, const BYTE*, DWORD, DWORD, void* out, DWORD*) {
                    return !out == sizeCall;
                  });
}

std::shared_ptr<ScopedHook> failCertName(DWORD nameFlags, bool sizeCall) {
  return failWhen(&platform::CertGetNameStringW, "CertGetNameStringW",
                  [=](PCCERT_CONTEXT, DWORD, DWORD flags, void*, LPWSTR out, DWORD) {
                    return flags == nameFlags && !out == sizeCall;
                  });
}

struct StepRow {
  const char* name;
  std::function<std::shared_ptr<ScopedHook>()> failStep;
  const char* message;
};

class SignatureStepFailure : public WindowsDynamicLibraryTest,
                             public ::testing::WithParamInterface<StepRow> {};

TEST_P(SignatureStepFailure, RefusesTheLibraryAndReleasesEverything) {
  const auto hook = GetParam().failStep();
  EXPECT_THROW(open(), std::runtime_error);
  const testing_support::LogRecord logged = onlyError();
  EXPECT_EQ(logged.message, withPath(std::string(GetParam().message) +
                                     " Reading embedded signature of {path} failed"));
  EXPECT_EQ(logged.resultCode, 0) << "the step's code does not travel on";
  EXPECT_EQ(realLoads(), 0u);
  // Every block that was handed out came back (a refused allocation is a call too).
  const bool allocationRefused = std::string(GetParam().message).find("memory") != std::string::npos;
  EXPECT_EQ(callCount("LocalFree") + allocationRefused, callCount("LocalAlloc"));
}

const auto kAlways = [](auto&&...) { return true; };

INSTANTIATE_TEST_SUITE_P(
    Steps, SignatureStepFailure,
    ::testing::Values(
        StepRow{"Query", [] { return failWhen(&platform::CryptQueryObject, "CryptQueryObject", kAlways); },
                "CryptQueryObject failed"},
        StepRow{"SignerInfoSize", [] { return failSignerInfo(true); },
                "CryptMsgGetParam failed - signer information size"},
        StepRow{"SignerInfoMemory", [] { return failLocalAlloc(1); },
                "Unable to allocate memory for Signer Info."},
        StepRow{"SignerInfo", [] { return failSignerInfo(false); },
                "CryptMsgGetParam failed - signer information"},
        StepRow{"OpusSize", [] { return failOpusDecode(true); }, "CryptDecodeObject failed"},
        StepRow{"OpusMemory", [] { return failLocalAlloc(2); },
                "Unable to allocate memory for Publisher Info."},
        StepRow{"Certificate",
                [] {
                  return failWhen(&platform::CertFindCertificateInStore,
                                  "CertFindCertificateInStore", kAlways);
                },
                "CertFindCertificateInStore failed"},
        StepRow{"IssuerLength", [] { return failCertName(CERT_NAME_ISSUER_FLAG, true); },
                "CertGetNameString failed - Issuer Name"},
        StepRow{"SubjectName", [] { return failCertName(0, false); },
                "CertGetNameString failed - Subject Name"}),
    [](const ::testing::TestParamInfo<StepRow>& info) { return info.param.name; });



// A signer without the opus attribute (program name and links) is accepted as it stands.
TEST_F(WindowsDynamicLibraryTest, SignerWithoutOpusIsAccepted) {
  changeDxva2([](sim::SimLibrary& library) { library.signers.front().opus.reset(); });
  EXPECT_NO_THROW(open());
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(callCount("CryptDecodeObject"), 0u);
}

TEST_F(WindowsDynamicLibraryTest, NameFailuresComeBeforeAnyComplaintAboutTheLogger) {
  const auto make = [](const std::string& name) {
    return [name] {
      WindowsDynamicLibrary(name, nullptr, std::regex("Microsoft"),
                            LibrarySearchScope::SearchApplicationAndSystem, kSubject);
    };
  };
  EXPECT_EQ(messageOf<std::logic_error>(make("")), "Invalid name provided");
  EXPECT_EQ(callCount("LoadLibraryExW"), 0u);
  EXPECT_EQ(messageOf<std::runtime_error>(make("kestrine-missing.dll")),
            "Failed to load the library: error code = 126");
  EXPECT_EQ(messageOf<std::invalid_argument>(make("dxva2.dll")),
            "WindowsDynamicLibrary object requires a valid logger");
  EXPECT_EQ(realLoads(), 0u);
}

TEST_F(WindowsDynamicLibraryTest, FailedPathQueryUnmapsTheFile) {
  ScopedHook hook(&platform::GetModuleFileNameW, "GetModuleFileNameW",
                  [](HMODULE, LPWSTR, DWORD) -> std::optional<DWORD> {
                    sim::setLastError(5);
                    return 0;
                  });
  EXPECT_EQ(messageOf<std::runtime_error>([&] { open(); }),
            "Failed to load the library: error code = 5");
  EXPECT_EQ(callCount("FreeLibrary"), 1u);
}

// A library in the current directory and on PATH is not found; one in the application's
// directory is found before System32's and is the one checked and loaded.
TEST_F(WindowsDynamicLibraryTest, OnlyTheApplicationDirectoryAndSystem32AreSearched) {
  const std::filesystem::path elsewhere = simRoot / "elsewhere";
  std::filesystem::create_directories(elsewhere);
  std::ofstream(elsewhere / "stray.dll") << sim::encodeLibrary(sim::defaultDxva2Library());
  const std::filesystem::path previous = std::filesystem::current_path();
  const std::string previousPath = std::getenv("PATH") ? std::getenv("PATH") : "";
  std::filesystem::current_path(elsewhere);
  ::setenv("PATH", elsewhere.c_str(), 1);
  EXPECT_EQ(messageOf<std::runtime_error>([&] { open(kSubject, "Microsoft", "stray.dll"); }),
            "Failed to load the library: error code = 126");
  std::filesystem::current_path(previous);
  ::setenv("PATH", previousPath.c_str(), 1);

  const std::string name = "kestrine-both-" + std::to_string(::getpid()) + ".dll";
  const std::filesystem::path local = sim::applicationDir() / name;
  sim::SimLibrary contoso = sim::defaultDxva2Library();
  contoso.signers = {signer("Contoso Ltd")};
  std::ofstream(local) << sim::encodeLibrary(contoso);
  sim::installSystem32Library(name, sim::defaultDxva2Library());
  EXPECT_THROW(open(kSubject, "Microsoft", name), std::runtime_error);
  std::filesystem::remove(local);
  EXPECT_EQ(onlyError().message, "Failed to match subject name Contoso Ltd Against provided regex "
                                 "for library " + local.string());
}

TEST_F(WindowsDynamicLibraryTest, ExportsAreLookedUpOnlyForANameAndOnlyWhileLoaded) {
  const auto library = open();
  sim::test::clearCalls();
  EXPECT_EQ(library->getFunctionAddress(""), nullptr);
  EXPECT_EQ(callCount("GetProcAddress"), 0u);
  EXPECT_EQ(library->getFunctionAddress("KestrineMissingExport"), nullptr);
  const auto count = reinterpret_cast<platform::GetNumberOfPhysicalMonitorsFromHMONITORFn>(
      library->getFunctionAddress("GetNumberOfPhysicalMonitorsFromHMONITOR"));
  ASSERT_NE(count, nullptr);
  DWORD monitors = 7;
  EXPECT_NE(count(nullptr, &monitors), FALSE);
  EXPECT_EQ(monitors, 0u);
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
