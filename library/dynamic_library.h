// A library loaded only after its file was found in the permitted places and its signature
// checked, used through an owning pointer to IDynamicLibrary.
#pragma once

#include <cstdint>
#include <memory>
#include <regex>
#include <string>

#include "logging/logger.h"

namespace velmo {

class IDynamicLibrary {
 public:
  // Unloads the library.
  virtual ~IDynamicLibrary() = default;
  // The full path of the library file, in UTF-8.
  virtual std::string getLibraryPath() const = 0;
  // The address of the named export, or null.
  virtual void* getFunctionAddress(const std::string& name) const = 0;
};

// Where a bare name may be found: 0 is the application's directory and System32, any other value
// the application's directory only.
enum class LibrarySearchScope : std::int32_t {
  SearchApplicationAndSystem = 0,
  SearchApplicationOnly = 1,
};

// The check that runs before the load. Any other value runs none.
enum class LibraryValidation : std::uint32_t {
  ValidateSubjectName = 1,  // a trusted signature whose signer's subject matches a pattern
  ValidateSignature = 2,    // a trusted signature
};

// Finds `name` in the application's directory or System32, checks its signature (and, with
// `validateSubject`, its signer's subject against `subjectPattern`, an ECMAScript expression
// searched case-sensitively) and loads it by its full path. Throws std::regex_error for a bad
// pattern before anything is looked up, and the loader's exceptions for every other failure.
std::unique_ptr<IDynamicLibrary> createDynamicLibrary(const std::string& name,
                                                      std::unique_ptr<logging::LoggerBase> logger,
                                                      const std::string& subjectPattern,
                                                      bool validateSubject);
std::unique_ptr<IDynamicLibrary> createDynamicLibrary(const std::string& name,
                                                      std::unique_ptr<logging::LoggerBase> logger,
                                                      const std::regex& subjectPattern,
                                                      bool validateSubject);

}  // namespace velmo
