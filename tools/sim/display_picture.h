// Draws the simulated displays as a PNG picture of what they show through their current ramps.
#pragma once

#include <string>
#include <vector>

#include "platform/sim/displays/display_state.h"

namespace simtool {

// One panel per display, left to right in listing order, each with its number, a grey gradient
// and a colour bar passed through the display's ramp, and the red, green and blue curves of the
// ramp (input level across, output up). Throws std::runtime_error when the file cannot be written.
void writeDisplayPicture(const std::vector<sim::SimDisplay>& displays, const std::string& path);

}  // namespace simtool
