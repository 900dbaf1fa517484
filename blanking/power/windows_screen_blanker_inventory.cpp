// The physical monitor inventory of the screen blanker: every physical monitor behind every
// display monitor, listed through user32 and the Monitor Configuration binding. It runs on the
// blanking worker only, and the callback runs on that thread inside EnumDisplayMonitors.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <exception>
#include <vector>

#include "blanking/power/monitor_power_info.h"
#include "blanking/power/power_log.h"
#include "blanking/windows_screen_blanker.h"
#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/monitors.h"

using velmo::logging::kUnexpectedFailure;
using velmo::logging::logError;
using velmo::power::logDebug;

namespace {

// The description of an entry, up to its terminator. The entry is packed, so its text is copied
// out through the entry's bytes rather than read through a WCHAR pointer.
std::string descriptionOf(const PHYSICAL_MONITOR& entry) {
  WCHAR text[PHYSICAL_MONITOR_DESCRIPTION_SIZE];
  std::memcpy(text,
              reinterpret_cast<const unsigned char*>(&entry) +
                  offsetof(PHYSICAL_MONITOR, szPhysicalMonitorDescription),
              sizeof text);
  return velmo::wideToUtf8(
      platform::WideString(text, std::find(text, text + PHYSICAL_MONITOR_DESCRIPTION_SIZE, WCHAR{0})));
}

}  // namespace

bool WindowsScreenBlanker::enumeratePhysicalMonitors(bool readPowerInfo) {
  const std::size_t previousCount = physicalMonitors.size();
  physicalMonitors.clear();
  if (!platform::EnumDisplayMonitors(nullptr, nullptr, &WindowsScreenBlanker::monitorEnumProc,
                                     reinterpret_cast<LPARAM>(this))) {
    logError(*logger, kUnexpectedFailure, "Physical monitor enumeration failed");
    return false;
  }
  if (!readPowerInfo && physicalMonitors.size() == previousCount) {
    return true;
  }
  if (physicalMonitors.empty()) {
    logDebug(*logger, "No longer finding any monitors");
    return true;
  }
  if (readPowerInfo) {
    for (PhysicalMonitorRecord& record : physicalMonitors) {
      velmo::power::readMonitorPowerInfo(*dxva2Library, *logger, record);
    }
  }
  return true;
}

BOOL WindowsScreenBlanker::addPhysicalMonitors(HMONITOR monitor, HDC deviceContext, LPRECT) {
  PhysicalMonitorRecord record;
  record.monitor = monitor;
  record.deviceContext = deviceContext;
  record.info.cbSize = sizeof(MONITORINFOEXW);

  DWORD count = 0;
  if (!dxva2Library->getNumberOfPhysicalMonitorsFromHMONITOR(monitor, &count)) {
    const DWORD error = platform::GetLastError();
    logDebug(*logger, "Failed to get physical monitor count | Error {}!", error);
    return FALSE;
  }
  if (!platform::GetMonitorInfoW(monitor, &record.info)) {
    const DWORD error = platform::GetLastError();
    logDebug(*logger, "Failed to get monitor info | Error {}!", error);
    return FALSE;
  }
  if (count == 0) {
    return TRUE;
  }
  std::vector<PHYSICAL_MONITOR> entries(count);
  if (!dxva2Library->getPhysicalMonitorsFromHMONITOR(monitor, count, entries.data())) {
    const DWORD error = platform::GetLastError();
    logDebug(*logger, "getPhysicalMonitorsFromHMONITOR failed with error {}!", error);
    return FALSE;
  }
  for (const PHYSICAL_MONITOR& entry : entries) {
    record.physicalMonitor = entry.hPhysicalMonitor;
    record.description = descriptionOf(entry);
    physicalMonitors.push_back(record);
  }
  return TRUE;
}

BOOL CALLBACK WindowsScreenBlanker::monitorEnumProc(HMONITOR monitor, HDC deviceContext,
                                                    LPRECT rectangle, LPARAM blanker) {
  auto* self = reinterpret_cast<WindowsScreenBlanker*>(blanker);
  // Nothing may leave a callback that Windows called: a failure stops the enumeration instead.
  try {
    return self->addPhysicalMonitors(monitor, deviceContext, rectangle);
  } catch (const std::exception& e) {
    logError(*self->logger, kUnexpectedFailure, e.what());
    return FALSE;
  }
}
