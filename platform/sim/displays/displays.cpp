// Only the sim's display operations live here, acting on the stored displays and their faults.
// Ramps are read and written exactly, whatever their shape.
#include <cctype>
#include <cstring>
#include <optional>
#include <string>

#include "platform/displays.h"
#include "platform/errors.h"
#include "platform/sim/displays/display_state.h"
#include "platform/sim/core/handles.h"
#include "platform/sim/core/test_api.h"

namespace {

static_assert(sizeof(sim::RampWords) == 1536, "a ramp is 768 words");

// What a device context stands for: the display it was made for.
class DisplayContext : public sim::HandleObject {
 public:
  explicit DisplayContext(std::string name) : displayName(std::move(name)) {}
  const std::string displayName;
};

bool equalIgnoringCase(const std::string& a, const char* b) {
  const std::size_t size = std::strlen(b);
  if (a.size() != size) {
    return false;
  }
  for (std::size_t i = 0; i < size; ++i) {
    if (std::toupper(static_cast<unsigned char>(a[i])) !=
        std::toupper(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

// Device names are compared as Windows does, without regard to case.
std::optional<std::string> findDisplayName(const char* name) {
  for (const std::string& candidate : sim::displayNames()) {
    if (equalIgnoringCase(candidate, name)) {
      return candidate;
    }
  }
  return std::nullopt;
}

void copyText(CHAR* field, std::size_t size, const std::string& text) {
  std::memset(field, 0, size);
  std::memcpy(field, text.data(), text.size() < size ? text.size() : size - 1);
}

void describeAdapter(const sim::SimDisplay& display, DWORD index, DISPLAY_DEVICEA& device) {
  copyText(device.DeviceName, sizeof device.DeviceName, display.name);
  copyText(device.DeviceString, sizeof device.DeviceString, "Simulated Display Adapter");
  device.StateFlags = display.stateFlags;
  copyText(device.DeviceID, sizeof device.DeviceID, "PCI\\VEN_0000&DEV_0000");
  copyText(device.DeviceKey, sizeof device.DeviceKey,
           "\\Registry\\Machine\\System\\CurrentControlSet\\Control\\Video\\{0}\\" +
               std::to_string(index));
}

void describeMonitor(const sim::SimDisplay& display, DISPLAY_DEVICEA& device) {
  copyText(device.DeviceName, sizeof device.DeviceName, display.monitorName());
  copyText(device.DeviceString, sizeof device.DeviceString, "Generic PnP Monitor");
  device.StateFlags = display.faults.count(sim::kTurnedOff.word) != 0
                          ? DISPLAY_DEVICE_ATTACHED
                          : DISPLAY_DEVICE_ACTIVE | DISPLAY_DEVICE_ATTACHED;
  copyText(device.DeviceID, sizeof device.DeviceID, "MONITOR\\SIM0000");
  copyText(device.DeviceKey, sizeof device.DeviceKey,
           "\\Registry\\Machine\\System\\CurrentControlSet\\Control\\Class\\{1}\\0000");
}

std::optional<std::string> contextDisplay(HDC hdc) {
  const auto context = sim::lookupHandleAs<DisplayContext>(sim::HandleKind::DeviceContext, hdc);
  if (!context) {
    return std::nullopt;
  }
  return context->displayName;
}

BOOL fail(DWORD code) {
  sim::setLastError(code);
  return FALSE;
}

// The adapter entry of display `index`. A damaged record still lists its adapter, attached to the
// desktop, so that a listing goes past it; the calls on the display then fail.
std::optional<sim::SimDisplay> adapterAt(const std::vector<std::string>& names, DWORD index) {
  if (index >= names.size()) {
    return std::nullopt;
  }
  try {
    return sim::loadDisplay(names[index]);
  } catch (const sim::DamagedRecord&) {
    sim::SimDisplay damaged;
    damaged.name = names[index];
    damaged.stateFlags = DISPLAY_DEVICE_ATTACHED_TO_DESKTOP;
    return damaged;
  }
}

}  // namespace

namespace platform {

BOOL EnumDisplayDevicesA(LPCSTR lpDevice, DWORD iDevNum, PDISPLAY_DEVICEA lpDisplayDevice,
                         DWORD dwFlags) {
  SIM_ENTER(EnumDisplayDevicesA, lpDevice, iDevNum, lpDisplayDevice, dwFlags);
  if (!lpDisplayDevice || lpDisplayDevice->cb < sizeof(DISPLAY_DEVICEA)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  if (!lpDevice) {
    const std::optional<sim::SimDisplay> display = adapterAt(sim::displayNames(), iDevNum);
    if (!display) {
      return FALSE;
    }
    describeAdapter(*display, iDevNum, *lpDisplayDevice);
    return TRUE;
  }
  return sim::failOnDamage<BOOL>(FALSE, [&]() -> BOOL {
    const std::optional<std::string> name = findDisplayName(lpDevice);
    const std::optional<sim::SimDisplay> display =
        name && iDevNum == 0 ? sim::loadDisplay(*name) : std::nullopt;
    if (!display) {
      return FALSE;
    }
    describeMonitor(*display, *lpDisplayDevice);
    return TRUE;
  });
}

HDC CreateDCA(LPCSTR pwszDriver, LPCSTR pwszDevice, LPCSTR pszPort, const DEVMODEA* pdm) {
  SIM_ENTER(CreateDCA, pwszDriver, pwszDevice, pszPort, pdm);
  if (!pwszDriver || !equalIgnoringCase(pwszDriver, "DISPLAY") || !pwszDevice) {
    fail(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return sim::failOnDamage<HDC>(nullptr, [&]() -> HDC {
    const std::optional<std::string> name = findDisplayName(pwszDevice);
    const std::optional<sim::SimDisplay> display = name ? sim::loadDisplay(*name) : std::nullopt;
    if (!display || display->faults.count(sim::kNoDeviceContext.word) != 0 ||
        display->faults.count(sim::kTurnedOff.word) != 0) {
      fail(ERROR_INVALID_PARAMETER);
      return nullptr;
    }
    return static_cast<HDC>(sim::insertHandle(sim::HandleKind::DeviceContext,
                                              std::make_shared<DisplayContext>(display->name)));
  });
}

BOOL DeleteDC(HDC hdc) {
  SIM_ENTER(DeleteDC, hdc);
  return sim::closeHandle(sim::HandleKind::DeviceContext, hdc) ? TRUE : fail(ERROR_INVALID_HANDLE);
}

BOOL GetDeviceGammaRamp(HDC hdc, LPVOID lpRamp) {
  SIM_ENTER(GetDeviceGammaRamp, hdc, lpRamp);
  const std::optional<std::string> name = contextDisplay(hdc);
  if (!name) {
    return fail(ERROR_INVALID_HANDLE);
  }
  return sim::failOnDamage<BOOL>(FALSE, [&]() -> BOOL {
    std::optional<sim::SimDisplay> display = sim::loadDisplay(*name);
    if (!lpRamp || !display || display->faults.count(sim::kGetFails.word) != 0) {
      return fail(ERROR_INVALID_PARAMETER);
    }
    if (display->faults.count(sim::kChanging.word) != 0) {
      // Every read moves green[255] on by one more step, so no two reads in a row agree.
      sim::updateDisplay(*name, [&display](sim::SimDisplay& stored) {
        ++stored.readCount;
        display = stored;
      });
      display->ramp[511] = static_cast<WORD>(display->ramp[511] + display->readCount);
    }
    std::memcpy(lpRamp, display->ramp.data(), sizeof display->ramp);
    return TRUE;
  });
}

BOOL SetDeviceGammaRamp(HDC hdc, LPVOID lpRamp) {
  SIM_ENTER(SetDeviceGammaRamp, hdc, lpRamp);
  const std::optional<std::string> name = contextDisplay(hdc);
  if (!name) {
    return fail(ERROR_INVALID_HANDLE);
  }
  if (!lpRamp) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return sim::failOnDamage<BOOL>(FALSE, [&]() -> BOOL {
    std::optional<DWORD> refusal;
    const bool found = sim::updateDisplay(*name, [&](sim::SimDisplay& stored) {
      refusal = sim::faultValue(stored.faults, sim::kSetFails.word);
      if (refusal) {
        return;
      }
      std::memcpy(stored.ramp.data(), lpRamp, sizeof stored.ramp);
      const DWORD altered =
          sim::faultValue(stored.faults, sim::kAlteredReadback.word).value_or(0);
      for (std::uint32_t i = 0; i < altered && i < sim::kRampWords; ++i) {
        ++stored.ramp[i];
      }
    });
    if (!found) {
      return fail(ERROR_INVALID_PARAMETER);
    }
    return refusal ? fail(*refusal) : TRUE;
  });
}

}  // namespace platform
