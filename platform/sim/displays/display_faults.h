// Only the simulated displays' fault words live here, as kestrine-sim takes them and the display
// records store them: "get-fails", "set-fails CODE", "no-dc", "off", "alter-readback N",
// "changing". Each fault is independent of the others.
#pragma once

#include <vector>

#include "platform/sim/core/faults.h"

namespace sim {

// GetDeviceGammaRamp gives 0 (last error 87).
constexpr FaultKind kGetFails{"get-fails", nullptr, 0, std::nullopt};
// SetDeviceGammaRamp gives 0 with CODE as the last error.
constexpr FaultKind kSetFails{"set-fails", "CODE", 0xFFFFFFFFu, std::nullopt};
// CreateDCA gives null; the monitor stays active.
constexpr FaultKind kNoDeviceContext{"no-dc", nullptr, 0, std::nullopt};
// CreateDCA gives null and the monitor is not active.
constexpr FaultKind kTurnedOff{"off", nullptr, 0, std::nullopt};
// SetDeviceGammaRamp stores the first N words plus 1.
constexpr FaultKind kAlteredReadback{"alter-readback", "N", 768, std::nullopt};
// Each read gives a different green[255].
constexpr FaultKind kChanging{"changing", nullptr, 0, std::nullopt};

// Every display fault, in the order kestrine-sim lists them.
const std::vector<FaultKind>& displayFaultKinds();

}  // namespace sim
