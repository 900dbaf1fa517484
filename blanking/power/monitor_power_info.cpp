// Reading one monitor's power readings and capabilities, and choosing its power states from them.
#include "blanking/power/monitor_power_info.h"

#include <optional>
#include <string>

#include "blanking/power/power_capabilities.h"
#include "blanking/power/power_log.h"
#include "platform/errors.h"

namespace velmo {
namespace power {
namespace {

// What the summary line shows as the maximum when the power read wrote none.
constexpr DWORD kStartMaximum = 1;

// The capabilities string with its terminator, or none after a failed request (logged).
std::optional<std::string> readCapabilities(const Dxva2Library& library,
                                            logging::LoggerBase& logger, HANDLE monitor) {
  DWORD length = 0;
  if (!library.getCapabilitiesStringLength(monitor, &length)) {
    const DWORD error = platform::GetLastError();
    logDebug(logger, "Failed to get monitor capabilities string length with error {}!", error);
    return std::nullopt;
  }
  std::string text(length, '\0');
  if (!library.capabilitiesRequestAndCapabilitiesReply(monitor, text.data(), length)) {
    const DWORD error = platform::GetLastError();
    logDebug(logger, "Failed to get monitor capabilities string with error {}!", error);
    return std::nullopt;
  }
  return text;
}

}  // namespace

void readMonitorPowerInfo(const Dxva2Library& library, logging::LoggerBase& logger,
                          PhysicalMonitorRecord& record) {
  MC_VCP_CODE_TYPE codeType = MC_MOMENTARY;
  DWORD current = record.initialBlankingState;
  DWORD maximum = kStartMaximum;
  if (library.getVCPFeatureAndVCPFeatureReply(record.physicalMonitor, kPowerModeVcpCode,
                                              &codeType, &current, &maximum)) {
    const PowerStates states = normalisePowerStates(current, maximum);
    record.initialBlankingState = states.initialBlankingState;
    record.blankingState = states.blankingState;
  } else {
    const DWORD error = platform::GetLastError();
    logDebug(logger, "Failed to get monitor power state info with error {}!", error);
    record.initialBlankingState = kDefaultInitialPowerState;
    record.blankingState = kDefaultBlankingPowerState;
  }
  if (const std::optional<std::string> capabilities =
          readCapabilities(library, logger, record.physicalMonitor)) {
    record.blankingState = chooseBlankingState(*capabilities, record.blankingState, logger);
  }
  logDebug(logger,
           "  Monitor [{}]: current power state = {}, maximum power state = {}, blanking state = {}",
           record.description, record.initialBlankingState, maximum, record.blankingState);
}

}  // namespace power
}  // namespace velmo
