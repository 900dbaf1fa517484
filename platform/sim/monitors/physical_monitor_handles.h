// Only the physical monitor handles that the sim's dxva2 hands out live here: what each stands
// for, and the list of those still open, which tests close as the end of a process would.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"

namespace sim {

// One physical monitor of one display, by its place among the display's physical monitors.
struct PhysicalMonitorPlace {
  std::string display;
  std::size_t index = 0;
};

// A new handle in the handle table for that physical monitor.
HANDLE openPhysicalMonitorHandle(const PhysicalMonitorPlace& place);

// What an open handle stands for; none when it is not an open physical monitor handle.
std::optional<PhysicalMonitorPlace> physicalMonitorPlace(HANDLE handle);

// Closes a physical monitor handle. False when it was not open.
bool closePhysicalMonitorHandle(HANDLE handle);

namespace test {
// The physical monitor handles of this process that nobody has destroyed, oldest first.
std::vector<HANDLE> openPhysicalMonitorHandles();
}  // namespace test

}  // namespace sim
