// The list of the sim's areas that kestrine-sim knows. A new area adds its factory here.
#include "tools/sim/display_area.h"
#include "tools/sim/library_area.h"
#include "tools/sim/monitor_area.h"
#include "tools/sim/registry_area.h"
#include "tools/sim/sim_area.h"

namespace simtool {

std::vector<std::unique_ptr<SimArea>> makeAreas() {
  std::vector<std::unique_ptr<SimArea>> areas;
  areas.push_back(makeDisplayArea());
  areas.push_back(makeMonitorArea());
  areas.push_back(makeLibraryArea());
  areas.push_back(makeRegistryArea());
  return areas;
}

}  // namespace simtool
