#include "fuzz/fuzz_support.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>

namespace fuzzing {
namespace {

std::filesystem::path& simRoot() {
  static std::filesystem::path root;
  return root;
}

void removeSimRoot() {
  std::error_code ignored;
  std::filesystem::remove_all(simRoot(), ignored);
}

}  // namespace

std::filesystem::path useTemporarySimRoot() {
  std::string pattern = (std::filesystem::temp_directory_path() / "kestrine-fuzz-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    fail(__FILE__, __LINE__, "mkdtemp");
  }
  simRoot() = pattern;
  ::setenv("KESTRINE_SIM_ROOT", pattern.c_str(), 1);
  std::atexit(removeSimRoot);
  return simRoot();
}

void fail(const char* file, int line, const char* condition) {
  std::fprintf(stderr, "%s:%d: check failed: %s\n", file, line, condition);
  std::abort();
}

}  // namespace fuzzing
