// The display state document as a peer hands it to a restore: the whole read on the simulated
// machine (parse, gamma part, monitor part), then a write-read-write round trip that must give
// the same document twice. Written documents are pure ASCII and no read leaves a handle open.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "blanking/screen_blanker.h"
#include "blanking/windows_screen_blanker.h"
#include "fuzz/fuzz_support.h"
#include "platform/sim/core/test_api.h"
#include "tests/support/recording_logger.h"

// The blanker's private door for tests: the variant that also reads and writes the monitors.
class WindowsScreenBlankerTestAccess {
 public:
  // The document as a blanker made from `document` writes it again; none when the blanker could
  // not be made. A blanker offering monitor power writes the monitors too, but it would wait 4
  // seconds for them when the document gave none: then the gamma-only blanker writes it.
  static std::optional<std::string> rewrite(const std::string& document) {
    try {
      const WindowsScreenBlanker withMonitors(makeLogger(), document, true);
      if (monitorsRead(withMonitors)) return withMonitors.getSavedDisplayStates();
      return WindowsScreenBlanker(makeLogger(), document).getSavedDisplayStates();
    } catch (const std::exception&) {
      return std::nullopt;  // what main reports as a failed run
    }
  }

 private:
  static bool monitorsRead(const WindowsScreenBlanker& blanker) {
    std::lock_guard<std::mutex> lock(blanker.displayStateMutex);
    return blanker.dpmsStatesSaved;
  }
  static std::unique_ptr<velmo::logging::LoggerBase> makeLogger() {
    return std::make_unique<testing_support::RecordingLogger>(velmo::logging::DEBUG);
  }
};

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzzing::useTemporarySimRoot();
  ScreenBlanker::setOption(0, true);  // the restore road: the displays' ramps are not read
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string document(reinterpret_cast<const char*>(data), size);
  const std::optional<std::string> first = WindowsScreenBlankerTestAccess::rewrite(document);
  FUZZ_CHECK(sim::test::openHandleCount() == 0);
  if (!first) return 0;
  FUZZ_CHECK(std::all_of(first->begin(), first->end(),
                         [](char c) { return static_cast<unsigned char>(c) < 0x80; }));
  const std::optional<std::string> second = WindowsScreenBlankerTestAccess::rewrite(*first);
  FUZZ_CHECK(second == first);
  FUZZ_CHECK(sim::test::openHandleCount() == 0);
  return 0;
}
