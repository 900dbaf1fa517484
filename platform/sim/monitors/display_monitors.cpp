// Only the mapping between the sim's displays and their HMONITOR values lives here.
#include "platform/sim/monitors/display_monitors.h"

#include <cstdint>

#include "platform/displays.h"

namespace sim {
namespace {

// Odd values, so that an HMONITOR never equals a handle of the handle table (multiples of four).
constexpr std::uintptr_t kFirstMonitor = 0x10001;
constexpr std::uintptr_t kMonitorStep = 2;

HMONITOR monitorAt(std::size_t index) {
  return reinterpret_cast<HMONITOR>(kFirstMonitor + kMonitorStep * index);
}

std::optional<std::size_t> indexOf(HMONITOR monitor) {
  const auto value = reinterpret_cast<std::uintptr_t>(monitor);
  if (value < kFirstMonitor || (value - kFirstMonitor) % kMonitorStep != 0) {
    return std::nullopt;
  }
  return (value - kFirstMonitor) / kMonitorStep;
}

// A display whose record is damaged is no display monitor: the monitors of the others stay.
std::optional<SimDisplay> readableDisplay(const std::string& name) {
  try {
    return loadDisplay(name);
  } catch (const DamagedRecord&) {
    return std::nullopt;
  }
}

}  // namespace

bool isDisplayMonitor(const SimDisplay& display) {
  return (display.stateFlags & DISPLAY_DEVICE_ATTACHED_TO_DESKTOP) != 0 &&
         (display.stateFlags & DISPLAY_DEVICE_MIRRORING_DRIVER) == 0 &&
         display.faults.count(kTurnedOff.word) == 0;
}

std::vector<std::pair<HMONITOR, SimDisplay>> displayMonitors() {
  std::vector<std::pair<HMONITOR, SimDisplay>> monitors;
  const std::vector<std::string> names = displayNames();
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::optional<SimDisplay> display = readableDisplay(names[i]);
    if (display && isDisplayMonitor(*display)) {
      monitors.emplace_back(monitorAt(i), std::move(*display));
    }
  }
  return monitors;
}

std::optional<SimDisplay> displayOfMonitor(HMONITOR monitor) {
  const std::optional<std::size_t> index = indexOf(monitor);
  const std::vector<std::string> names = displayNames();
  if (!index || *index >= names.size()) {
    return std::nullopt;
  }
  std::optional<SimDisplay> display = readableDisplay(names[*index]);
  if (!display || !isDisplayMonitor(*display)) {
    return std::nullopt;
  }
  return display;
}

}  // namespace sim
