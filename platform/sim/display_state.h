// The simulated machine's display devices as stored in the machine directory: one record per
// display with its flags, rectangle, exact gamma ramp and faults, shared by every process. Only
// storage lives here; the display operations and kestrine-sim act through it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/machine.h"
#include "platform/types.h"

namespace sim {

// A gamma ramp as the device holds it: red, green and blue, 256 words each, one after the other.
constexpr std::size_t kRampWords = 768;
using RampWords = std::array<WORD, kRampWords>;

// What goes wrong on a display. Each fault is independent of the others.
struct DisplayFaults {
  bool getFails = false;              // GetDeviceGammaRamp gives 0 (last error 87)
  bool setFails = false;              // SetDeviceGammaRamp gives 0 ...
  DWORD setErrorCode = 0;             // ... with this last error
  bool noDeviceContext = false;       // CreateDCA gives null, the monitor stays active
  bool turnedOff = false;             // CreateDCA gives null and the monitor is not active
  std::uint32_t alteredReadbackWords = 0;  // SetDeviceGammaRamp stores the first N words plus 1
  bool changing = false;              // each read gives a different green[255]

  bool any() const {
    return getFails || setFails || noDeviceContext || turnedOff || alteredReadbackWords > 0 ||
           changing;
  }
};

struct SimDisplay {
  std::string name;         // DeviceName, e.g. "\\.\DISPLAY1"
  DWORD stateFlags = 0;     // adapter StateFlags (attached, primary, mirroring driver, ...)
  RECT rect{};              // the display's place on the desktop
  RampWords ramp{};         // the ramp the device holds now
  DisplayFaults faults;
  std::uint32_t readCount = 0;  // reads so far while the ramp is changing

  // The name of its one monitor entry: "<name>\Monitor0".
  std::string monitorName() const { return name + "\\Monitor0"; }
};

// `count` displays \\.\DISPLAY1.. side by side, 1920x1080 each, identity ramps (word i of each
// channel = 257 x i), the first one primary. The default machine has two.
std::vector<SimDisplay> defaultDisplays(std::size_t count);
constexpr std::size_t kDefaultDisplayCount = 2;

// The identity ramp of a display that nobody has changed.
RampWords identityRamp();

// The display names in enumeration order. The first use on a machine creates the default.
std::vector<std::string> displayNames();

// One display by name (exact), or none.
std::optional<SimDisplay> loadDisplay(const std::string& name);

// All displays in enumeration order.
std::vector<SimDisplay> loadDisplays();

// Read-modify-write of one display under the machine lock. False when there is no such display;
// then `change` is not called and nothing is written.
bool updateDisplay(const std::string& name, const std::function<void(SimDisplay&)>& change);

// Replaces the whole list of displays. The second form is for a caller that already holds the
// machine lock (the lock is not reentrant).
void replaceDisplays(const std::vector<SimDisplay>& displays);
void replaceDisplays(const std::vector<SimDisplay>& displays, const MachineLock& held);

// The text form of a display record, as stored in its file.
std::string encodeDisplay(const SimDisplay& display);
SimDisplay decodeDisplay(const std::string& text);

}  // namespace sim
