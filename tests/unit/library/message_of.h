// The text of the exception that an action throws, for tests that check a refusal's words.
#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <string>

namespace library_test {

// The text of the exception of type E that `action` throws; any other outcome fails the test.
template <class E, class F>
std::string messageOf(F&& action) {
  try {
    action();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const E& e) {
    return e.what();
  } catch (const std::exception& e) {
    ADD_FAILURE() << "another exception: " << e.what();
  }
  return {};
}

}  // namespace library_test
