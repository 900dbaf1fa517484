// kestrine-sim's monitor area: the DDC/CI monitors behind the displays, their power mode (D6),
// capabilities strings and faults.
#pragma once

#include <memory>

#include "tools/sim/sim_area.h"

namespace simtool {

std::unique_ptr<SimArea> makeMonitorArea();

}  // namespace simtool
