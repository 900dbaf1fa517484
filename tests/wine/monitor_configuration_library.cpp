// A Monitor Configuration library of our own, for the signer checks under Wine: the eight
// functions the tool binds, each failing as on a machine without DDC/CI monitors. Loaded to run,
// it writes its full path to the file that KESTRINE_LOAD_MARKER names, so that a check can tell
// which file was loaded (the tool's path search maps a library without running any of it).
#include <windows.h>

// x64 has one calling convention and the caller clears the stack, so a function that takes
// nothing may stand for one that takes arguments.
#define KESTRINE_FAILING_EXPORT(name)                        \
  extern "C" __attribute__((dllexport)) BOOL WINAPI name() { \
    SetLastError(ERROR_NOT_SUPPORTED);                       \
    return FALSE;                                            \
  }

KESTRINE_FAILING_EXPORT(GetNumberOfPhysicalMonitorsFromHMONITOR)
KESTRINE_FAILING_EXPORT(GetPhysicalMonitorsFromHMONITOR)
KESTRINE_FAILING_EXPORT(GetCapabilitiesStringLength)
KESTRINE_FAILING_EXPORT(CapabilitiesRequestAndCapabilitiesReply)
KESTRINE_FAILING_EXPORT(DestroyPhysicalMonitors)
KESTRINE_FAILING_EXPORT(GetMonitorCapabilities)
KESTRINE_FAILING_EXPORT(SetVCPFeature)
KESTRINE_FAILING_EXPORT(GetVCPFeatureAndVCPFeatureReply)

extern "C" BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, LPVOID) {
  char marker[MAX_PATH];
  char path[MAX_PATH];
  if (reason != DLL_PROCESS_ATTACH ||
      GetEnvironmentVariableA("KESTRINE_LOAD_MARKER", marker, MAX_PATH) == 0) {
    return TRUE;
  }
  const DWORD length = GetModuleFileNameA(self, path, MAX_PATH);
  const HANDLE file =
      CreateFileA(marker, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    DWORD written = 0;
    WriteFile(file, path, length, &written, nullptr);
    CloseHandle(file);
  }
  return TRUE;
}
