// The process-wide handle table of the sim.
#include "platform/sim/core/handles.h"

#include <map>
#include <mutex>
#include <utility>

namespace sim {
namespace {

struct Entry {
  HandleKind kind;
  std::shared_ptr<HandleObject> object;
};

struct Table {
  std::mutex mutex;
  std::map<std::uintptr_t, Entry> entries;
  std::uintptr_t next = 0x100;
};

Table& table() {
  static Table instance;
  return instance;
}

}  // namespace

void* insertHandle(HandleKind kind, std::shared_ptr<HandleObject> object) {
  Table& t = table();
  std::lock_guard<std::mutex> lock(t.mutex);
  const std::uintptr_t value = t.next;
  t.next += 4;  // Windows hands out kernel handles in steps of four.
  t.entries.emplace(value, Entry{kind, std::move(object)});
  return reinterpret_cast<void*>(value);
}

std::shared_ptr<HandleObject> lookupHandle(HandleKind kind, void* handle) {
  Table& t = table();
  std::lock_guard<std::mutex> lock(t.mutex);
  const auto it = t.entries.find(reinterpret_cast<std::uintptr_t>(handle));
  if (it == t.entries.end() || it->second.kind != kind) {
    return nullptr;
  }
  return it->second.object;
}

bool closeHandle(HandleKind kind, void* handle) {
  std::shared_ptr<HandleObject> released;
  {
    Table& t = table();
    std::lock_guard<std::mutex> lock(t.mutex);
    const auto it = t.entries.find(reinterpret_cast<std::uintptr_t>(handle));
    if (it == t.entries.end() || it->second.kind != kind) {
      return false;
    }
    released = std::move(it->second.object);
    t.entries.erase(it);
  }
  // The object is released outside the table's lock: its destructor may block or log.
  return true;
}

std::size_t openHandleCount() {
  Table& t = table();
  std::lock_guard<std::mutex> lock(t.mutex);
  return t.entries.size();
}

}  // namespace sim
