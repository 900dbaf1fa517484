// Only the storage of the simulated DDC/CI monitors lives here; the dxva2 exports and kestrine-sim
// use it. Each display has the physical monitors that GetPhysicalMonitorsFromHMONITOR hands out,
// each with its description, power mode (VCP code D6, current and maximum value), MCCS
// capabilities string, whether a written power mode sticks, and faults of the DDC/CI calls. The
// record lives in the machine directory, shared by every process.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/core/damaged_record.h"
#include "platform/sim/core/faults.h"
#include "platform/types.h"

namespace sim {

// A fault makes one DDC/CI call fail with a last-error code: "count", "list" (the display's
// calls, GetNumberOfPhysicalMonitorsFromHMONITOR and GetPhysicalMonitorsFromHMONITOR, whose
// faults sit on the display), "get", "set", "caps-length", "caps" (the calls on a physical
// monitor handle: GetVCPFeatureAndVCPFeatureReply, SetVCPFeature, GetCapabilitiesStringLength,
// CapabilitiesRequestAndCapabilitiesReply, whose faults sit on the physical monitor). A word
// alone gives ERROR_GRAPHICS_I2C_ERROR_TRANSMITTING_DATA.
constexpr DWORD kDefaultMonitorFaultCode = 0xC0262582u;

// Every fault kind, display faults first.
const std::vector<FaultKind>& monitorFaultKinds();

// Whether a monitor fault word belongs to the display (count, list) or to a physical monitor.
bool isDisplayMonitorFault(const std::string& word);

// The longest description that fits a PHYSICAL_MONITOR with its terminator, in UTF-16 units.
constexpr std::size_t kMaximumDescriptionUnits = 127;

struct SimPhysicalMonitor {
  std::string description;      // UTF-8
  DWORD powerMode = 1;          // current value of VCP code D6: 1 on, 4 off
  DWORD powerModeMaximum = 5;   // the maximum value the monitor reports for D6
  std::string capabilities;     // MCCS capabilities string, without its terminator
  bool setSticks = true;        // a written power mode becomes the current value
  FaultSet faults;              // get, set, caps-length, caps
};

// The DDC/CI side of one display.
struct SimMonitor {
  std::string display;                      // the display's device name
  FaultSet faults;                          // count, list
  std::vector<SimPhysicalMonitor> physical;
};

// The capabilities string of the default machine's monitors; it lists D6 with 01, 04 and 05.
extern const char* const kDefaultCapabilities;

// The physical monitor that the default machine puts behind display number `number` (1-based).
SimPhysicalMonitor defaultPhysicalMonitor(std::size_t number);

// The DDC/CI side of every display, in the displays' order. A display that nobody has changed
// has its default: one physical monitor. Damaged records are left out and, when `damaged` is
// given, listed there.
std::vector<SimMonitor> loadMonitors(std::vector<DamagedEntry>* damaged = nullptr);

// The DDC/CI side of one display (exact name), or none when there is no such display. Throws
// DamagedRecord when its record (or the whole monitors file) cannot be read.
std::optional<SimMonitor> loadMonitor(const std::string& display);

// The JSON text of one display's DDC/CI side, as the machine stores it (without the display name).
std::string encodeMonitor(const SimMonitor& monitor);

// Read-modify-write of one display's DDC/CI side under the machine lock. False when there is no
// such display; then `change` is not called and nothing is written. Throws as loadMonitor does.
bool updateMonitor(const std::string& display, const std::function<void(SimMonitor&)>& change);

}  // namespace sim
