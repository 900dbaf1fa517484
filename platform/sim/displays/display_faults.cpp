// Only the display faults' words live here, in one table.
#include "platform/sim/displays/display_faults.h"

namespace sim {

const std::vector<FaultKind>& displayFaultKinds() {
  static const std::vector<FaultKind> kinds{
      {kGetFails, nullptr, 0, std::nullopt},
      {kSetFails, "CODE", 0xFFFFFFFFu, std::nullopt},
      {kNoDeviceContext, nullptr, 0, std::nullopt},
      {kTurnedOff, nullptr, 0, std::nullopt},
      {kAlteredReadback, "N", 768, std::nullopt},
      {kChanging, nullptr, 0, std::nullopt},
  };
  return kinds;
}

}  // namespace sim
