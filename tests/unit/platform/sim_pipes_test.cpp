// Properties of the sim's named pipes that Windows gives for free and the sim must earn: racing
// clients never share an instance, and a long sim root still gives working socket addresses.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <set>
#include <thread>
#include <vector>

#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "tests/support/sim_test.h"

namespace {

const WCHAR* const kName = PLATFORM_WIDE("\\\\.\\pipe\\race");

HANDLE createServer(DWORD maxInstances) {
  return platform::CreateNamedPipeW(kName, PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, maxInstances, 1024,
                                    1024, 0, nullptr);
}

HANDLE openClient() {
  return platform::CreateFileW(kName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
}

using SimPipesTest = testing_support::SimTest;

TEST_F(SimPipesTest, RacingClientsClaimEachInstanceOnce) {
  constexpr int kInstances = 3;
  constexpr int kClients = 8;
  std::vector<HANDLE> servers;
  for (int i = 0; i < kInstances; ++i) {
    servers.push_back(createServer(kInstances));
    ASSERT_NE(servers.back(), INVALID_HANDLE_VALUE);
  }
  std::vector<HANDLE> clients(kClients, INVALID_HANDLE_VALUE);
  std::vector<DWORD> errors(kClients, 0);
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < kClients; ++i) {
    threads.emplace_back([&, i] {
      while (!go.load()) {
        std::this_thread::yield();
      }
      clients[i] = openClient();
      errors[i] = platform::GetLastError();
    });
  }
  go.store(true);
  for (std::thread& t : threads) {
    t.join();
  }

  int connected = 0;
  for (int i = 0; i < kClients; ++i) {
    if (clients[i] != INVALID_HANDLE_VALUE) {
      ++connected;
    } else {
      EXPECT_EQ(errors[i], static_cast<DWORD>(ERROR_PIPE_BUSY));
    }
  }
  EXPECT_EQ(connected, kInstances);
  // Each instance took exactly one of the clients.
  for (HANDLE server : servers) {
    EXPECT_FALSE(platform::ConnectNamedPipe(server, nullptr));
    EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_PIPE_CONNECTED));
  }
  for (HANDLE h : clients) {
    if (h != INVALID_HANDLE_VALUE) {
      platform::CloseHandle(h);
    }
  }
  for (HANDLE h : servers) {
    platform::CloseHandle(h);
  }
}

TEST_F(SimPipesTest, LongRootStillCarriesBytes) {
  const auto longRoot = simRoot / std::string(120, 'r');
  ::setenv("KESTRINE_SIM_ROOT", longRoot.c_str(), 1);
  HANDLE server = createServer(1);
  ASSERT_NE(server, INVALID_HANDLE_VALUE);
  HANDLE client = openClient();
  ASSERT_NE(client, INVALID_HANDLE_VALUE);
  DWORD count = 0;
  EXPECT_TRUE(platform::WriteFile(client, "ping", 4, &count, nullptr));
  char buffer[8] = {};
  EXPECT_TRUE(platform::ReadFile(server, buffer, sizeof buffer, &count, nullptr));
  EXPECT_EQ(std::string(buffer, count), "ping");
  platform::CloseHandle(client);
  platform::CloseHandle(server);
  ::setenv("KESTRINE_SIM_ROOT", simRoot.c_str(), 1);
}

}  // namespace
