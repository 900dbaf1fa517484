// Only the physical monitor handles that the sim's dxva2 hands out live here.
#include "platform/sim/monitors/physical_monitor_handles.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include "platform/sim/core/handles.h"

namespace sim {
namespace {

class PhysicalMonitorObject : public HandleObject {
 public:
  explicit PhysicalMonitorObject(PhysicalMonitorPlace where) : place(std::move(where)) {}
  const PhysicalMonitorPlace place;
};

struct OpenHandles {
  std::mutex mutex;
  std::vector<HANDLE> handles;
};

OpenHandles& openHandles() {
  static OpenHandles instance;
  return instance;
}

}  // namespace

HANDLE openPhysicalMonitorHandle(const PhysicalMonitorPlace& place) {
  HANDLE handle =
      insertHandle(HandleKind::PhysicalMonitor, std::make_shared<PhysicalMonitorObject>(place));
  OpenHandles& open = openHandles();
  std::lock_guard<std::mutex> lock(open.mutex);
  open.handles.push_back(handle);
  return handle;
}

std::optional<PhysicalMonitorPlace> physicalMonitorPlace(HANDLE handle) {
  const auto object = lookupHandleAs<PhysicalMonitorObject>(HandleKind::PhysicalMonitor, handle);
  if (!object) {
    return std::nullopt;
  }
  return object->place;
}

bool closePhysicalMonitorHandle(HANDLE handle) {
  if (!closeHandle(HandleKind::PhysicalMonitor, handle)) {
    return false;
  }
  OpenHandles& open = openHandles();
  std::lock_guard<std::mutex> lock(open.mutex);
  open.handles.erase(std::remove(open.handles.begin(), open.handles.end(), handle),
                     open.handles.end());
  return true;
}

namespace test {
std::vector<HANDLE> openPhysicalMonitorHandles() {
  OpenHandles& open = openHandles();
  std::lock_guard<std::mutex> lock(open.mutex);
  return open.handles;
}
}  // namespace test

}  // namespace sim
