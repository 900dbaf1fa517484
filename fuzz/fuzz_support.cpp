#include "fuzz/fuzz_support.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>

namespace fuzzing {
namespace {

// A directory removed again when the process ends.
struct TemporaryDirectory {
  std::filesystem::path path;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
};

}  // namespace

std::filesystem::path useTemporarySimRoot() {
  static TemporaryDirectory root;
  std::string pattern = (std::filesystem::temp_directory_path() / "kestrine-fuzz-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) fail(__FILE__, __LINE__, "mkdtemp");
  root.path = pattern;
  ::setenv("KESTRINE_SIM_ROOT", pattern.c_str(), 1);
  return root.path;
}

void fail(const char* file, int line, const char* condition) {
  std::fprintf(stderr, "%s:%d: check failed: %s\n", file, line, condition);
  std::abort();
}

}  // namespace fuzzing
