// Waiting in tests for something another thread does: polls a condition until it holds or a
// generous limit passes. The limit only bounds a failing test; a passing one returns at once.
#pragma once

#include <chrono>
#include <thread>

namespace testing_support {

template <class Condition>
bool eventually(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace testing_support
