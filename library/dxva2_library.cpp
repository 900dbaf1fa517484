#include "library/dxva2_library.h"

#include <stdexcept>
#include <type_traits>
#include <utility>

namespace velmo {
namespace {

// The plain function pointer that a slot of this signature holds.
template <class Signature>
struct ExportPointer;
template <class R, class... A>
struct ExportPointer<R(A...)> {
  using type = R(WINAPI*)(A...);
};

template <class Slot>
struct SlotPointer;
template <class Signature>
struct SlotPointer<std::function<Signature>> {
  using type = typename ExportPointer<Signature>::type;
};

template <class Slot, class Export>
constexpr bool bindsExport = std::is_same_v<typename SlotPointer<Slot>::type, Export>;

}  // namespace

Dxva2Library::Dxva2Library(std::unique_ptr<logging::LoggerBase> logger) {
  // Each slot holds exactly the type that dxva2.dll exports under its name.
  static_assert(bindsExport<decltype(getNumberOfPhysicalMonitorsFromHMONITORFunction),
                            platform::GetNumberOfPhysicalMonitorsFromHMONITORFn>);
  static_assert(bindsExport<decltype(getPhysicalMonitorsFromHMONITORFunction),
                            platform::GetPhysicalMonitorsFromHMONITORFn>);
  static_assert(bindsExport<decltype(getCapabilitiesStringLengthFunction),
                            platform::GetCapabilitiesStringLengthFn>);
  static_assert(bindsExport<decltype(capabilitiesRequestAndCapabilitiesReplyFunction),
                            platform::CapabilitiesRequestAndCapabilitiesReplyFn>);
  static_assert(bindsExport<decltype(destroyPhysicalMonitorsFunction),
                            platform::DestroyPhysicalMonitorsFn>);
  static_assert(bindsExport<decltype(getMonitorCapabilitiesFunction),
                            platform::GetMonitorCapabilitiesFn>);
  static_assert(bindsExport<decltype(setVCPFeatureFunction), platform::SetVCPFeatureFn>);
  static_assert(bindsExport<decltype(getVCPFeatureAndVCPFeatureReplyFunction),
                            platform::GetVCPFeatureAndVCPFeatureReplyFn>);

  std::unique_ptr<IDynamicLibrary> loaded =
      createDynamicLibrary("dxva2.dll", std::move(logger), "Microsoft", true);
  if (!loaded) {
    throw std::runtime_error("could not load dxva2 library");
  }
  library = std::move(loaded);
  loadFunction(getNumberOfPhysicalMonitorsFromHMONITORFunction,
               "GetNumberOfPhysicalMonitorsFromHMONITOR");
  loadFunction(getPhysicalMonitorsFromHMONITORFunction, "GetPhysicalMonitorsFromHMONITOR");
  loadFunction(getCapabilitiesStringLengthFunction, "GetCapabilitiesStringLength");
  loadFunction(capabilitiesRequestAndCapabilitiesReplyFunction,
               "CapabilitiesRequestAndCapabilitiesReply");
  loadFunction(destroyPhysicalMonitorsFunction, "DestroyPhysicalMonitors");
  loadFunction(getMonitorCapabilitiesFunction, "GetMonitorCapabilities");
  loadFunction(setVCPFeatureFunction, "SetVCPFeature");
  loadFunction(getVCPFeatureAndVCPFeatureReplyFunction, "GetVCPFeatureAndVCPFeatureReply");
}

template <class R, class... A>
void Dxva2Library::loadFunction(std::function<R(A...)>& slot, const std::string& name) {
  if (name.empty()) {
    throw std::invalid_argument("No function name supplied");
  }
  // A null address leaves the slot empty.
  slot = reinterpret_cast<typename ExportPointer<R(A...)>::type>(library->getFunctionAddress(name));
  if (!slot) {
    throw std::runtime_error("Failed to load function: " + name);
  }
}

int Dxva2Library::getNumberOfPhysicalMonitorsFromHMONITOR(HMONITOR monitor, DWORD* count) const {
  return getNumberOfPhysicalMonitorsFromHMONITORFunction(monitor, count);
}

int Dxva2Library::getPhysicalMonitorsFromHMONITOR(HMONITOR monitor, DWORD size,
                                                  PHYSICAL_MONITOR* monitors) const {
  return getPhysicalMonitorsFromHMONITORFunction(monitor, size, monitors);
}

int Dxva2Library::getCapabilitiesStringLength(HANDLE physicalMonitor, DWORD* length) const {
  return getCapabilitiesStringLengthFunction(physicalMonitor, length);
}

int Dxva2Library::capabilitiesRequestAndCapabilitiesReply(HANDLE physicalMonitor,
                                                          char* capabilities,
                                                          DWORD length) const {
  return capabilitiesRequestAndCapabilitiesReplyFunction(physicalMonitor, capabilities, length);
}

int Dxva2Library::setVCPFeature(HANDLE physicalMonitor, BYTE code, DWORD value) const {
  return setVCPFeatureFunction(physicalMonitor, code, value);
}

int Dxva2Library::getVCPFeatureAndVCPFeatureReply(HANDLE physicalMonitor, BYTE code,
                                                  MC_VCP_CODE_TYPE* codeType, DWORD* current,
                                                  DWORD* maximum) const {
  return getVCPFeatureAndVCPFeatureReplyFunction(physicalMonitor, code, codeType, current,
                                                 maximum);
}

}  // namespace velmo
