// The Monitor Configuration functions behind the sim's "dxva2.dll". The machine has no monitor
// that speaks DDC/CI yet: every display monitor reports no physical monitor, and a call on a
// physical monitor handle fails as Windows fails it for a handle it does not know.
#include "platform/sim/dxva2_exports.h"

#include <array>
#include <utility>

#include "platform/monitor_configuration.h"
#include "platform/sim/test_api.h"

namespace sim {
namespace {

BOOL fail(DWORD code) {
  setLastError(code);
  return FALSE;
}

BOOL WINAPI GetNumberOfPhysicalMonitorsFromHMONITOR(HMONITOR, LPDWORD count) {
  if (!count) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  *count = 0;
  return TRUE;
}

// No monitor has a physical monitor to hand out, so no array size is right.
BOOL WINAPI GetPhysicalMonitorsFromHMONITOR(HMONITOR, DWORD, LPPHYSICAL_MONITOR) {
  return fail(ERROR_INVALID_PARAMETER);
}

BOOL WINAPI DestroyPhysicalMonitors(DWORD size, LPPHYSICAL_MONITOR) {
  return size == 0 ? TRUE : fail(ERROR_GRAPHICS_INVALID_PHYSICAL_MONITOR_HANDLE);
}

BOOL WINAPI GetCapabilitiesStringLength(HANDLE, LPDWORD) {
  return fail(ERROR_GRAPHICS_INVALID_PHYSICAL_MONITOR_HANDLE);
}

BOOL WINAPI CapabilitiesRequestAndCapabilitiesReply(HANDLE, LPSTR, DWORD) {
  return fail(ERROR_GRAPHICS_INVALID_PHYSICAL_MONITOR_HANDLE);
}

BOOL WINAPI GetMonitorCapabilities(HANDLE, LPDWORD, LPDWORD) {
  return fail(ERROR_GRAPHICS_INVALID_PHYSICAL_MONITOR_HANDLE);
}

BOOL WINAPI SetVCPFeature(HANDLE, BYTE, DWORD) {
  return fail(ERROR_GRAPHICS_INVALID_PHYSICAL_MONITOR_HANDLE);
}

BOOL WINAPI GetVCPFeatureAndVCPFeatureReply(HANDLE, BYTE, LPMC_VCP_CODE_TYPE, LPDWORD, LPDWORD) {
  return fail(ERROR_GRAPHICS_INVALID_PHYSICAL_MONITOR_HANDLE);
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
