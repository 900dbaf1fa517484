// kestrine-sim's registry commands, run as the built program against a fresh machine, and a
// change made by that other process reaching a watcher in this one.
#include "logging/registry_change_notifier.h"
#include "platform/registry.h"
#include "platform/sim/core/machine.h"
#include "platform/sim/registry/registry_store.h"
#include "platform/sim/registry/registry_watch.h"
#include "tests/support/eventually.h"
#include "tests/support/recording_logger.h"
#include "tests/support/sim_test.h"
#include "tests/unit/tools/sim_tool.h"

namespace {

using RegistryAreaTest = testing_support::SimTest;

// The stored value below HKEY_LOCAL_MACHINE\SOFTWARE\K, with its type; empty when absent.
std::optional<sim::registry::Value> stored(const std::string& name) {
  const sim::registry::Tree tree = sim::registry::Tree::load(sim::machineDir());
  const sim::registry::Key* found = tree.find("HKEY_LOCAL_MACHINE\\SOFTWARE\\K");
  const sim::registry::Value* value = found ? found->findValue(name) : nullptr;
  return value ? std::optional<sim::registry::Value>(*value) : std::nullopt;
}

TEST_F(RegistryAreaTest, SetValuesReadBackWithWindowsTypesAndSizes) {
  tools_test::simToolAll({{"reg", "set", "HKLM\\SOFTWARE\\K", "Text", "sz", "10"},
                          {"reg", "set", "SOFTWARE\\K", "Path", "expand_sz", "%TEMP%"},
                          {"reg", "set", "software\\k", "Empty", "sz", ""},
                          {"reg", "set", "SOFTWARE\\K", "Count", "dword", "0x10"}});
  EXPECT_EQ(stored("Text")->data, std::string("1\0" "0\0\0\0", 6));
  EXPECT_EQ(stored("Path")->type, static_cast<DWORD>(REG_EXPAND_SZ));
  EXPECT_EQ(stored("Empty")->data.size(), 2u);
  EXPECT_EQ(stored("Count")->type, static_cast<DWORD>(REG_DWORD));
  EXPECT_EQ(stored("Count")->data, std::string("\x10\0\0\0", 4));
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, "  Count  REG_DWORD  16  (4 bytes)",
                      tools_test::simTool({"show"}).output);
  tools_test::simToolAll({{"reg", "delete", "SOFTWARE\\K", "Text"}});
  EXPECT_FALSE(stored("Text"));
  tools_test::simToolAll({{"reg", "delete", "SOFTWARE"}});
  EXPECT_FALSE(stored("Count"));
}

TEST_F(RegistryAreaTest, ChangeFromAnotherProcessReachesAWatcher) {
  tools_test::simToolAll({{"reg", "set", "SOFTWARE\\K", "V", "sz", "1"}});
  testing_support::RecordingLogger log;
  testing_support::RecordingLogger delivered;  // each value the watcher hands over, as a record
  velmo::RegistryChangeNotifier notifier(
      "SOFTWARE\\K", "V", [&delivered](std::string text) { delivered.log(text, velmo::logging::INFO, 0); },
      log.createCategoryLogger(0));
  ASSERT_TRUE(testing_support::eventually([] { return sim::test::activeRegistryWatches() == 1; }));
  tools_test::simToolAll({{"reg", "set", "SOFTWARE\\K", "V", "sz", "2"}});
  EXPECT_TRUE(testing_support::eventually(
      [&delivered] { return delivered.messages() == std::vector<std::string>{"1", "2"}; }));
}

}  // namespace
