// Only the simulated displays' faults and their words live here, as kestrine-sim takes them and
// the display records store them: "get-fails", "set-fails CODE", "no-dc", "off",
// "alter-readback N", "changing".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"

namespace sim {

// Each fault is independent of the others.
struct DisplayFaults {
  bool getFails = false;                   // GetDeviceGammaRamp gives 0 (last error 87)
  bool setFails = false;                   // SetDeviceGammaRamp gives 0 ...
  DWORD setErrorCode = 0;                  // ... with this last error
  bool noDeviceContext = false;            // CreateDCA gives null, the monitor stays active
  bool turnedOff = false;                  // CreateDCA gives null and the monitor is not active
  std::uint32_t alteredReadbackWords = 0;  // SetDeviceGammaRamp stores the first N words plus 1
  bool changing = false;                   // each read gives a different green[255]
};

// The faults that are set, one text each, e.g. {"set-fails 87", "changing"}.
std::vector<std::string> describeFaults(const DisplayFaults& faults);

// Sets the fault that `words` name ({"set-fails", "87"}). Throws std::invalid_argument, leaving
// `faults` alone, when they name none or its value is missing or out of range.
void setFault(const std::vector<std::string>& words, DisplayFaults& faults);

// Clears the fault of that name. Throws std::invalid_argument for an unknown name.
void clearFault(const std::string& kind, DisplayFaults& faults);

// The names of all faults, in the order above.
std::vector<std::string> faultNames();

// A whole text that is a decimal or 0x-hexadecimal number no greater than `maximum`.
std::optional<unsigned long> parseDisplayNumber(const std::string& text, unsigned long maximum);

}  // namespace sim
