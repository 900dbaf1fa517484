// The monitor power step of the blanking worker. DPMSBlanking starts outside supportedMethods
// and nothing adds it, so in a running program this step reports success and does nothing; the
// give-up rule below is what removes the bit again after five failed blank passes.
#include <fmt/format.h>

#include "blanking/windows_screen_blanker.h"

using velmo::logging::kUnexpectedFailure;
using velmo::logging::logError;

namespace {
constexpr std::uint32_t kDPMSFailureLimit = 5;
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
  if (logger->logLevel >= velmo::logging::ERROR) {
    logger->log(
        fmt::format("DPMS blanking has failed {} times - disabling this screen blanking mechanism",
                    kDPMSFailureLimit),
        velmo::logging::ERROR, kUnexpectedFailure);
  }
  supportedMethods.fetch_and(~static_cast<std::uint32_t>(DPMSBlanking));
  std::lock_guard<std::mutex> lock(requestMutex);
  requestedMethods &= ~static_cast<std::uint32_t>(DPMSBlanking);
  return false;
}

// The snapshot, blank and restore of monitor power states need the physical monitor inventory of
// the Monitor Configuration binding. Without it there is no snapshot to take and no monitor to
// act on, which is also why the method is never put into supportedMethods.
bool WindowsScreenBlanker::saveDPMSStates() { return dpmsStatesSaved; }

bool WindowsScreenBlanker::blankDPMS() {
  logError(*logger, kUnexpectedFailure,
           "Caught invalid call to DPMS blank; This screen blanking method appears unsupported "
           "on this system");
  return false;
}

bool WindowsScreenBlanker::restoreDPMS() {
  logError(*logger, kUnexpectedFailure,
           "Caught invalid call to DPMS state restore; This screen blanking method appears "
           "unsupported on this system");
  return false;
}
