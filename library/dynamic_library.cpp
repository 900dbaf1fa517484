#include "library/dynamic_library.h"

#include <utility>

#include "library/windows_dynamic_library.h"

namespace velmo {

std::unique_ptr<IDynamicLibrary> createDynamicLibrary(const std::string& name,
                                                      std::unique_ptr<logging::LoggerBase> logger,
                                                      const std::string& subjectPattern,
                                                      bool validateSubject) {
  const std::regex pattern(subjectPattern, std::regex::ECMAScript);
  return createDynamicLibrary(name, std::move(logger), pattern, validateSubject);
}

std::unique_ptr<IDynamicLibrary> createDynamicLibrary(const std::string& name,
                                                      std::unique_ptr<logging::LoggerBase> logger,
                                                      const std::regex& subjectPattern,
                                                      bool validateSubject) {
  const LibraryValidation validation = validateSubject ? LibraryValidation::ValidateSubjectName
                                                       : LibraryValidation::ValidateSignature;
  return std::make_unique<WindowsDynamicLibrary>(name, std::move(logger), subjectPattern,
                                                 LibrarySearchScope::SearchApplicationAndSystem,
                                                 validation);
}

}  // namespace velmo
