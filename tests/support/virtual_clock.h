// A clock that tests control: while it exists, platform::QueryPerformanceCounter gives virtual
// nanoseconds and platform::Sleep advances them instead of waiting.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/sim/core/test_api.h"
#include "platform/time.h"

namespace testing_support {

class VirtualClock {
 public:
  // How many times platform::Sleep was called, and for how long in all.
  int sleepCount() const { return sleeps.load(); }
  std::int64_t sleptMilliseconds() const { return slept.load(); }

 private:
  std::atomic<std::int64_t> now{1000000000};
  std::atomic<int> sleeps{0};
  std::atomic<std::int64_t> slept{0};
  // Set after the counters above, removed before them.
  sim::test::ScopedHook counter{&platform::QueryPerformanceCounter, [this](LARGE_INTEGER* count) -> std::optional<BOOL> {
                                  count->QuadPart = now.load();
                                  return TRUE;
                                }};
  sim::test::ScopedHook frequency{&platform::QueryPerformanceFrequency, [](LARGE_INTEGER* frequency) -> std::optional<BOOL> {
                                    frequency->QuadPart = 1000000000LL;
                                    return TRUE;
                                  }};
  sim::test::ScopedHook sleep{&platform::Sleep, [this](DWORD ms) {
                                sleeps.fetch_add(1);
                                slept.fetch_add(ms);
                                now.fetch_add(static_cast<std::int64_t>(ms) * 1000000);
                                return true;
                              }};
};

}  // namespace testing_support
