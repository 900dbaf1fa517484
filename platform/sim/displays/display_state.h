// Only the storage of the simulated displays lives here; operations and kestrine-sim use it.
// One record per display (flags, rectangle, exact gamma ramp, faults) in the machine directory,
// shared by every process.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/core/damaged_record.h"
#include "platform/sim/displays/display_faults.h"
#include "platform/types.h"

namespace sim {

// A gamma ramp as the device holds it: red, green and blue, 256 words each, one after the other.
constexpr std::size_t kRampWords = 768;
using RampWords = std::array<WORD, kRampWords>;

struct SimDisplay {
  std::string name;         // DeviceName, e.g. "\\.\DISPLAY1"
  DWORD stateFlags = 0;     // adapter StateFlags (attached, primary, mirroring driver, ...)
  RECT rect{};              // the display's place on the desktop
  RampWords ramp{};         // the ramp the device holds now
  FaultSet faults;          // words of displayFaultKinds()
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

// One display by name (exact), or none. Throws DamagedRecord when its record cannot be read.
std::optional<SimDisplay> loadDisplay(const std::string& name);

// All displays in enumeration order; damaged records are left out and, when `damaged` is given,
// listed there.
std::vector<SimDisplay> loadDisplays(std::vector<DamagedEntry>* damaged = nullptr);

// Read-modify-write of one display under the machine lock. False when there is no such display;
// then `change` is not called and nothing is written. Throws DamagedRecord as loadDisplay does.
bool updateDisplay(const std::string& name, const std::function<void(SimDisplay&)>& change);

// Replaces the whole list of displays, under the machine lock.
void replaceDisplays(const std::vector<SimDisplay>& displays);
// The same for a caller that already holds the machine lock (it is not reentrant), such as
// kestrine-sim's reset.
void replaceDisplaysUnderLock(const std::vector<SimDisplay>& displays);

// The text form of a display record, as stored in its file.
std::string encodeDisplay(const SimDisplay& display);
// Throws DamagedRecord for a text that is no display record.
SimDisplay decodeDisplay(const std::string& text);

}  // namespace sim
