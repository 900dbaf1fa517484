// Types of dxva2.dll's Monitor Configuration API and the pointer types of its functions.
// The program binds the functions at run time through the loader, so only types live here.
#pragma once

#include "platform/types.h"

#ifdef _WIN32
#include <physicalmonitorenumerationapi.h>
#if __has_include(<lowlevelmonitorconfigurationapi.h>)
#include <lowlevelmonitorconfigurationapi.h>
#else
// mingw-w64 ships no lowlevelmonitorconfigurationapi.h.
enum MC_VCP_CODE_TYPE { MC_MOMENTARY, MC_SET_PARAMETER };
using LPMC_VCP_CODE_TYPE = MC_VCP_CODE_TYPE*;
#endif
#else

#define WINAPI

constexpr int PHYSICAL_MONITOR_DESCRIPTION_SIZE = 128;

#pragma pack(push, 1)
struct PHYSICAL_MONITOR {
  HANDLE hPhysicalMonitor;
  WCHAR szPhysicalMonitorDescription[PHYSICAL_MONITOR_DESCRIPTION_SIZE];
};
#pragma pack(pop)
using LPPHYSICAL_MONITOR = PHYSICAL_MONITOR*;

enum MC_VCP_CODE_TYPE { MC_MOMENTARY, MC_SET_PARAMETER };
using LPMC_VCP_CODE_TYPE = MC_VCP_CODE_TYPE*;

// Failure of a DDC/CI call on a handle that is not an open physical monitor.
constexpr DWORD ERROR_GRAPHICS_INVALID_PHYSICAL_MONITOR_HANDLE = 0xC026258Cu;
#endif

static_assert(sizeof(PHYSICAL_MONITOR) == sizeof(HANDLE) + 256,
              "PHYSICAL_MONITOR keeps the Windows layout");
static_assert(sizeof(MC_VCP_CODE_TYPE) == 4, "MC_VCP_CODE_TYPE keeps the Windows layout");

namespace platform {

// The eight exports of dxva2.dll that the program binds, as GetProcAddress gives them.
using GetNumberOfPhysicalMonitorsFromHMONITORFn = BOOL(WINAPI*)(HMONITOR, LPDWORD);
using GetPhysicalMonitorsFromHMONITORFn = BOOL(WINAPI*)(HMONITOR, DWORD, LPPHYSICAL_MONITOR);
using GetCapabilitiesStringLengthFn = BOOL(WINAPI*)(HANDLE, LPDWORD);
using CapabilitiesRequestAndCapabilitiesReplyFn = BOOL(WINAPI*)(HANDLE, LPSTR, DWORD);
using DestroyPhysicalMonitorsFn = BOOL(WINAPI*)(DWORD, LPPHYSICAL_MONITOR);
using GetMonitorCapabilitiesFn = BOOL(WINAPI*)(HANDLE, LPDWORD, LPDWORD);
using SetVCPFeatureFn = BOOL(WINAPI*)(HANDLE, BYTE, DWORD);
using GetVCPFeatureAndVCPFeatureReplyFn = BOOL(WINAPI*)(HANDLE, BYTE, LPMC_VCP_CODE_TYPE,
                                                        LPDWORD, LPDWORD);

}  // namespace platform
