// kestrine-sim's library commands, run as the built program against a fresh machine, and the
// record that the sim's loader and crypt32 read afterwards.
#include <optional>

#include "platform/sim/core/file_names.h"
#include "platform/sim/library/library_files.h"
#include "platform/sim/monitors/dxva2_exports.h"
#include "platform/trust.h"
#include "tests/support/sim_test.h"
#include "tests/unit/tools/sim_tool.h"

namespace {

// Runs one library command, which must succeed, and gives the dxva2.dll record afterwards.
std::optional<sim::SimLibrary> dxva2After(std::vector<std::string> command) {
  command.insert(command.begin(), "library");
  tools_test::simToolAll({command});
  sim::SimLibrary library;
  const auto file = sim::findIgnoringCase(sim::system32Dir(), "dxva2.dll");
  const bool read = file && sim::readLibraryFile(*file, library) == sim::LibraryFileState::Library;
  return read ? std::optional<sim::SimLibrary>(library) : std::nullopt;
}

using LibraryAreaTest = testing_support::SimTest;

TEST_F(LibraryAreaTest, CommandsChangeTheRecordThatTheLoaderReads) {
  auto library = dxva2After({"DXVA2.DLL", "untrusted", "-2146762751", "2"});
  EXPECT_EQ(library->trustStatus, TRUST_E_PROVIDER_UNKNOWN);
  EXPECT_EQ(library->trustLastError, 2u);
  EXPECT_FALSE(library->signers.empty()) << "the signature stays";

  library = dxva2After({"dxva2.dll", "unsigned"});
  EXPECT_TRUE(library->signers.empty());
  EXPECT_EQ(library->trustStatus, TRUST_E_NOSIGNATURE);
  EXPECT_EQ(library->trustLastError, 0x800B0100u);

  std::vector<std::string> exports = sim::dxva2ExportNames();
  exports.erase(exports.begin() + 6);
  EXPECT_EQ(dxva2After({"dxva2.dll", "remove-export", "SetVCPFeature"})->exports, exports);

  EXPECT_FALSE(dxva2After({"dxva2.dll", "remove"}).has_value());
  EXPECT_EQ(sim::encodeLibrary(*dxva2After({"dxva2.dll", "restore"})),
            sim::encodeLibrary(sim::defaultDxva2Library()));
  const std::string shown = tools_test::simTool({"library", "dxva2.dll"}).output;
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, "subject \"Microsoft Windows\"", shown);
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, "0x00000000 (trusted)", shown);
}

}  // namespace
