// One physical monitor as the monitor power method sees it.
#pragma once

#include <cstdint>
#include <string>

#include "platform/monitors.h"

// A plain value: copied whole; it does not own its handles.
struct PhysicalMonitorRecord {
  HMONITOR monitor = nullptr;         // the display monitor Windows listed it under
  HDC deviceContext = nullptr;        // given to the enumeration callback; carried, not read
  MONITORINFOEXW info{};              // rcMonitor and szDevice are read
  std::string description;            // UTF-8 description of the physical monitor
  HANDLE physicalMonitor = nullptr;   // handle for the VCP operations
  std::uint32_t initialBlankingState = 0;  // D6 value of the monitor's normal state
  std::uint32_t blankingState = 0;         // D6 value that blanks the monitor
};
