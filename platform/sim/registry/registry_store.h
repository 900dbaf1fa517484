// Sim only: the storage of the simulated registry lives here, shared by every process.
// machine/registry.json holds the keys and their typed values; machine/registry.changed holds a
// mark that every change replaces, which is what watchers poll. Used by the registry operations
// and by kestrine-sim.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/types.h"

namespace sim {
namespace registry {

// The root keys that exist on every machine, by name; their ids never change.
constexpr const char* kLocalMachine = "HKEY_LOCAL_MACHINE";
constexpr const char* kCurrentUser = "HKEY_CURRENT_USER";
constexpr std::uint64_t kLocalMachineId = 1;
constexpr std::uint64_t kCurrentUserId = 2;

struct Value {
  std::string name;  // as first written; names compare without regard to ASCII case
  DWORD type = 0;
  std::string data;  // the bytes exactly as written; the stored text when damaged
  // Why the stored value could not be read; empty when it could. Only a query of this value
  // fails (kDamagedValueError); it is written back as it was found until it is set anew.
  std::string damage;
};

// ERROR_REGISTRY_CORRUPT: what a query of a damaged value gives.
constexpr LSTATUS kDamagedValueError = 1015;

struct Key {
  std::uint64_t id = 0;  // a key deleted and made again is another key
  std::string path;      // full path from its root key, e.g. HKEY_LOCAL_MACHINE\SOFTWARE\Norvalis
  std::vector<Value> values;

  const Value* findValue(const std::string& name) const;
  // Replaces a value of the same name or adds one.
  void setValue(Value value);
  bool removeValue(const std::string& name);
};

// The whole registry of one machine.
class Tree {
 public:
  // An empty registry: only the root keys.
  Tree();

  // Reads the registry of the machine whose state lives in `machineDirectory` (an absent file
  // is an empty registry: only the root keys).
  static Tree load(const std::filesystem::path& machineDirectory);
  // Writes it back into machineDir() and replaces the change mark. The caller holds the
  // MachineLock from before its load.
  void save() const;

  const Key* find(const std::string& path) const;
  Key* find(const std::string& path);
  // Makes the key and any missing parents; `created` tells whether the key itself is new.
  Key& create(const std::string& path, bool& created);
  bool hasSubkeys(const std::string& path) const;
  // Removes the key and every key below it.
  void remove(const std::string& path);

  // A text that changes exactly when something that a watch with `filter` on `path` (and, with
  // `subtree`, on every key below it) reports has changed.
  std::string fingerprint(const std::string& path, bool subtree, DWORD filter) const;

  // Every key, ordered by path.
  std::vector<const Key*> keys() const;

 private:
  std::uint64_t nextId;
  std::map<std::string, Key> byFoldedPath;  // key: the path in lower case
};

// The current change mark of the machine; empty when nothing was ever written.
std::string readChangeMark(const std::filesystem::path& machineDirectory);

// The path in lower case (ASCII), as keys and value names are compared.
std::string fold(const std::string& text);

}  // namespace registry
}  // namespace sim
