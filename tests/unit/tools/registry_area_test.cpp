// kestrine-sim's registry commands, run as the built program against a fresh machine, and a
// change made by that other process reaching a watcher in this one.
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "logging/registry_change_notifier.h"
#include "platform/registry.h"
#include "platform/sim/core/machine.h"
#include "platform/sim/registry/registry_store.h"
#include "platform/sim/registry/registry_watch.h"
#include "tests/unit/tools/sim_tool.h"
#include "tests/support/eventually.h"
#include "tests/support/recording_logger.h"
#include "tests/support/sim_test.h"

namespace {

using testing_support::eventually;
using testing_support::ProcessResult;
using tools_test::simTool;

// The stored bytes of a value below HKEY_LOCAL_MACHINE, and its type; empty when absent.
std::optional<sim::registry::Value> stored(const std::string& key, const std::string& name) {
  const sim::registry::Tree tree = sim::registry::Tree::load(sim::machineDir());
  const sim::registry::Key* found = tree.find("HKEY_LOCAL_MACHINE\\" + key);
  const sim::registry::Value* value = found ? found->findValue(name) : nullptr;
  return value ? std::optional<sim::registry::Value>(*value) : std::nullopt;
}

using RegistryAreaTest = testing_support::SimTest;

TEST_F(RegistryAreaTest, SetValuesReadBackWithWindowsTypesAndSizes) {
  ASSERT_EQ(simTool({"reg", "set", "HKLM\\SOFTWARE\\K", "Text", "sz", "10"}).status, 0);
  ASSERT_EQ(simTool({"reg", "set", "SOFTWARE\\K", "Path", "expand_sz", "%TEMP%"}).status, 0);
  ASSERT_EQ(simTool({"reg", "set", "software\\k", "Empty", "sz", ""}).status, 0);
  ASSERT_EQ(simTool({"reg", "set", "SOFTWARE\\K", "Count", "dword", "0x10"}).status, 0);

  EXPECT_EQ(stored("SOFTWARE\\K", "Text")->data, std::string("1\0"
                                                             "0\0\0\0",
                                                             6));
  EXPECT_EQ(stored("SOFTWARE\\K", "Path")->type, static_cast<DWORD>(REG_EXPAND_SZ));
  EXPECT_EQ(stored("SOFTWARE\\K", "Empty")->data.size(), 2u);
  EXPECT_EQ(stored("SOFTWARE\\K", "Count")->type, static_cast<DWORD>(REG_DWORD));
  EXPECT_EQ(stored("SOFTWARE\\K", "Count")->data, std::string("\x10\0\0\0", 4));

  const ProcessResult shown = simTool({"show"});
  EXPECT_NE(shown.output.find("  Count  REG_DWORD  16  (4 bytes)"), std::string::npos)
      << shown.output;

  ASSERT_EQ(simTool({"reg", "delete", "SOFTWARE\\K", "Text"}).status, 0);
  EXPECT_FALSE(stored("SOFTWARE\\K", "Text"));
  ASSERT_EQ(simTool({"reg", "delete", "SOFTWARE"}).status, 0);
  EXPECT_FALSE(stored("SOFTWARE\\K", "Count"));
}

TEST_F(RegistryAreaTest, ChangeFromAnotherProcessReachesAWatcher) {
  ASSERT_EQ(simTool({"reg", "set", "SOFTWARE\\K", "V", "sz", "1"}).status, 0);
  std::mutex mutex;
  std::vector<std::string> delivered;
  testing_support::RecordingLogger log;
  velmo::RegistryChangeNotifier notifier(
      "SOFTWARE\\K", "V",
      [&](std::string text) {
        std::lock_guard<std::mutex> lock(mutex);
        delivered.push_back(text);
      },
      log.createCategoryLogger(0));
  ASSERT_TRUE(eventually([] { return sim::test::activeRegistryWatches() == 1; }));
  ASSERT_EQ(simTool({"reg", "set", "SOFTWARE\\K", "V", "sz", "2"}).status, 0);
  EXPECT_TRUE(eventually([&] {
    std::lock_guard<std::mutex> lock(mutex);
    return delivered == std::vector<std::string>{"1", "2"};
  }));
}

}  // namespace
