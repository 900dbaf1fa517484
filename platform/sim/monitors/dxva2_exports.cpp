// The Monitor Configuration functions behind the sim's "dxva2.dll", acting on the machine's DDC/CI
// monitors (monitor_state.h). Physical monitor handles (physical_monitor_handles.h) are closed by
// DestroyPhysicalMonitors; a handle whose monitor or display has gone fails its calls.
#include "platform/sim/monitors/dxva2_exports.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/monitor_configuration.h"
#include "platform/sim/monitors/display_monitors.h"
#include "platform/sim/monitors/monitor_state.h"
#include "platform/sim/monitors/physical_monitor_handles.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/core/utf.h"

namespace sim {
namespace {

// The one VCP code the simulated monitors know: the power mode.
constexpr BYTE kPowerModeCode = 0xD6;
constexpr DWORD kVcpNotSupported = 0xC0262584u;    // ERROR_GRAPHICS_DDCCI_VCP_NOT_SUPPORTED
constexpr DWORD kMonitorNoLongerExists = 0xC026258Du;  // ERROR_GRAPHICS_MONITOR_NO_LONGER_EXISTS

BOOL fail(DWORD code) {
  setLastError(code);
  return FALSE;
}

// The physical monitor behind a handle, as the machine holds it now, for a call that the fault
// `faultWord` makes fail (none: no fault applies). Sets the last error and gives none when the
// handle is not open, its monitor is gone or the call is to fail.
std::optional<SimPhysicalMonitor> resolve(HANDLE handle, const char* faultWord,
                                          std::optional<PhysicalMonitorPlace>* place = nullptr) {
  const std::optional<PhysicalMonitorPlace> found = physicalMonitorPlace(handle);
  if (!found) {
    setLastError(ERROR_GRAPHICS_INVALID_PHYSICAL_MONITOR_HANDLE);
    return std::nullopt;
  }
  std::optional<SimDisplay> display;
  std::optional<SimMonitor> monitor;
  const bool readable = failOnDamage(false, [&] {
    display = loadDisplay(found->display);
    monitor = loadMonitor(found->display);
    return true;
  });
  if (!readable) {
    return std::nullopt;
  }
  if (!display || !isDisplayMonitor(*display) || !monitor ||
      found->index >= monitor->physical.size()) {
    setLastError(kMonitorNoLongerExists);
    return std::nullopt;
  }
  const SimPhysicalMonitor& physical = monitor->physical[found->index];
  if (faultWord) {
    if (const std::optional<DWORD> code = faultValue(physical.faults, faultWord)) {
      setLastError(*code);
      return std::nullopt;
    }
  }
  if (place) {
    *place = found;
  }
  return physical;
}

// The DDC/CI side of a display monitor, for a call of the display that the fault `faultWord`
// makes fail. False, with the last error set, when the record is damaged or the fault is set. A
// monitor handle that the machine does not know stands for a display without DDC/CI: `behind`
// stays empty.
bool monitorBehind(HMONITOR monitor, const char* faultWord, std::optional<SimMonitor>& behind) {
  const bool readable = failOnDamage(false, [&] {
    const std::optional<SimDisplay> display = displayOfMonitor(monitor);
    behind = display ? loadMonitor(display->name) : std::nullopt;
    return true;
  });
  const std::optional<DWORD> code = behind ? faultValue(behind->faults, faultWord) : std::nullopt;
  if (code) {
    setLastError(*code);
  }
  return readable && !code;
}

void copyDescription(const std::string& description, PHYSICAL_MONITOR& entry) {
  const std::vector<WCHAR> units = utf8ToUtf16(
      reinterpret_cast<const unsigned char*>(description.data()), description.size());
  const std::size_t size = std::min(units.size(), kMaximumDescriptionUnits);
  WCHAR text[PHYSICAL_MONITOR_DESCRIPTION_SIZE] = {};
  std::copy_n(units.begin(), size, text);
  // The record is packed: its text is reached through the record's bytes, not a WCHAR pointer.
  std::memcpy(reinterpret_cast<unsigned char*>(&entry) +
                  offsetof(PHYSICAL_MONITOR, szPhysicalMonitorDescription),
              text, sizeof text);
}

BOOL WINAPI GetNumberOfPhysicalMonitorsFromHMONITOR(HMONITOR monitor, LPDWORD count) {
  SIM_RECORD_CALL(GetNumberOfPhysicalMonitorsFromHMONITOR, monitor, count);
  if (!count) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  std::optional<SimMonitor> behind;
  if (!monitorBehind(monitor, "count", behind)) {
    return FALSE;
  }
  if (!behind) {
    *count = 0;
    return TRUE;
  }
  *count = static_cast<DWORD>(behind->physical.size());
  return TRUE;
}

BOOL WINAPI GetPhysicalMonitorsFromHMONITOR(HMONITOR monitor, DWORD size,
                                            LPPHYSICAL_MONITOR monitors) {
  SIM_RECORD_CALL(GetPhysicalMonitorsFromHMONITOR, monitor, size, monitors);
  std::optional<SimMonitor> behind;
  if (!monitorBehind(monitor, "list", behind)) {
    return FALSE;
  }
  if (!behind) {
    // No physical monitor to hand out, so no array size is right.
    return fail(ERROR_INVALID_PARAMETER);
  }
  if (!monitors || size != behind->physical.size()) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  for (std::size_t i = 0; i < behind->physical.size(); ++i) {
    PHYSICAL_MONITOR entry{};
    entry.hPhysicalMonitor = openPhysicalMonitorHandle({behind->display, i});
    copyDescription(behind->physical[i].description, entry);
    std::memcpy(&monitors[i], &entry, sizeof entry);
  }
  return TRUE;
}

BOOL WINAPI DestroyPhysicalMonitors(DWORD size, LPPHYSICAL_MONITOR monitors) {
  SIM_RECORD_CALL(DestroyPhysicalMonitors, size, monitors);
  if (size == 0) {
    return TRUE;
  }
  if (!monitors) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  bool allClosed = true;
  for (DWORD i = 0; i < size; ++i) {
    PHYSICAL_MONITOR entry;
    std::memcpy(&entry, &monitors[i], sizeof entry);
    allClosed = closePhysicalMonitorHandle(entry.hPhysicalMonitor) && allClosed;
  }
  return allClosed ? TRUE : fail(ERROR_GRAPHICS_INVALID_PHYSICAL_MONITOR_HANDLE);
}

BOOL WINAPI GetCapabilitiesStringLength(HANDLE physicalMonitor, LPDWORD length) {
  SIM_RECORD_CALL(GetCapabilitiesStringLength, physicalMonitor, length);
  const std::optional<SimPhysicalMonitor> monitor = resolve(physicalMonitor, "caps-length");
  if (!monitor) {
    return FALSE;
  }
  if (!length) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  *length = static_cast<DWORD>(monitor->capabilities.size() + 1);
  return TRUE;
}

BOOL WINAPI CapabilitiesRequestAndCapabilitiesReply(HANDLE physicalMonitor, LPSTR capabilities,
                                                    DWORD length) {
  SIM_RECORD_CALL(CapabilitiesRequestAndCapabilitiesReply, physicalMonitor, capabilities, length);
  const std::optional<SimPhysicalMonitor> monitor = resolve(physicalMonitor, "caps");
  if (!monitor) {
    return FALSE;
  }
  if (!capabilities || length < monitor->capabilities.size() + 1) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  std::memcpy(capabilities, monitor->capabilities.c_str(), monitor->capabilities.size() + 1);
  return TRUE;
}

// Nothing of the program asks for it; a simulated monitor reports no optional capability.
BOOL WINAPI GetMonitorCapabilities(HANDLE physicalMonitor, LPDWORD capabilities,
                                   LPDWORD colorTemperatures) {
  SIM_RECORD_CALL(GetMonitorCapabilities, physicalMonitor, capabilities, colorTemperatures);
  if (!resolve(physicalMonitor, nullptr)) {
    return FALSE;
  }
  if (!capabilities || !colorTemperatures) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  *capabilities = 0;
  *colorTemperatures = 0;
  return TRUE;
}

BOOL WINAPI SetVCPFeature(HANDLE physicalMonitor, BYTE code, DWORD value) {
  SIM_RECORD_CALL(SetVCPFeature, physicalMonitor, code, value);
  std::optional<PhysicalMonitorPlace> place;
  if (!resolve(physicalMonitor, "set", &place)) {
    return FALSE;
  }
  if (code != kPowerModeCode) {
    return fail(kVcpNotSupported);
  }
  bool present = false;
  const bool readable = failOnDamage(false, [&] {
    updateMonitor(place->display, [&](SimMonitor& stored) {
      present = place->index < stored.physical.size();
      if (present && stored.physical[place->index].setSticks) {
        stored.physical[place->index].powerMode = value;
      }
    });
    return true;
  });
  if (!readable) {
    return FALSE;
  }
  return present ? TRUE : fail(kMonitorNoLongerExists);
}

BOOL WINAPI GetVCPFeatureAndVCPFeatureReply(HANDLE physicalMonitor, BYTE code,
                                            LPMC_VCP_CODE_TYPE codeType, LPDWORD current,
                                            LPDWORD maximum) {
  SIM_RECORD_CALL(GetVCPFeatureAndVCPFeatureReply, physicalMonitor, code, codeType, current,
                  maximum);
  const std::optional<SimPhysicalMonitor> monitor = resolve(physicalMonitor, "get");
  if (!monitor) {
    return FALSE;
  }
  if (code != kPowerModeCode) {
    return fail(kVcpNotSupported);
  }
  if (!current) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  if (codeType) {
    *codeType = MC_SET_PARAMETER;
  }
  *current = monitor->powerMode;
  if (maximum) {
    *maximum = monitor->powerModeMaximum;
  }
  return TRUE;
}

using Export = std::pair<const char*, FARPROC>;

// Each export goes in through the pointer type that the program binds it with. The detour
// through void (*)() is the cast between function pointer types that compilers accept silently.
template <class Signature>
Export entry(const char* name, Signature function) {
  return {name, reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(function))};
}

const std::array<Export, 8>& exportTable() {
  static const std::array<Export, 8> table{{
      entry<platform::GetNumberOfPhysicalMonitorsFromHMONITORFn>(
          "GetNumberOfPhysicalMonitorsFromHMONITOR", &GetNumberOfPhysicalMonitorsFromHMONITOR),
      entry<platform::GetPhysicalMonitorsFromHMONITORFn>("GetPhysicalMonitorsFromHMONITOR",
                                                        &GetPhysicalMonitorsFromHMONITOR),
      entry<platform::GetCapabilitiesStringLengthFn>("GetCapabilitiesStringLength",
                                                    &GetCapabilitiesStringLength),
      entry<platform::CapabilitiesRequestAndCapabilitiesReplyFn>(
          "CapabilitiesRequestAndCapabilitiesReply", &CapabilitiesRequestAndCapabilitiesReply),
      entry<platform::DestroyPhysicalMonitorsFn>("DestroyPhysicalMonitors",
                                                &DestroyPhysicalMonitors),
      entry<platform::GetMonitorCapabilitiesFn>("GetMonitorCapabilities", &GetMonitorCapabilities),
      entry<platform::SetVCPFeatureFn>("SetVCPFeature", &SetVCPFeature),
      entry<platform::GetVCPFeatureAndVCPFeatureReplyFn>("GetVCPFeatureAndVCPFeatureReply",
                                                        &GetVCPFeatureAndVCPFeatureReply),
  }};
  return table;
}

}  // namespace

std::vector<std::string> dxva2ExportNames() {
  std::vector<std::string> names;
  for (const Export& e : exportTable()) {
    names.emplace_back(e.first);
  }
  return names;
}

FARPROC dxva2Export(const std::string& name) {
  for (const Export& e : exportTable()) {
    if (name == e.first) {
      return e.second;
    }
  }
  return nullptr;
}

}  // namespace sim
