// The front object of the screen blanker and the process-wide option.
#include "blanking/screen_blanker.h"

#include <stdexcept>
#include <utility>

#include "blanking/windows_screen_blanker.h"

using velmo::logging::DEBUG;
using velmo::logging::kInheritCategory;

namespace {

// Written by the restore action before any blanker (and so any worker thread) exists.
bool restoreOnlyOption = false;

}  // namespace

ScreenBlanker::ScreenBlanker(std::unique_ptr<velmo::logging::LoggerBase> logger,
                             const std::string& inputDocument,
                             std::unique_ptr<IOSScreenBlanker> blanker) {
  if (!logger) {
    throw std::invalid_argument("screen blanker requires a valid logger");
  }
  this->logger = std::move(logger);
  if (blanker) {
    this->blanker = std::move(blanker);
  } else {
    this->blanker = std::make_unique<WindowsScreenBlanker>(
        this->logger->createCategoryLogger(kInheritCategory), inputDocument);
  }
}

ScreenBlanker::~ScreenBlanker() {
  blanker.reset();
  logger.reset();
}

void ScreenBlanker::blank() { request(blanker->getSupportedMethods(), "blank"); }

void ScreenBlanker::restore() { request(IOSScreenBlanker::NoBlanking, "restore"); }

std::string ScreenBlanker::getSavedDisplayStates() const { return blanker->getSavedDisplayStates(); }

void ScreenBlanker::request(IOSScreenBlanker::ScreenBlankingMethod method, const char* word) {
  velmo::logging::logAt(*logger, DEBUG, logger->defaultResultCode,
                        logger->formatter->format("Screen Blanker received request to", word));
  blanker->requestScreenBlanking(method);
}

void ScreenBlanker::setOption(std::int32_t option, bool value) {
  if (option == 0) {
    restoreOnlyOption = value;
  }
}

bool ScreenBlanker::restoreOnly() { return restoreOnlyOption; }
