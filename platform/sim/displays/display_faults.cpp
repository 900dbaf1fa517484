// Only the display faults' words live here, in one table.
#include "platform/sim/displays/display_faults.h"

namespace sim {

const std::vector<FaultKind>& displayFaultKinds() {
  static const std::vector<FaultKind> kinds{kGetFails,  kSetFails,        kNoDeviceContext,
                                            kTurnedOff, kAlteredReadback, kChanging};
  return kinds;
}

}  // namespace sim
