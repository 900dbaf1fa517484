// Shared ground of the library tests: a fresh simulated machine with its default dxva2.dll, a
// recording logger whose sub-loggers the loader gets, and short ways to change a library's
// record and count calls.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "platform/sim/library/library_files.h"
#include "platform/sim/core/test_api.h"
#include "tests/unit/library/message_of.h"
#include "tests/support/sim_test.h"

namespace library_test {

// The full path of a System32 library, as the loader reports it.
inline std::string system32Path(const std::string& name) {
  return (sim::system32Dir() / name).string();
}

inline void changeDxva2(const std::function<void(sim::SimLibrary&)>& change) {
  ASSERT_TRUE(sim::updateSystem32Library("dxva2.dll", change));
}

using LibraryTest = testing_support::LoggedSimTest;

}  // namespace library_test
