#include "library/windows_dynamic_library.h"

#include <stdexcept>
#include <utility>

#include "common/text_conversion.h"

namespace velmo {

WindowsDynamicLibrary::WindowsDynamicLibrary(const std::string& name,
                                             std::unique_ptr<logging::LoggerBase> logger,
                                             const std::regex& subjectPattern,
                                             LibrarySearchScope searchScope,
                                             LibraryValidation validation)
    : WindowsDynamicLibraryBase(name, searchScope), logger(std::move(logger)) {
  if (!this->logger) {
    throw std::invalid_argument("WindowsDynamicLibrary object requires a valid logger");
  }
  if (validation == LibraryValidation::ValidateSubjectName) {
    const LibraryResult validated = validateSubjectName(subjectPattern);
    if (!validated.ok) {
      logFailure(*this->logger, validated);
      throw std::runtime_error("Signature validation against subject name failed");
    }
  } else if (validation == LibraryValidation::ValidateSignature) {
    const LibraryResult verified = verifySignature();
    if (!verified.ok) {
      logFailure(*this->logger, verified);
      throw std::runtime_error("Signature validation failed");
    }
  }
  if (!loadAndLog()) {
    throw std::runtime_error("Failed to load the library");
  }
}

// The logger goes first, then the base unloads the library.
WindowsDynamicLibrary::~WindowsDynamicLibrary() = default;

bool WindowsDynamicLibrary::loadAndLog() {
  const LibraryResult loaded = load();
  if (!loaded.ok) {
    logFailure(*logger, loaded);
    return false;
  }
  logging::logAt(*logger, logging::DEBUG, logger->defaultResultCode,
                 logger->formatter->format("Successfully loaded", getLibraryPath()));
  return true;
}

LibraryResult WindowsDynamicLibrary::validateSubjectName(const std::regex& subjectPattern) {
  SignatureInfo info;
  const LibraryResult read = readEmbeddedSignature(info);
  if (!read.ok) {
    return {false, 0,
            read.message + " Reading embedded signature of " + wideToLogText(libraryPath) +
                " failed"};
  }
  if (std::regex_search(info.subjectName, subjectPattern)) {
    return {true, 0, ""};
  }
  return {false, 0,
          "Failed to match subject name " + info.subjectName +
              " Against provided regex for library " + wideToLogText(libraryPath)};
}

}  // namespace velmo
