#include "library/windows_dynamic_library.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <string>

#include "library/dynamic_library.h"
#include "platform/errors.h"
#include "platform/loader.h"
#include "platform/local_memory.h"
#include "platform/monitor_configuration.h"
#include "platform/text.h"
#include "platform/trust.h"
#include "tests/unit/library/library_fixture.h"

namespace {

using library_test::LibraryTest;
using library_test::system32Path;
using sim::test::ScopedHook;
using velmo::LibrarySearchScope;
using velmo::LibraryValidation;
using velmo::WindowsDynamicLibrary;

constexpr DWORD kSearchBoth = 0xA01;
constexpr DWORD kSearchApplication = 0x201;

class WindowsDynamicLibraryTest : public LibraryTest {
 protected:
  std::unique_ptr<WindowsDynamicLibrary> open(
      LibraryValidation validation = LibraryValidation::ValidateSubjectName,
      const std::string& pattern = "Microsoft", const std::string& name = "dxva2.dll") {
    return std::make_unique<WindowsDynamicLibrary>(name, subLogger(), std::regex(pattern),
                                                   LibrarySearchScope::SearchApplicationAndSystem,
                                                   validation);
  }

  // Loads with flags 0: the only loads that would run a library's code.
  static std::size_t realLoads() {
    std::size_t count = 0;
    for (const sim::test::Call& call : sim::test::callsOf("LoadLibraryExW")) {
      count += call.arguments.size() > 3 &&
               call.arguments.compare(call.arguments.size() - 3, 3, ", 0") == 0;
    }
    return count;
  }

  // Replaces {path} by the full path of dxva2.dll.
  static std::string withPath(std::string text) {
    const std::string path = system32Path("dxva2.dll");
    for (std::size_t at; (at = text.find("{path}")) != std::string::npos;) {
      text.replace(at, 6, path);
    }
    return text;
  }
};

TEST_F(WindowsDynamicLibraryTest, GoodLibraryIsCheckedThenLoadedOnceByItsFullPath) {
  auto library = open();
  const std::string path = system32Path("dxva2.dll");
  const auto loads = sim::test::callsOf("LoadLibraryExW");
  ASSERT_EQ(loads.size(), 2u);
  EXPECT_EQ(loads[0].arguments, "\"dxva2.dll\", null, " + std::to_string(kSearchBoth));
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

struct ScopeRow {
  const char* name;
  LibrarySearchScope scope;
  DWORD flags;
  bool found;
};

class SearchScope : public WindowsDynamicLibraryTest,
                    public ::testing::WithParamInterface<ScopeRow> {};

TEST_P(SearchScope, NamesTheDirectoriesOfThePathSearch) {
  const ScopeRow& row = GetParam();
  try {
    velmo::WindowsDynamicLibraryBase library("dxva2.dll", row.scope);
    EXPECT_TRUE(row.found);
  } catch (const std::runtime_error& e) {
    EXPECT_FALSE(row.found);
    EXPECT_STREQ(e.what(), "Failed to load the library: error code = 126");
  }
  const auto loads = sim::test::callsOf("LoadLibraryExW");
  ASSERT_EQ(loads.size(), 1u);
  EXPECT_EQ(loads[0].arguments, "\"dxva2.dll\", null, " + std::to_string(row.flags));
}

INSTANTIATE_TEST_SUITE_P(
    Scopes, SearchScope,
    ::testing::Values(
        ScopeRow{"ApplicationAndSystem", LibrarySearchScope::SearchApplicationAndSystem,
                 kSearchBoth, true},
        ScopeRow{"ApplicationOnly", LibrarySearchScope::SearchApplicationOnly, kSearchApplication,
                 false},
        ScopeRow{"AnyOtherValue", static_cast<LibrarySearchScope>(7), kSearchApplication, false}),
    [](const ::testing::TestParamInfo<ScopeRow>& info) { return info.param.name; });

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
  const char* exception;
  std::string logged;  // {path} stands for the library's path
  DWORD code;
  bool signatureRead;
};

class Refusal : public WindowsDynamicLibraryTest, public ::testing::WithParamInterface<RefusalRow> {};

TEST_P(Refusal, IsLoggedThrownAndLeavesNothingLoaded) {
  const RefusalRow& row = GetParam();
  changeDxva2(row.change);
  try {
    open(row.validation, row.pattern);
    FAIL() << "the library was accepted";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), row.exception);
  }
  const auto logged = errors();
  ASSERT_EQ(logged.size(), 1u);
  EXPECT_EQ(logged[0].message, withPath(row.logged));
  EXPECT_EQ(static_cast<DWORD>(logged[0].resultCode), row.code);
  EXPECT_EQ(realLoads(), 0u);
  EXPECT_EQ(callCount("WinVerifyTrust"), 2u) << "the verdict is always closed";
  EXPECT_EQ(callCount("CryptQueryObject"), row.signatureRead ? 1u : 0u);
}

const char* const kSubjectRefused = "Signature validation against subject name failed";
const char* const kSignatureRefused = "Signature validation failed";
const std::string kNotValidated =
    "; Failed to read embedded signature. Library signature not validated! Reading embedded "
    "signature of {path} failed";

void distrust(sim::SimLibrary& library) {
  library.trustStatus = TRUST_E_EXPLICIT_DISTRUST;
  library.trustLastError = 0;
}

void unsign(sim::SimLibrary& library) {
  library.trustStatus = TRUST_E_NOSIGNATURE;
  library.trustLastError = static_cast<DWORD>(TRUST_E_NOSIGNATURE);
  library.signers.clear();
}

void keep(sim::SimLibrary&) {}

INSTANTIATE_TEST_SUITE_P(
    Rows, Refusal,
    ::testing::Values(
        RefusalRow{"Distrusted", distrust, LibraryValidation::ValidateSignature, "Microsoft",
                   kSignatureRefused, "The file {path} is explicitly not trusted.", 0x800B0111u,
                   false},
        RefusalRow{"Unsigned", unsign, LibraryValidation::ValidateSignature, "Microsoft",
                   kSignatureRefused, "The file {path} is not signed.", 0x800B0100u, false},
        RefusalRow{"DistrustedUnderSubjectCheck", distrust,
                   LibraryValidation::ValidateSubjectName, "Microsoft", kSubjectRefused,
                   "The file {path} is explicitly not trusted." + kNotValidated, 0, false},
        RefusalRow{"UnsignedUnderSubjectCheck", unsign, LibraryValidation::ValidateSubjectName,
                   "Microsoft", kSubjectRefused, "The file {path} is not signed." + kNotValidated,
                   0, false},
        RefusalRow{"OtherSubject",
                   [](sim::SimLibrary& library) { library.signers = {signer("Contoso Ltd")}; },
                   LibraryValidation::ValidateSubjectName, "Microsoft", kSubjectRefused,
                   "Failed to match subject name Contoso Ltd Against provided regex for library "
                   "{path}",
                   0, true},
        RefusalRow{"AnchoredPattern", keep, LibraryValidation::ValidateSubjectName, "^Windows",
                   kSubjectRefused,
                   "Failed to match subject name Microsoft Windows Against provided regex for "
                   "library {path}",
                   0, true},
        RefusalRow{"CaseCounts", keep, LibraryValidation::ValidateSubjectName, "microsoft",
                   kSubjectRefused,
                   "Failed to match subject name Microsoft Windows Against provided regex for "
                   "library {path}",
                   0, true},
        RefusalRow{"OnlyTheFirstSignerCounts",
                   [](sim::SimLibrary& library) {
                     library.signers = {signer("Contoso Ltd"), signer("Microsoft Windows")};
                   },
                   LibraryValidation::ValidateSubjectName, "Microsoft", kSubjectRefused,
                   "Failed to match subject name Contoso Ltd Against provided regex for library "
                   "{path}",
                   0, true}),
    [](const ::testing::TestParamInfo<RefusalRow>& info) { return info.param.name; });

// One crypt32 or allocation step fails, with the given last error.
struct StepRow {
  const char* name;
  std::function<std::unique_ptr<ScopedHook>()> failStep;
  const char* message;
  bool failsAllocation;
};

class SignatureStepFailure : public WindowsDynamicLibraryTest,
                             public ::testing::WithParamInterface<StepRow> {};

TEST_P(SignatureStepFailure, RefusesTheLibraryAndReleasesEverything) {
  const auto hook = GetParam().failStep();
  EXPECT_THROW(open(), std::runtime_error);
  const auto logged = errors();
  ASSERT_EQ(logged.size(), 1u);
  EXPECT_EQ(logged[0].message,
            withPath(std::string(GetParam().message) + " Reading embedded signature of {path} failed"));
  EXPECT_EQ(logged[0].resultCode, 0);
  EXPECT_EQ(realLoads(), 0u);
  EXPECT_EQ(callCount("LocalFree") + (GetParam().failsAllocation ? 1 : 0), callCount("LocalAlloc"));
}

template <class R, class... A, class When>
std::unique_ptr<ScopedHook> failWhen(R (*op)(A...), const char* name, R failed, When when) {
  return std::make_unique<ScopedHook>(op, name, [failed, when](A... args) -> std::optional<R> {
    if (!when(args...)) {
      return std::nullopt;
    }
    sim::setLastError(0x8009200Du);
    return failed;
  });
}

std::unique_ptr<ScopedHook> failLocalAlloc(int which) {
  auto seen = std::make_shared<int>(0);
  return failWhen(&platform::LocalAlloc, "LocalAlloc", HLOCAL{nullptr},
                  [seen, which](UINT, SIZE_T) { return ++*seen == which; });
}

const auto kAlways = [](auto&&...) { return true; };

INSTANTIATE_TEST_SUITE_P(
    Steps, SignatureStepFailure,
    ::testing::Values(
        StepRow{"Query",
                [] { return failWhen(&platform::CryptQueryObject, "CryptQueryObject", FALSE, kAlways); },
                "CryptQueryObject failed", false},
        StepRow{"SignerInfoSize",
                [] {
                  return failWhen(&platform::CryptMsgGetParam, "CryptMsgGetParam", FALSE,
                                  [](HCRYPTMSG, DWORD, DWORD, void* data, DWORD*) { return !data; });
                },
                "CryptMsgGetParam failed - signer information size", false},
        StepRow{"SignerInfoMemory", [] { return failLocalAlloc(1); },
                "Unable to allocate memory for Signer Info.", true},
        StepRow{"SignerInfo",
                [] {
                  return failWhen(&platform::CryptMsgGetParam, "CryptMsgGetParam", FALSE,
                                  [](HCRYPTMSG, DWORD, DWORD, void* data, DWORD*) { return !!data; });
                },
                "CryptMsgGetParam failed - signer information", false},
        StepRow{"OpusSize",
                [] {
                  return failWhen(&platform::CryptDecodeObject, "CryptDecodeObject", FALSE,
                                  [](DWORD, LPCSTR, const BYTE*, DWORD, DWORD, void* out, DWORD*) {
                                    return !out;
                                  });
                },
                "CryptDecodeObject failed", false},
        StepRow{"OpusMemory", [] { return failLocalAlloc(2); },
                "Unable to allocate memory for Publisher Info.", true},
        StepRow{"Opus",
                [] {
                  return failWhen(&platform::CryptDecodeObject, "CryptDecodeObject", FALSE,
                                  [](DWORD, LPCSTR, const BYTE*, DWORD, DWORD, void* out, DWORD*) {
                                    return !!out;
                                  });
                },
                "CryptDecodeObject failed", false},
        StepRow{"Certificate",
                [] {
                  return failWhen(&platform::CertFindCertificateInStore,
                                  "CertFindCertificateInStore", PCCERT_CONTEXT{nullptr}, kAlways);
                },
                "CertFindCertificateInStore failed", false},
        StepRow{"IssuerLength",
                [] {
                  return failWhen(&platform::CertGetNameStringW, "CertGetNameStringW", DWORD{0},
                                  [](PCCERT_CONTEXT, DWORD, DWORD flags, void*, LPWSTR out, DWORD) {
                                    return flags == CERT_NAME_ISSUER_FLAG && !out;
                                  });
                },
                "CertGetNameString failed - Issuer Name", false},
        StepRow{"IssuerName",
                [] {
                  return failWhen(&platform::CertGetNameStringW, "CertGetNameStringW", DWORD{0},
                                  [](PCCERT_CONTEXT, DWORD, DWORD flags, void*, LPWSTR out, DWORD) {
                                    return flags == CERT_NAME_ISSUER_FLAG && out;
                                  });
                },
                "CertGetNameString failed - Issuer Name", false},
        StepRow{"SubjectName",
                [] {
                  return failWhen(&platform::CertGetNameStringW, "CertGetNameStringW", DWORD{0},
                                  [](PCCERT_CONTEXT, DWORD, DWORD flags, void*, LPWSTR, DWORD) {
                                    return flags == 0;
                                  });
                },
                "CertGetNameString failed - Subject Name", false}),
    [](const ::testing::TestParamInfo<StepRow>& info) { return info.param.name; });

struct AcceptedRow {
  const char* name;
  std::function<void(sim::SimOpus&)> change;
  bool hasOpus;
};

class AcceptedOpus : public WindowsDynamicLibraryTest,
                     public ::testing::WithParamInterface<AcceptedRow> {};

TEST_P(AcceptedOpus, DoesNotStandInTheWay) {
  changeDxva2([](sim::SimLibrary& library) {
    sim::SimOpus& opus = *library.signers.front().opus;
    GetParam().change(opus);
    if (!GetParam().hasOpus) {
      library.signers.front().opus.reset();
    }
  });
  EXPECT_NO_THROW(open());
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(callCount("CryptDecodeObject"), GetParam().hasOpus ? 2u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Variants, AcceptedOpus,
    ::testing::Values(
        AcceptedRow{"NoOpusAttribute", [](sim::SimOpus&) {}, false},
        AcceptedRow{"NoProgramName", [](sim::SimOpus& opus) { opus.programName.reset(); }, true},
        AcceptedRow{"MonikerLinks",
                    [](sim::SimOpus& opus) {
                      opus.moreInfo = sim::SimLink{SPC_MONIKER_LINK_CHOICE, "serialized"};
                      opus.publisherInfo = opus.moreInfo;
                    },
                    true},
        AcceptedRow{"FileLinks",
                    [](sim::SimOpus& opus) {
                      opus.moreInfo = sim::SimLink{SPC_FILE_LINK_CHOICE, "C:\\info.txt"};
                      opus.publisherInfo = opus.moreInfo;
                    },
                    true}),
    [](const ::testing::TestParamInfo<AcceptedRow>& info) { return info.param.name; });

struct VerifyCallRow {
  const char* name;
  LONG status;
  LONG closeStatus;
  bool loads;
  std::string logged;
};

class VerifyCalls : public WindowsDynamicLibraryTest,
                    public ::testing::WithParamInterface<VerifyCallRow> {};

TEST_P(VerifyCalls, CloseFailureIsToldButNeverTurnsTheVerdict) {
  const VerifyCallRow& row = GetParam();
  std::vector<DWORD> actions;
  ScopedHook hook(&platform::WinVerifyTrust, "WinVerifyTrust",
                  [&](HWND, GUID*, LPVOID data) -> std::optional<LONG> {
                    const auto* trust = static_cast<platform::WINTRUST_DATA*>(data);
                    actions.push_back(trust->dwStateAction);
                    sim::setLastError(0);
                    return actions.size() == 1 ? row.status : row.closeStatus;
                  });
  bool loaded = true;
  try {
    open(LibraryValidation::ValidateSignature);
  } catch (const std::runtime_error&) {
    loaded = false;
  }
  EXPECT_EQ(loaded, row.loads);
  EXPECT_EQ(actions, (std::vector<DWORD>{WTD_STATEACTION_VERIFY, WTD_STATEACTION_CLOSE}));
  const auto logged = errors();
  EXPECT_EQ(logged.empty() ? std::string() : logged[0].message, withPath(row.logged));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, VerifyCalls,
    ::testing::Values(
        VerifyCallRow{"TrustedCloseFails", 0, static_cast<LONG>(0x80004005u), true, ""},
        VerifyCallRow{"RefusedCloseFails", TRUST_E_EXPLICIT_DISTRUST,
                      static_cast<LONG>(0x80004005u), false,
                      "The file {path} is explicitly not trusted. Closing WinVerifyTrust failed "
                      "with error code -2147467259"},
        VerifyCallRow{"UnknownStatus", TRUST_E_PROVIDER_UNKNOWN, 0, false,
                      "The file {path} is untrusted Error code -2146762751"}),
    [](const ::testing::TestParamInfo<VerifyCallRow>& info) { return info.param.name; });

TEST_F(WindowsDynamicLibraryTest, NameFailuresComeBeforeAnyComplaintAboutTheLogger) {
  const std::regex pattern("Microsoft");
  const auto make = [&](const std::string& name) {
    return WindowsDynamicLibrary(name, nullptr, pattern,
                                 LibrarySearchScope::SearchApplicationAndSystem,
                                 LibraryValidation::ValidateSubjectName);
  };
  EXPECT_THROW(
      {
        try {
          make("");
        } catch (const std::logic_error& e) {
          EXPECT_STREQ(e.what(), "Invalid name provided");
          throw;
        }
      },
      std::logic_error);
  EXPECT_EQ(callCount("LoadLibraryExW"), 0u);
  try {
    make("kestrine-missing.dll");
    FAIL();
  } catch (const std::invalid_argument&) {
    FAIL() << "the logger was complained about first";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Failed to load the library: error code = 126");
  }
  try {
    make("dxva2.dll");
    FAIL();
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "WindowsDynamicLibrary object requires a valid logger");
  }
  EXPECT_EQ(realLoads(), 0u);
}

TEST_F(WindowsDynamicLibraryTest, UnconvertibleNameIsRefusedBeforeTheSearch) {
  ScopedHook hook(&platform::MultiByteToWideChar, "MultiByteToWideChar",
                  [](UINT, DWORD, LPCCH, int, LPWSTR, int) -> std::optional<int> { return 0; });
  try {
    open();
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Unable to convert \"dxva2.dll\" to wstring.");
  }
  EXPECT_EQ(callCount("LoadLibraryExW"), 0u);
}

TEST_F(WindowsDynamicLibraryTest, FailedPathQueryUnmapsTheFile) {
  ScopedHook hook(&platform::GetModuleFileNameW, "GetModuleFileNameW",
                  [](HMODULE, LPWSTR, DWORD) -> std::optional<DWORD> {
                    sim::setLastError(5);
                    return 0;
                  });
  try {
    open();
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Failed to load the library: error code = 5");
  }
  EXPECT_EQ(callCount("FreeLibrary"), 1u);
}

TEST_F(WindowsDynamicLibraryTest, FileThatIsNotALibraryIsNotFound) {
  std::ofstream(sim::system32Dir() / "notes.dll") << "plain text";
  try {
    open(LibraryValidation::ValidateSubjectName, "Microsoft", "notes.dll");
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Failed to load the library: error code = 193");
  }
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
  EXPECT_THROW(open(LibraryValidation::ValidateSubjectName, "Microsoft", "stray.dll"),
               std::runtime_error);
  std::filesystem::current_path(previous);
  ::setenv("PATH", previousPath.c_str(), 1);

  const std::string name = "kestrine-both-" + std::to_string(::getpid()) + ".dll";
  const std::filesystem::path local = sim::applicationDir() / name;
  sim::SimLibrary contoso = sim::defaultDxva2Library();
  contoso.signers = {signer("Contoso Ltd")};
  std::ofstream(local) << sim::encodeLibrary(contoso);
  sim::installSystem32Library(name, sim::defaultDxva2Library());
  EXPECT_THROW(open(LibraryValidation::ValidateSubjectName, "Microsoft", name), std::runtime_error);
  std::filesystem::remove(local);
  ASSERT_EQ(errors().size(), 1u);
  EXPECT_NE(errors()[0].message.find("Contoso Ltd Against provided regex for library " +
                                     local.string()),
            std::string::npos);
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

TEST_F(WindowsDynamicLibraryTest, LoadOfALoadedLibraryChangesNothing) {
  const auto library = open();
  sim::test::clearCalls();
  const velmo::LibraryResult again = library->load();
  EXPECT_TRUE(again.ok);
  EXPECT_EQ(again.errorCode, 0u);
  EXPECT_EQ(again.message, "");
  EXPECT_EQ(callCount("LoadLibraryExW"), 0u);
}

TEST_F(WindowsDynamicLibraryTest, BareBaseLoadsOnlyOnRequest) {
  velmo::WindowsDynamicLibraryBase library("dxva2.dll",
                                           LibrarySearchScope::SearchApplicationAndSystem);
  EXPECT_EQ(library.getFunctionAddress("SetVCPFeature"), nullptr);
  EXPECT_EQ(callCount("GetProcAddress"), 0u);
  ASSERT_TRUE(sim::removeSystem32Library("dxva2.dll"));
  const velmo::LibraryResult missing = library.load();
  EXPECT_FALSE(missing.ok);
  EXPECT_EQ(missing.errorCode, ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(missing.message, "Failed to load " + system32Path("dxva2.dll"));

  ASSERT_TRUE(sim::restoreSystem32Library("dxva2.dll"));
  const velmo::LibraryResult loaded = library.load();
  EXPECT_TRUE(loaded.ok);
  EXPECT_EQ(loaded.message, "Successfully loaded " + system32Path("dxva2.dll"));
  EXPECT_NE(library.getFunctionAddress("SetVCPFeature"), nullptr);
}

TEST_F(WindowsDynamicLibraryTest, UnconvertiblePathIsShownAsQuestionMarks) {
  const auto library = open();
  ScopedHook hook(&platform::WideCharToMultiByte, "WideCharToMultiByte",
                  [](UINT, DWORD, LPCWCH, int, LPSTR, int, LPCCH, LPBOOL) -> std::optional<int> {
                    return 0;
                  });
  EXPECT_EQ(library->getLibraryPath(), std::string(system32Path("dxva2.dll").size(), '?'));
}

TEST_F(WindowsDynamicLibraryTest, CreateChoosesTheCheckAndRefusesABadPatternFirst) {
  EXPECT_THROW(velmo::createDynamicLibrary("dxva2.dll", subLogger(), "(", true), std::regex_error);
  EXPECT_TRUE(sim::test::calls().empty());

  velmo::createDynamicLibrary("dxva2.dll", subLogger(), "Microsoft", false);
  EXPECT_EQ(callCount("WinVerifyTrust"), 2u);
  EXPECT_EQ(callCount("CryptQueryObject"), 0u);
  velmo::createDynamicLibrary("dxva2.dll", subLogger(), "Microsoft", true);
  EXPECT_EQ(callCount("CryptQueryObject"), 1u);
  EXPECT_THROW(velmo::createDynamicLibrary("dxva2.dll", subLogger(), "Contoso", true),
               std::runtime_error);
}

}  // namespace
