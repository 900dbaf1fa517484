// The process's table of simulated handles (kernel objects, device contexts, registry keys,
// modules). A handle value is a small number that stands for an object of one kind; closing it
// with the wrong function fails as on Windows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace sim {

enum class HandleKind { Kernel, DeviceContext, RegistryKey, Module, Monitor, PhysicalMonitor };

// An object behind a handle. Its destructor releases what it holds (socket, lock, ...).
class HandleObject {
 public:
  virtual ~HandleObject() = default;
};

// Registers an object and returns its handle value (never 0, never -1).
void* insertHandle(HandleKind kind, std::shared_ptr<HandleObject> object);

// The object behind a handle of that kind, or null when the value is not an open handle of it.
std::shared_ptr<HandleObject> lookupHandle(HandleKind kind, void* handle);

template <class T>
std::shared_ptr<T> lookupHandleAs(HandleKind kind, void* handle) {
  return std::dynamic_pointer_cast<T>(lookupHandle(kind, handle));
}

// Removes a handle of that kind from the table. False when it was not open. The object itself
// goes when the last user lets go of it (a thread blocked in a read keeps it alive until then).
bool closeHandle(HandleKind kind, void* handle);

// The number of open handles of every kind in this process.
std::size_t openHandleCount();

}  // namespace sim
