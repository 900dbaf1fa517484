// Conversion of the registry's rotation time text to whole minutes.
#include "logging/rotation_time.h"

#include <stdexcept>

namespace velmo {
namespace logging {

std::optional<std::int32_t> rotationMinutesFromText(const std::string& text) {
  double minutes = 0;
  try {
    minutes = std::stod(text);
  } catch (const std::logic_error&) {  // invalid_argument and out_of_range
    return std::nullopt;
  }
  // Also false for NaN, which "nan" gives; a cast of what does not fit would be undefined.
  if (!(minutes > -2147483649.0 && minutes < 2147483648.0)) {
    return std::nullopt;
  }
  return static_cast<std::int32_t>(minutes);
}

}  // namespace logging
}  // namespace velmo
