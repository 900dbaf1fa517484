// The power state choice on what a monitor sends: two D6 readings (the first eight bytes) and a
// capabilities string (the rest).
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "blanking/power/power_capabilities.h"
#include "fuzz/fuzz_support.h"
#include "tests/support/recording_logger.h"

namespace {

using velmo::power::kMaxCapabilitiesLength;

bool isState(std::uint32_t value) { return value >= 1 && value <= 4; }

void checkReadings(std::uint32_t current, std::uint32_t maximum) {
  const velmo::power::PowerStates states = velmo::power::normalisePowerStates(current, maximum);
  FUZZ_CHECK(isState(states.initialBlankingState) && isState(states.blankingState));
  FUZZ_CHECK(states.initialBlankingState <= states.blankingState);
  if (isState(current) && isState(maximum)) {
    FUZZ_CHECK(states.initialBlankingState == std::min(current, maximum));
    FUZZ_CHECK(states.blankingState == std::max(current, maximum));
  }
}

void checkCapabilities(const std::string& text) {
  testing_support::RecordingLogger log;
  const std::uint32_t chosen = velmo::power::chooseBlankingState(text, 1000, log);
  testing_support::RecordingLogger quiet(velmo::logging::CRITICAL);
  const std::uint32_t again = velmo::power::chooseBlankingState(text, 2000, quiet);
  const std::vector<std::string> lines = log.messages();
  if (chosen == 1000) {
    // Only the fallback may depend on the fallback.
    FUZZ_CHECK(again == 2000);
  } else {
    FUZZ_CHECK(isState(chosen) && again == chosen);
    FUZZ_CHECK(!lines.empty() && lines.back() == "  Using power saving state: " + std::to_string(chosen));
  }
  if (text.size() > kMaxCapabilitiesLength) {
    FUZZ_CHECK(chosen == 1000 && lines.size() == 1);
    return;
  }
  // A list that was found stands in the text, between its parentheses.
  const std::string found = "  Found power saving caps ";
  if (!lines.empty() && lines.front().compare(0, found.size(), found) == 0) {
    FUZZ_CHECK(text.find("(" + lines.front().substr(found.size()) + ")") != std::string::npos);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 8) return 0;
  std::uint32_t readings[2];
  std::memcpy(readings, data, sizeof readings);
  checkReadings(readings[0], readings[1]);
  checkCapabilities(std::string(reinterpret_cast<const char*>(data) + 8, size - 8));
  return 0;
}
