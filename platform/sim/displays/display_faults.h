// Only the simulated displays' fault words live here, as kestrine-sim takes them and the display
// records store them: "get-fails", "set-fails CODE", "no-dc", "off", "alter-readback N",
// "changing". Each fault is independent of the others.
#pragma once

#include <vector>

#include "platform/sim/core/faults.h"

namespace sim {

// GetDeviceGammaRamp gives 0 (last error 87).
constexpr const char* kGetFails = "get-fails";
// SetDeviceGammaRamp gives 0 with CODE as the last error.
constexpr const char* kSetFails = "set-fails";
// CreateDCA gives null; the monitor stays active.
constexpr const char* kNoDeviceContext = "no-dc";
// CreateDCA gives null and the monitor is not active.
constexpr const char* kTurnedOff = "off";
// SetDeviceGammaRamp stores the first N words plus 1.
constexpr const char* kAlteredReadback = "alter-readback";
// Each read gives a different green[255].
constexpr const char* kChanging = "changing";

// Every display fault, in the order kestrine-sim lists them.
const std::vector<FaultKind>& displayFaultKinds();

}  // namespace sim
