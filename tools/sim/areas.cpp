// The list of the sim's areas that kestrine-sim knows. A new area adds its factory here.
#include "tools/sim/sim_area.h"

namespace simtool {

std::vector<std::unique_ptr<SimArea>> makeAreas() {
  std::vector<std::unique_ptr<SimArea>> areas;
  return areas;
}

}  // namespace simtool
