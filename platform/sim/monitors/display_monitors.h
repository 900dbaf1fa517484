// Only the mapping between the sim's displays and their HMONITOR values lives here: which
// displays count as display monitors, and the handle that stands for each.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "platform/sim/displays/display_state.h"
#include "platform/types.h"

namespace sim {

// A display is a display monitor while it is attached to the desktop, is no mirroring driver and
// has not been turned off.
bool isDisplayMonitor(const SimDisplay& display);

// The display monitors in enumeration order, each with its HMONITOR. HMONITORs are not opened or
// closed (as on Windows they are plain values), so they are not in the handle table: the value
// names the display's place in the listing.
std::vector<std::pair<HMONITOR, SimDisplay>> displayMonitors();

// The display that `monitor` stands for, while it is a display monitor.
std::optional<SimDisplay> displayOfMonitor(HMONITOR monitor);

}  // namespace sim
