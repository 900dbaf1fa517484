// The monitor power step of the blanking worker: the snapshot of the monitors' power states,
// the blank that keeps every monitor in its blanking state, the restore, and the rule that gives
// the method up after five failed blank passes in a row. DPMSBlanking starts outside
// supportedMethods and the program never adds it, so in a running program this step reports
// success and does nothing.
#include <fmt/format.h>

#include "blanking/power/monitor_identity.h"
#include "blanking/power/monitor_power_info.h"
#include "blanking/power/power_capabilities.h"
#include "blanking/power/power_log.h"
#include "blanking/windows_screen_blanker.h"

using velmo::logging::ERROR;
using velmo::logging::INFO;
using velmo::logging::kUnexpectedFailure;
using velmo::logging::logError;
using velmo::power::deviceNameText;
using velmo::power::logDebug;
using velmo::power::logFormatted;

namespace {

constexpr std::uint32_t kDPMSFailureLimit = 5;
constexpr int kRestoreAttempts = 5;

// The monitor's current power mode, or false when the read failed. `current` starts at 0.
bool readPowerMode(const velmo::Dxva2Library& library, HANDLE monitor, DWORD& current) {
  MC_VCP_CODE_TYPE codeType = MC_MOMENTARY;
  DWORD maximum = 0;
  current = 0;
  return library.getVCPFeatureAndVCPFeatureReply(monitor, velmo::power::kPowerModeVcpCode,
                                                 &codeType, &current, &maximum) != 0;
}

bool writePowerMode(const velmo::Dxva2Library& library, HANDLE monitor, DWORD value) {
  return library.setVCPFeature(monitor, velmo::power::kPowerModeVcpCode, value) != 0;
}

void logReadFailure(velmo::logging::LoggerBase& logger, const PhysicalMonitorRecord& record) {
  logDebug(logger, "Failed to read {} monitor power state!", deviceNameText(record));
}

// Puts one monitor into its blanking state unless it is there already. A record listed without
// its power states (after a refresh, or before any snapshot) has them read first, so that the
// value written is the monitor's own blanking state and never 0.
bool blankMonitor(const velmo::Dxva2Library& library, velmo::logging::LoggerBase& logger,
                  PhysicalMonitorRecord& record) {
  if (record.blankingState == 0) {
    velmo::power::readMonitorPowerInfo(library, logger, record);
  }
  DWORD current = 0;
  if (!readPowerMode(library, record.physicalMonitor, current)) {
    logReadFailure(logger, record);
    return false;
  }
  if (current == record.blankingState) {
    return true;
  }
  if (!writePowerMode(library, record.physicalMonitor, record.blankingState)) {
    logDebug(logger, "Failed to put monitor {} to sleep!", deviceNameText(record));
    return false;
  }
  logFormatted(logger, INFO, logger.defaultResultCode, "Successfully put monitor {} to sleep!",
               deviceNameText(record));
  return true;
}

// Brings the monitor of a saved record back to its saved state, through the first current
// record that is the same monitor. A failed read leaves the value at 0, so the write follows.
bool restoreMonitor(const velmo::Dxva2Library& library, velmo::logging::LoggerBase& logger,
                    const PhysicalMonitorRecord& saved,
                    const std::vector<PhysicalMonitorRecord>& current) {
  for (const PhysicalMonitorRecord& record : current) {
    if (!velmo::power::isSameMonitor(saved, record)) {
      continue;
    }
    DWORD value = 0;
    if (!readPowerMode(library, record.physicalMonitor, value)) {
      logReadFailure(logger, record);
    }
    if (value == saved.initialBlankingState) {
      return true;
    }
    return writePowerMode(library, record.physicalMonitor, saved.initialBlankingState);
  }
  return false;
}

// A call into the method while it is not supported is a fault of the caller: logged, refused.
bool refusedAsUnsupported(std::uint32_t supportedMethods, velmo::logging::LoggerBase& logger,
                          const char* message) {
  if ((supportedMethods & IOSScreenBlanker::DPMSBlanking) != 0) {
    return false;
  }
  logError(logger, kUnexpectedFailure, message);
  return true;
}

}  // namespace

bool WindowsScreenBlanker::applyDPMSRequest(std::uint32_t current, std::uint32_t requested,
                                            std::uint32_t& achieved) {
  if ((supportedMethods.load() & DPMSBlanking) == 0) {
    return dpmsFailureCount == 0;
  }
  if ((current & DPMSBlanking) == 0 && (requested & DPMSBlanking) == 0) {
    return (requested & NoBlanking) != 0 ? restoreDPMS() : false;
  }
  if ((requested & DPMSBlanking) == 0) {
    return restoreDPMS();
  }
  if (blankDPMS()) {
    dpmsFailureCount = 0;
    achieved |= DPMSBlanking;
    return true;
  }
  if (++dpmsFailureCount < kDPMSFailureLimit) {
    return false;
  }
  logFormatted(*logger, ERROR, kUnexpectedFailure,
               "DPMS blanking has failed {} times - disabling this screen blanking mechanism",
               kDPMSFailureLimit);
  supportedMethods.fetch_and(~static_cast<std::uint32_t>(DPMSBlanking));
  std::lock_guard<std::mutex> lock(requestMutex);
  requestedMethods &= ~static_cast<std::uint32_t>(DPMSBlanking);
  return false;
}

// Takes no lock of its own: blankDPMS calls it with displayStateMutex held, and the worker's
// first call runs before anyone else can look at the snapshot.
bool WindowsScreenBlanker::saveDPMSStates() {
  if (dpmsStatesSaved) {
    return true;
  }
  if (!enumeratePhysicalMonitors(true)) {
    return false;
  }
  if (physicalMonitors.empty()) {
    logError(*logger, kUnexpectedFailure,
             "DPMS blanking failed; couldn't find any physical monitors to blank");
    return false;
  }
  initialMonitors = physicalMonitors;
  dpmsStatesSaved = true;
  dpmsStatesSavedCondition.notify_all();
  logDebug(*logger, "Saving initial monitor DPMS states...");
  for (const PhysicalMonitorRecord& record : initialMonitors) {
    logDebug(*logger, "  Saved initial DPMS state ({}) for monitor {}", record.initialBlankingState,
             record.description);
  }
  return true;
}

bool WindowsScreenBlanker::blankDPMS() {
  if (refusedAsUnsupported(supportedMethods.load(), *logger,
                           "Caught invalid call to DPMS blank; This screen blanking method "
                           "appears unsupported on this system")) {
    return false;
  }
  std::lock_guard<std::mutex> lock(displayStateMutex);
  if (!dpmsStatesSaved && !ScreenBlanker::restoreOnly()) {
    saveDPMSStates();
  }
  bool allBlanked = true;
  for (PhysicalMonitorRecord& record : physicalMonitors) {
    allBlanked = blankMonitor(*dxva2Library, *logger, record) && allBlanked;
  }
  if (allBlanked && !physicalMonitors.empty()) {
    return true;
  }
  enumeratePhysicalMonitors(false);
  return false;
}

bool WindowsScreenBlanker::restoreDPMS() {
  if (refusedAsUnsupported(supportedMethods.load(), *logger,
                           "Caught invalid call to DPMS state restore; This screen blanking "
                           "method appears unsupported on this system")) {
    return false;
  }
  std::lock_guard<std::mutex> lock(displayStateMutex);
  if (!dpmsStatesSaved) {
    logError(*logger, kUnexpectedFailure, "Can't restore DPMS state as initial state was not saved");
    return false;
  }
  logDebug(*logger, "Restoring Initial monitor DPMS states...");
  if (!enumeratePhysicalMonitors(false)) {
    return false;
  }
  for (int attempt = 0; attempt < kRestoreAttempts; ++attempt) {
    bool allRestored = true;
    if (initialMonitors.empty()) {
      return true;
    }
    for (const PhysicalMonitorRecord& saved : initialMonitors) {
      if (restoreMonitor(*dxva2Library, *logger, saved, physicalMonitors)) {
        logDebug(*logger, "  Restored initial DPMS state ({}) for monitor {} : {}",
                 saved.initialBlankingState, deviceNameText(saved), saved.description);
      } else {
        allRestored = false;
        logDebug(*logger, "  Restoring initial DPMS state ({}) for monitor {} : {} failed!",
                 saved.initialBlankingState, deviceNameText(saved), saved.description);
      }
    }
    if (allRestored) {
      return true;
    }
    logFormatted(*logger, ERROR, kUnexpectedFailure,
                 "Failed to restore all DPMS monitor states! (attempt = {})", attempt);
  }
  logError(*logger, kUnexpectedFailure, "Failed to restore all DPMS monitor states");
  return false;
}
