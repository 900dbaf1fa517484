// The rotation time conversion on any registry text, against strtod where both give a number.
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/fuzz_support.h"
#include "logging/rotation_time.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::optional<std::int32_t> minutes = velmo::logging::rotationMinutesFromText(text);

  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(text.c_str(), &end);
  const bool defined = end != text.c_str() && errno != ERANGE;
  const bool fits = value > -2147483649.0 && value < 2147483648.0;
  FUZZ_CHECK(minutes.has_value() == (defined && fits));
  FUZZ_CHECK(!minutes || *minutes == static_cast<std::int32_t>(std::trunc(value)));
  return 0;
}
