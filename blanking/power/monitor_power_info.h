// Reading a physical monitor's power states: its D6 readings and the D6 entry of its
// capabilities string, through the Monitor Configuration binding.
#pragma once

#include "blanking/physical_monitor_record.h"
#include "library/dxva2_library.h"
#include "logging/logger.h"

namespace velmo {
namespace power {

// Fills the record's initialBlankingState and blankingState and logs what it found. Never fails:
// a request that fails leaves the values from before it (the defaults 1 and 4 after a failed
// power read). The requests go out in a fixed order: power state, capabilities length,
// capabilities string.
void readMonitorPowerInfo(const Dxva2Library& library, logging::LoggerBase& logger,
                          PhysicalMonitorRecord& record);

}  // namespace power
}  // namespace velmo
