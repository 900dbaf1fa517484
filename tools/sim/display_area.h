// The display area of kestrine-sim: the displays' ramps, flags and faults.
#pragma once

#include <memory>

#include "tools/sim/sim_area.h"

namespace simtool {

std::unique_ptr<SimArea> makeDisplayArea();

}  // namespace simtool
