// Sim only: change notification of the simulated registry lives here.
// A watch signals its event once, at the first change in its scope that any process makes. While
// watches exist one thread polls the change mark of their machines; with none, no thread runs.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/sim/registry/event_object.h"
#include "platform/types.h"

namespace sim {

struct RegistryWatch {
  const void* keyHandle;                   // the handle the watch was made on; closing it ends it
  std::filesystem::path machineDirectory;  // fixed when watching starts: the thread never asks
                                           // the environment, which tests change
  std::string keyPath;
  bool subtree;
  DWORD filter;
  std::string changeMark;   // the machine's change mark when the fingerprint was taken
  std::string fingerprint;  // what the scope looked like when watching started
  std::shared_ptr<EventObject> event;
};

void addRegistryWatch(RegistryWatch watch);

// Ends the watches made on a key handle, as closing the handle does.
void cancelRegistryWatches(const void* keyHandle);

namespace test {
// How many watches wait for a change: lets a test make its change once a subscription is in place.
std::size_t activeRegistryWatches();
}  // namespace test

}  // namespace sim
