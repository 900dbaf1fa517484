// Typed access to the Monitor Configuration API of dxva2.dll, loaded at run time through the
// signature-validating loader and bound by name.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "library/dynamic_library.h"
#include "logging/logger.h"
#include "platform/monitor_configuration.h"
#include "platform/types.h"

namespace velmo {

class Dxva2Library {
 public:
  // Loads dxva2.dll, accepted only with a trusted signature whose signer's subject holds
  // "Microsoft", and binds its eight functions. Throws what the loader throws, and
  // std::runtime_error naming the first function that the library does not export.
  explicit Dxva2Library(std::unique_ptr<logging::LoggerBase> logger);
  Dxva2Library(const Dxva2Library&) = delete;
  Dxva2Library& operator=(const Dxva2Library&) = delete;

  // Each calls the bound function and gives its result unchanged (nonzero for success); the
  // caller reads the last error right after a failed call.
  int getNumberOfPhysicalMonitorsFromHMONITOR(HMONITOR monitor, DWORD* count) const;
  int getPhysicalMonitorsFromHMONITOR(HMONITOR monitor, DWORD size,
                                      PHYSICAL_MONITOR* monitors) const;
  int getCapabilitiesStringLength(HANDLE physicalMonitor, DWORD* length) const;
  int capabilitiesRequestAndCapabilitiesReply(HANDLE physicalMonitor, char* capabilities,
                                              DWORD length) const;
  int setVCPFeature(HANDLE physicalMonitor, BYTE code, DWORD value) const;
  int getVCPFeatureAndVCPFeatureReply(HANDLE physicalMonitor, BYTE code,
                                      MC_VCP_CODE_TYPE* codeType, DWORD* current,
                                      DWORD* maximum) const;

 private:
  template <class R, class... A>
  void loadFunction(std::function<R(A...)>& slot, const std::string& name);

  std::unique_ptr<IDynamicLibrary> library;
  std::function<int(HMONITOR, DWORD*)> getNumberOfPhysicalMonitorsFromHMONITORFunction;
  std::function<int(HMONITOR, DWORD, PHYSICAL_MONITOR*)> getPhysicalMonitorsFromHMONITORFunction;
  std::function<int(HANDLE, DWORD*)> getCapabilitiesStringLengthFunction;
  std::function<int(HANDLE, char*, DWORD)> capabilitiesRequestAndCapabilitiesReplyFunction;
  std::function<int(DWORD, PHYSICAL_MONITOR*)> destroyPhysicalMonitorsFunction;
  std::function<int(HANDLE, DWORD*, DWORD*)> getMonitorCapabilitiesFunction;
  std::function<int(HANDLE, BYTE, DWORD)> setVCPFeatureFunction;
  std::function<int(HANDLE, BYTE, MC_VCP_CODE_TYPE*, DWORD*, DWORD*)>
      getVCPFeatureAndVCPFeatureReplyFunction;
};

}  // namespace velmo
