#include "tests/support/virtual_clock.h"

#include "platform/time.h"

namespace testing_support {

VirtualClock::VirtualClock() {
  sim::test::setHook(&platform::QueryPerformanceCounter, "QueryPerformanceCounter",
                     [this](LARGE_INTEGER* count) -> std::optional<BOOL> {
                       count->QuadPart = now.load();
                       return TRUE;
                     });
  sim::test::setHook(&platform::QueryPerformanceFrequency, "QueryPerformanceFrequency",
                     [](LARGE_INTEGER* frequency) -> std::optional<BOOL> {
                       frequency->QuadPart = 1000000000LL;
                       return TRUE;
                     });
  sim::test::setHook(&platform::Sleep, "Sleep", [this](DWORD ms) {
    sleeps.fetch_add(1);
    slept.fetch_add(ms);
    now.fetch_add(static_cast<std::int64_t>(ms) * 1000000);
    return true;
  });
}

VirtualClock::~VirtualClock() {
  sim::test::removeHook("QueryPerformanceCounter");
  sim::test::removeHook("QueryPerformanceFrequency");
  sim::test::removeHook("Sleep");
}

}  // namespace testing_support
