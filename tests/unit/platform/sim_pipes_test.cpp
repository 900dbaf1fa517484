// Properties of the sim's named pipes that Windows gives for free and the sim must earn: racing
// clients never share an instance, a long sim root still gives working socket addresses, and a
// descriptor's entries decide access in order.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <deque>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/errors.h"
#include "platform/sim/security/access_check.h"
#include "tests/conformance/pipe_fixture.h"
#include "tests/support/sim_test.h"

namespace {

using conformance::Handle;
using conformance::createServer;
using conformance::openClient;
using SimPipesTest = testing_support::SimTest;

const platform::WideString kName = PLATFORM_WIDE("\\\\.\\pipe\\race");

TEST_F(SimPipesTest, RacingClientsClaimEachInstanceOnce) {
  constexpr int kInstances = 3;
  std::deque<Handle> servers;
  for (int i = 0; i < kInstances; ++i) ASSERT_TRUE(servers.emplace_back(createServer(kName, kInstances)));
  std::vector<std::pair<HANDLE, DWORD>> clients(8);  // the handle and the last error after it
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (auto& client : clients) {
    threads.emplace_back([&] {
      while (!go.load()) std::this_thread::yield();
      client = {openClient(kName), platform::GetLastError()};
    });
  }
  go.store(true);
  for (std::thread& t : threads) t.join();
  // Each instance took exactly one of the clients; the others found every instance busy.
  for (const Handle& server : servers) {
    EXPECT_FALSE(platform::ConnectNamedPipe(server.get(), nullptr));
    EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_PIPE_CONNECTED));
  }
  int connected = 0;
  for (const auto& [handle, error] : clients) {
    connected += platform::CloseHandle(handle) ? 1 : 0;
    EXPECT_TRUE(handle != INVALID_HANDLE_VALUE || error == ERROR_PIPE_BUSY) << error;
  }
  EXPECT_EQ(connected, kInstances);
}

TEST_F(SimPipesTest, LongRootStillCarriesBytes) {
  ::setenv("KESTRINE_SIM_ROOT", (simRoot / std::string(120, 'r')).c_str(), 1);
  {
    const Handle server(createServer(kName));
    const Handle client(openClient(kName));
    EXPECT_TRUE(conformance::writeAll(client.get(), "ping"));
    char buffer[8] = {};
    DWORD count = 0;
    EXPECT_TRUE(platform::ReadFile(server.get(), buffer, sizeof buffer, &count, nullptr));
    EXPECT_EQ(std::string(buffer, count), "ping");
  }
  ::setenv("KESTRINE_SIM_ROOT", simRoot.c_str(), 1);
}

// Descriptor, caller's SIDs (user first), access wanted, and whether it is granted.
struct AccessCase {
  const char* descriptor;
  std::vector<std::string> sids;
  DWORD wanted;
  bool granted;
};

class AccessCheckTest : public ::testing::TestWithParam<AccessCase> {};

TEST_P(AccessCheckTest, EntriesDecideInOrder) {
  const AccessCase& c = GetParam();
  EXPECT_EQ(sim::accessAllowed(c.descriptor, "S-1-5-21-1", c.sids, c.wanted), c.granted) << c.descriptor;
}

INSTANTIATE_TEST_SUITE_P(Cases, AccessCheckTest, ::testing::Values(
    AccessCase{sim::kDefaultPipeSecurity, {"S-1-5-21-2"}, GENERIC_READ, true},
    AccessCase{sim::kDefaultPipeSecurity, {"S-1-5-21-2"}, GENERIC_READ | GENERIC_WRITE, false},
    AccessCase{"D:(A;;GR;;;OW)(A;;GW;;;S-1-5-21-1)", {"S-1-5-21-1"}, GENERIC_READ | GENERIC_WRITE, true},
    AccessCase{"D:(D;;GW;;;BA)(A;;GA;;;WD)", {"S-1-5-21-2", sim::kAdministratorsSid}, GENERIC_WRITE, false},
    AccessCase{"D:(A;;GA;;;WD)(D;;GW;;;BA)", {"S-1-5-21-2", sim::kAdministratorsSid}, GENERIC_WRITE, true},
    AccessCase{"D:P", {sim::kSystemSid}, GENERIC_READ, false},
    AccessCase{"D:(A;ID;GA;;;WD)", {"S-1-5-21-1"}, GENERIC_READ, false},
    AccessCase{"O:BAD:(A;;GA;;;WD)", {"S-1-5-21-1"}, GENERIC_READ, false}));

}  // namespace
