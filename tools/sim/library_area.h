// kestrine-sim's library area: the libraries in System32 and their signature records.
#pragma once

#include <memory>

#include "tools/sim/sim_area.h"

namespace simtool {

std::unique_ptr<SimArea> makeLibraryArea();

}  // namespace simtool
