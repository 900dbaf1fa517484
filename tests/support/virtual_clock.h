// A clock that tests control: while it exists, platform::QueryPerformanceCounter gives virtual
// nanoseconds and platform::Sleep advances them instead of waiting.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/sim/core/test_api.h"

namespace testing_support {

class VirtualClock {
 public:
  VirtualClock();
  ~VirtualClock();
  VirtualClock(const VirtualClock&) = delete;
  VirtualClock& operator=(const VirtualClock&) = delete;

  std::int64_t nowNanoseconds() const { return now.load(); }
  void advanceMilliseconds(std::int64_t ms) { now.fetch_add(ms * 1000000); }
  // How many times platform::Sleep was called, and for how long in all.
  int sleepCount() const { return sleeps.load(); }
  std::int64_t sleptMilliseconds() const { return slept.load(); }

 private:
  std::atomic<std::int64_t> now{1000000000};
  std::atomic<int> sleeps{0};
  std::atomic<std::int64_t> slept{0};
};

}  // namespace testing_support
