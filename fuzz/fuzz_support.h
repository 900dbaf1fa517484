// What the fuzz targets share: a private simulated machine and a check that stops the run.
#pragma once

#include <filesystem>

namespace fuzzing {

// Points the sim at a fresh temporary root of this process, removed again at exit, so that runs
// side by side never share a machine. Returns the root.
std::filesystem::path useTemporarySimRoot();

// Reports a broken expectation and aborts, which libFuzzer records as a crash with its input.
[[noreturn]] void fail(const char* file, int line, const char* condition);

}  // namespace fuzzing

#define FUZZ_CHECK(condition) \
  ((condition) ? static_cast<void>(0) : ::fuzzing::fail(__FILE__, __LINE__, #condition))
