// kestrine-sim's registry area: keys and values below HKEY_LOCAL_MACHINE.
#pragma once

#include <memory>

#include "tools/sim/sim_area.h"

namespace simtool {

std::unique_ptr<SimArea> makeRegistryArea();

}  // namespace simtool
