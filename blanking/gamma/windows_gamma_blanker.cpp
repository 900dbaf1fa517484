// Construction and the blank and restore passes of the gamma blanker.
#include "blanking/gamma/windows_gamma_blanker.h"

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

#include "blanking/gamma/gamma_displays.h"
#include "blanking/gamma/gamma_restore.h"
#include "blanking/gamma/gamma_save.h"
#include "platform/displays.h"
#include "platform/errors.h"

namespace {

using velmo::logging::DEBUG;
using velmo::logging::ERROR;
using velmo::logging::kUnexpectedFailure;
using velmo::logging::LoggerBase;

std::unique_ptr<LoggerBase> requireLogger(std::unique_ptr<LoggerBase> logger) {
  if (!logger) {
    throw std::invalid_argument("Windows gamma blanker requires a logger");
  }
  return logger;
}

}  // namespace

WindowsGammaBlanker::WindowsGammaBlanker(std::unique_ptr<LoggerBase> logger,
                                         const Json::Value& savedState, bool restoreOnly)
    : logger(requireLogger(std::move(logger))),
      restoreOnly(restoreOnly),
      blankingGamma(kBlankingRamp),
      displays(buildDisplayList(*this->logger, restoreOnly)) {
  fromJson(savedState);
}

bool WindowsGammaBlanker::blank() {
  return runPass("blank", &WindowsGammaBlanker::blankDisplay,
                 "Failed to set blanking gamma ramps for one or more displays");
}

bool WindowsGammaBlanker::restore() {
  return runPass("restore", &WindowsGammaBlanker::restoreDisplay,
                 "Failed to restore initial gamma ramps for one or more displays");
}

bool WindowsGammaBlanker::runPass(const char* action, DisplayStep step, const char* summary) {
  bool success = true;
  for (GammaDisplay& display : displays) {
    const velmo::DeviceContext deviceContext = openForPass(display, action, success);
    if (deviceContext && !(this->*step)(display, deviceContext.get())) {
      success = false;
    }
  }
  if (!success) {
    velmo::logging::logError(*logger, kUnexpectedFailure, summary);
  }
  return success;
}

velmo::DeviceContext WindowsGammaBlanker::openForPass(GammaDisplay& display, const char* action,
                                                        bool& success) {
  velmo::DeviceContext deviceContext = openDeviceContext(display.displayName);
  if (deviceContext) {
    display.offNoticeLogged = false;
  } else if (isDisplayActive(display)) {
    velmo::logging::logAt(
        *logger, ERROR, kUnexpectedFailure,
        fmt::format("Failed to create device context for display {}", display.displayName));
    success = false;
  } else if (!display.offNoticeLogged) {
    // A display that stays off is reported once, and again only after it has been back.
    velmo::logging::logAt(*logger, DEBUG, logger->defaultResultCode,
                          fmt::format("Could not {} display {} because it is turned off, skipping",
                                      action, display.displayName));
    display.offNoticeLogged = true;
  }
  return deviceContext;
}

bool WindowsGammaBlanker::blankDisplay(GammaDisplay& display,
                                       HDC deviceContext) {
  if (!display.initialGammasSaved && !restoreOnly) {
    // A failed save still blanks the display. The linear ramp kept here is only used by a
    // restore of this same blanker; on the save road the document has already been taken with
    // this display unsaved, so the display stays dark and a restore from that document skips it.
    if (!saveInitialGamma(*logger, deviceContext, display.initialGammas)) {
      setLinearRamp(display.initialGammas);
    }
    display.initialGammasSaved = true;
  }
  if (!platform::SetDeviceGammaRamp(deviceContext, &blankingGamma)) {
    const auto errorCode = static_cast<std::int32_t>(platform::GetLastError());
    velmo::logging::logAt(
        *logger, ERROR, errorCode,
        fmt::format("Failed to set gamma ramp for {} display", display.displayName));
    return false;
  }
  return true;
}

bool WindowsGammaBlanker::restoreDisplay(GammaDisplay& display,
                                         HDC deviceContext) {
  if (!display.initialGammasSaved) {
    velmo::logging::logError(*logger, kUnexpectedFailure,
                             "Skipping gamma restoration on display: initial gamma was not saved");
    return false;
  }
  for (std::uint32_t attempt = 0; attempt < kGammaRestoreAttempts; ++attempt) {
    if (restoreInitialGamma(*logger, deviceContext, attempt, display.initialGammas)) {
      return true;
    }
  }
  return false;
}

GammaDisplay* WindowsGammaBlanker::findDisplay(const std::string& displayName) {
  for (GammaDisplay& display : displays) {
    if (display.displayName == displayName) {
      return &display;
    }
  }
  return nullptr;
}
