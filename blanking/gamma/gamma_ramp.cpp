// Ramp arithmetic and the brightness line.
#include "blanking/gamma/gamma_ramp.h"

#include <fmt/format.h>

namespace {

constexpr WORD kLinearStep = 255;

std::size_t countDifferent(const std::array<WORD, 256>& a, const std::array<WORD, 256>& b) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    count += a[i] != b[i] ? 1 : 0;
  }
  return count;
}

}  // namespace

void setLinearRamp(GammaRamp& ramp) {
  for (std::size_t i = 0; i < ramp.red.size(); ++i) {
    const WORD level = static_cast<WORD>(kLinearStep * i);
    ramp.red[i] = level;
    ramp.green[i] = level;
    ramp.blue[i] = level;
  }
}

std::size_t countDifferentWords(const GammaRamp& a, const GammaRamp& b) {
  return countDifferent(a.red, b.red) + countDifferent(a.green, b.green) +
         countDifferent(a.blue, b.blue);
}

void logGammaBrightness(const GammaRamp& ramp, velmo::logging::LoggerBase& logger,
                        const std::string& title) {
  using velmo::logging::DEBUG;
  velmo::logging::logAt(logger, DEBUG, logger.defaultResultCode,
                        fmt::format("{}; RGB brightness ({}, {}, {})", title, ramp.red[255],
                                    ramp.green[255], ramp.blue[255]));
}
