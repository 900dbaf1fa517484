// The order of steps of the save and restore actions.
#include "app/actions.h"

#include <memory>
#include <string>

#include "blanking/screen_blanker.h"

namespace velmo {

using logging::INFO;
using logging::kInheritCategory;
using logging::logAt;

void runSaveAction(logging::LoggerBase& logger, KestrinePipeClient& pipeClient) {
  logAt(logger, INFO, logger.defaultResultCode, "Got action save");
  std::string document;
  {
    // Making the blanker records the displays; the state is taken out before the blank.
    ScreenBlanker screenBlanker(logger.createCategoryLogger(kInheritCategory), std::string(),
                                nullptr);
    document = screenBlanker.getSavedDisplayStates();
    screenBlanker.blank();
    // Destroying the blanker stops its worker and leaves the displays dark.
  }
  pipeClient.send(document);
  logAt(logger, INFO, logger.defaultResultCode, "Save action complete");
}

void runRestoreAction(logging::LoggerBase& logger, KestrinePipeClient& pipeClient) {
  // Before any blanker exists: from here on no blanker reads the hardware's current ramps.
  ScreenBlanker::setOption(0, true);
  logAt(logger, INFO, logger.defaultResultCode, "Got action restore");
  {
    const std::string document = pipeClient.receive();
    ScreenBlanker screenBlanker(logger.createCategoryLogger(kInheritCategory), document, nullptr);
    screenBlanker.restore();
  }
  logAt(logger, INFO, logger.defaultResultCode, "Restore action complete");
}

}  // namespace velmo
