// kestrine-sim's library commands, run as the built program against a fresh machine, and what
// the loader and WinVerifyTrust see afterwards.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/errors.h"
#include "platform/loader.h"
#include "platform/sim/library_files.h"
#include "platform/trust.h"
#include "tests/support/child_process.h"
#include "tests/support/sim_test.h"
#include "tests/support/verify_trust.h"

namespace {

using testing_support::ProcessResult;

ProcessResult simTool(const std::vector<std::string>& args) {
  std::vector<std::string> argv{KESTRINE_SIM_EXE, "library"};
  argv.insert(argv.end(), args.begin(), args.end());
  return testing_support::runProcess(argv);
}

std::optional<sim::SimLibrary> dxva2() {
  sim::SimLibrary library;
  const auto file = sim::findInDirectory(sim::system32Dir(), "dxva2.dll");
  if (!file || sim::readLibraryFile(*file, library) != sim::LibraryFileState::Library) {
    return std::nullopt;
  }
  return library;
}

// WinVerifyTrust's status for dxva2.dll and the last error with it.
std::pair<LONG, DWORD> verifyDxva2() {
  const std::string path = (sim::system32Dir() / "dxva2.dll").string();
  const testing_support::TrustAnswer answer =
      testing_support::verifyTrust(platform::WideString(path.begin(), path.end()));
  EXPECT_EQ(answer.closeStatus, 0);
  return {answer.status, answer.lastError};
}

struct CommandRow {
  const char* name;
  std::vector<std::string> args;
  std::function<void(const std::optional<sim::SimLibrary>&)> check;
};

class LibraryCommand : public testing_support::SimTest,
                       public ::testing::WithParamInterface<CommandRow> {};

TEST_P(LibraryCommand, ChangesTheRecordThatTheLoaderReads) {
  const ProcessResult result = simTool(GetParam().args);
  ASSERT_EQ(result.status, 0) << result.error;
  GetParam().check(dxva2());
}

INSTANTIATE_TEST_SUITE_P(
    Commands, LibraryCommand,
    ::testing::Values(
        CommandRow{"Unsigned", {"dxva2.dll", "unsigned"},
                   [](const std::optional<sim::SimLibrary>& library) {
                     EXPECT_TRUE(library->signers.empty());
                     EXPECT_EQ(verifyDxva2(),
                               std::make_pair(TRUST_E_NOSIGNATURE, 0x800B0100u));
                   }},
        CommandRow{"UntrustedWithLastError", {"DXVA2.DLL", "untrusted", "-2146762751", "2"},
                   [](const std::optional<sim::SimLibrary>& library) {
                     EXPECT_EQ(library->trustStatus, TRUST_E_PROVIDER_UNKNOWN);
                     EXPECT_EQ(verifyDxva2(),
                               std::make_pair(TRUST_E_PROVIDER_UNKNOWN, DWORD{2}));
                     EXPECT_FALSE(library->signers.empty()) << "the signature stays";
                   }},
        CommandRow{"Subject", {"dxva2.dll", "subject", "Contoso Ltd"},
                   [](const std::optional<sim::SimLibrary>& library) {
                     EXPECT_EQ(library->signers.front().subject, "Contoso Ltd");
                   }},
        CommandRow{"NoOpus", {"dxva2.dll", "no-opus"},
                   [](const std::optional<sim::SimLibrary>& library) {
                     EXPECT_FALSE(library->signers.front().opus.has_value());
                   }},
        CommandRow{"RemoveExport", {"dxva2.dll", "remove-export", "SetVCPFeature"},
                   [](const std::optional<sim::SimLibrary>& library) {
                     EXPECT_EQ(library->exports.size(), 7u);
                     const std::string path = (sim::system32Dir() / "dxva2.dll").string();
                     const platform::WideString widePath(path.begin(), path.end());
                     HMODULE module = platform::LoadLibraryExW(widePath.c_str(), nullptr, 0);
                     ASSERT_NE(module, nullptr);
                     EXPECT_EQ(platform::GetProcAddress(module, "SetVCPFeature"), nullptr);
                     EXPECT_EQ(platform::GetLastError(), ERROR_PROC_NOT_FOUND);
                     EXPECT_NE(platform::GetProcAddress(module, "GetMonitorCapabilities"), nullptr);
                     platform::FreeLibrary(module);
                   }},
        CommandRow{"Remove", {"dxva2.dll", "remove"},
                   [](const std::optional<sim::SimLibrary>& library) {
                     EXPECT_FALSE(library.has_value());
                   }}),
    [](const ::testing::TestParamInfo<CommandRow>& info) { return info.param.name; });

using LibraryAreaTest = testing_support::SimTest;

TEST_F(LibraryAreaTest, RestoreBringsTheDefaultBackAndShowTellsIt) {
  ASSERT_EQ(simTool({"dxva2.dll", "remove"}).status, 0);
  ASSERT_EQ(simTool({"dxva2.dll", "restore"}).status, 0);
  EXPECT_EQ(sim::encodeLibrary(*dxva2()), sim::encodeLibrary(sim::defaultDxva2Library()));
  const ProcessResult shown = simTool({"dxva2.dll"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_NE(shown.output.find("subject \"Microsoft Windows\""), std::string::npos) << shown.output;
  EXPECT_NE(shown.output.find("0x00000000 (trusted)"), std::string::npos) << shown.output;
}

struct BadInputRow {
  const char* name;
  std::vector<std::string> args;
  const char* message;
};

class LibraryBadInput : public testing_support::SimTest,
                        public ::testing::WithParamInterface<BadInputRow> {};

TEST_P(LibraryBadInput, ExitsWithTwoAndChangesNothing) {
  ASSERT_EQ(simTool({"dxva2.dll", "no-opus"}).status, 0);
  const std::string before = sim::encodeLibrary(*dxva2());
  const ProcessResult result = simTool(GetParam().args);
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.error.find(GetParam().message), std::string::npos) << result.error;
  ASSERT_TRUE(dxva2().has_value());
  EXPECT_EQ(sim::encodeLibrary(*dxva2()), before);
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, LibraryBadInput,
    ::testing::Values(
        BadInputRow{"UnknownLibrary", {"nope.dll", "subject", "X"}, "no library nope.dll"},
        BadInputRow{"UnknownCommand", {"dxva2.dll", "sign"}, "unknown library command: sign"},
        BadInputRow{"StatusMissing", {"dxva2.dll", "untrusted"}, "wrong number of arguments"},
        BadInputRow{"StatusNotANumber", {"dxva2.dll", "untrusted", "0x80zz"}, "not a 32-bit code"},
        BadInputRow{"StatusTooLarge", {"dxva2.dll", "untrusted", "0x100000000"}, "not a 32-bit code"},
        BadInputRow{"StatusTrusted", {"dxva2.dll", "untrusted", "0"}, "status 0 means trusted"},
        BadInputRow{"ExportNotThere", {"dxva2.dll", "remove-export", "Nope"}, "does not export Nope"},
        BadInputRow{"ExtraArgument", {"dxva2.dll", "remove", "now"}, "wrong number of arguments"},
        BadInputRow{"NoDefault", {"other.dll", "restore"}, "no library other.dll"}),
    [](const ::testing::TestParamInfo<BadInputRow>& info) { return info.param.name; });

}  // namespace
