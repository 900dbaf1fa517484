// One validated restore attempt on one display.
#include "blanking/gamma/gamma_restore.h"

#include <fmt/format.h>

#include "platform/displays.h"
#include "platform/errors.h"

bool restoreInitialGamma(velmo::logging::LoggerBase& logger,
                         HDC deviceContext, std::uint32_t attempt,
                         const GammaRamp& ramp) {
  using velmo::logging::DEBUG;
  using velmo::logging::ERROR;
  using velmo::logging::logAt;
  // SetDeviceGammaRamp only reads the ramp; its parameter is not const in the Windows API.
  if (!platform::SetDeviceGammaRamp(deviceContext, const_cast<GammaRamp*>(&ramp))) {
    const auto errorCode = static_cast<std::int32_t>(platform::GetLastError());
    logAt(logger, ERROR, errorCode,
          fmt::format("Failed to restore device gamma ramp! (attempt = {})", attempt));
    return false;
  }
  GammaRamp readBack{};
  if (!platform::GetDeviceGammaRamp(deviceContext, &readBack)) {
    logAt(logger, DEBUG, logger.defaultResultCode,
          "Restored initial device gamma ramps; but failed read back for validation!");
    return false;
  }
  const std::size_t differences = countDifferentWords(ramp, readBack);
  if (differences != 0) {
    logAt(logger, DEBUG, logger.defaultResultCode,
          fmt::format("Restored initial device gamma ramps; but {} entries failed validation!",
                      differences));
    return false;
  }
  logAt(logger, DEBUG, logger.defaultResultCode,
        "Restored initial device gamma ramps and successfully validated restoration");
  logGammaBrightness(readBack, logger, "Restored Gammas");
  return true;
}
