// kestrine-sim's library commands, run as the built program against a fresh machine, and the
// record that the sim's loader and crypt32 read afterwards.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/monitors/dxva2_exports.h"
#include "platform/sim/library/library_files.h"
#include "platform/trust.h"
#include "tests/unit/tools/sim_tool.h"
#include "tests/support/sim_test.h"

namespace {

using testing_support::ProcessResult;

ProcessResult simTool(std::vector<std::string> args) {
  args.insert(args.begin(), "library");
  return tools_test::simTool(args);
}

std::optional<sim::SimLibrary> dxva2() {
  sim::SimLibrary library;
  const auto file = sim::findInDirectory(sim::system32Dir(), "dxva2.dll");
  if (!file || sim::readLibraryFile(*file, library) != sim::LibraryFileState::Library) {
    return std::nullopt;
  }
  return library;
}

struct CommandRow {
  const char* name;
  std::vector<std::string> args;
  std::function<void(const std::optional<sim::SimLibrary>& library)> check;
};

class LibraryCommand : public testing_support::SimTest,
                       public ::testing::WithParamInterface<CommandRow> {};

TEST_P(LibraryCommand, ChangesTheRecordThatTheLoaderReads) {
  const ProcessResult result = simTool(GetParam().args);
  ASSERT_EQ(result.status, 0) << result.error;
  GetParam().check(dxva2());
}

using Record = std::optional<sim::SimLibrary>;

INSTANTIATE_TEST_SUITE_P(
    Commands, LibraryCommand,
    ::testing::Values(
        CommandRow{"Unsigned", {"dxva2.dll", "unsigned"},
                   [](const Record& library) {
                     EXPECT_TRUE(library->signers.empty());
                     EXPECT_EQ(library->trustStatus, TRUST_E_NOSIGNATURE);
                     EXPECT_EQ(library->trustLastError, 0x800B0100u);
                   }},
        CommandRow{"UntrustedWithLastError", {"DXVA2.DLL", "untrusted", "-2146762751", "2"},
                   [](const Record& library) {
                     EXPECT_EQ(library->trustStatus, TRUST_E_PROVIDER_UNKNOWN);
                     EXPECT_EQ(library->trustLastError, 2u);
                     EXPECT_FALSE(library->signers.empty()) << "the signature stays";
                   }},
        CommandRow{"RemoveExport", {"dxva2.dll", "remove-export", "SetVCPFeature"},
                   [](const Record& library) {
                     std::vector<std::string> expected = sim::dxva2ExportNames();
                     expected.erase(expected.begin() + 6);
                     EXPECT_EQ(library->exports, expected);
                   }},
        CommandRow{"Remove", {"dxva2.dll", "remove"},
                   [](const Record& library) { EXPECT_FALSE(library.has_value()); }}),
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

}  // namespace
