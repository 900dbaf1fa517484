// What identifies a physical monitor across enumerations and runs: its display's device name and
// rectangle.
#pragma once

#include <string>

#include "blanking/physical_monitor_record.h"

namespace velmo {
namespace power {

// True when both records have the same rectangle and the same device name up to its terminator.
// Descriptions, handles and power states play no part.
bool isSameMonitor(const PhysicalMonitorRecord& first, const PhysicalMonitorRecord& second);

// The device name (szDevice up to its terminator) in UTF-8, for log lines.
std::string deviceNameText(const PhysicalMonitorRecord& record);

}  // namespace power
}  // namespace velmo
