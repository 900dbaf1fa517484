// The loader's Windows side: finds a library's file without running its code, then loads that
// exact file on request and looks up its exports.
#pragma once

#include <string>

#include "common/owned_handles.h"
#include "library/dynamic_library.h"
#include "library/library_result.h"
#include "platform/types.h"

namespace velmo {

class WindowsDynamicLibraryBase : public IDynamicLibrary {
 public:
  // Finds the file that `name` (UTF-8, possibly a bare file name) stands for in the places that
  // `searchScope` permits and keeps its full path; the file is not left mapped. Throws
  // std::runtime_error when the name cannot be converted or the file is not found, and
  // std::logic_error for an empty name.
  WindowsDynamicLibraryBase(const std::string& name, LibrarySearchScope searchScope);

  std::string getLibraryPath() const override;
  // Null until the library is loaded, and for an empty name.
  void* getFunctionAddress(const std::string& name) const override;

  // Loads the file by its full path; a library that is loaded already stays as it is.
  LibraryResult load();

 protected:
  const platform::WideString libraryPath;
  ModuleHandle module;
};

}  // namespace velmo
