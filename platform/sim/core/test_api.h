// The sim's test API: per-operation hooks that replace one call (keyed by the operation itself, so
// a hook of the wrong type does not compile), a log of calls with their
// arguments, and the count of open handles. Tests and the sim's own operations use it; the
// program never does.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/types.h"

namespace sim {

// Sets the calling thread's last-error code (what platform::GetLastError gives next).
void setLastError(DWORD code);

namespace test {

struct Call {
  std::string name;       // the operation, e.g. "CreateFileW"
  std::string arguments;  // its arguments, comma separated: strings quoted, numbers decimal
};

// The call log is off by default so that long runs do not grow; a test turns it on.
void recordCalls(bool enabled);
std::vector<Call> calls();
std::vector<Call> callsOf(const std::string& name);
void clearCalls();

std::size_t openHandleCount();

// Every operation's address as one type, to key the hooks.
using OperationKey = void (*)();
template <class R, class... A>
OperationKey keyOf(R (*op)(A...)) {
  return reinterpret_cast<OperationKey>(op);
}

// Removes every hook.
void clearHooks();
void removeHook(OperationKey op);

namespace detail {
void storeHook(OperationKey op, std::shared_ptr<void> hook);
}  // namespace detail

// Replaces the operation `op` by `hook` until removed. The hook is called with the
// operation's arguments; when it gives a value that is the operation's result, when it gives an
// empty optional the simulated operation runs as usual. A hook sets the last error itself
// (sim::setLastError) where the operation it stands in for would.
// For an operation without a result the hook gives a bool: true when it stood in for the call.
template <class R>
using HookResult = std::conditional_t<std::is_void_v<R>, bool, std::optional<R>>;

template <class R, class... A, class F>
void setHook(R (*op)(A...), F&& hook) {
  using Fn = std::function<HookResult<R>(A...)>;
  static_assert(std::is_constructible_v<Fn, F>, "the hook does not take the operation's arguments "
                                                "or does not give its result");
  detail::storeHook(keyOf(op), std::make_shared<Fn>(std::forward<F>(hook)));
}

// A hook for the lifetime of a scope.
class ScopedHook {
 public:
  template <class R, class... A, class F>
  ScopedHook(R (*op)(A...), F&& hook) : key(keyOf(op)) {
    setHook(op, std::forward<F>(hook));
  }
  ~ScopedHook() { removeHook(key); }
  ScopedHook(const ScopedHook&) = delete;
  ScopedHook& operator=(const ScopedHook&) = delete;

 private:
  OperationKey key;
};

}  // namespace test

namespace detail {

extern std::atomic<int> activeHooks;
extern std::atomic<bool> callLogEnabled;

std::shared_ptr<void> findHook(test::OperationKey op);
void recordCall(const char* name, std::string arguments);

std::string describe(const char* text);
std::string describe(const WCHAR* text);
inline std::string describe(char* text) { return describe(static_cast<const char*>(text)); }
inline std::string describe(WCHAR* text) { return describe(static_cast<const WCHAR*>(text)); }
std::string describePointer(const void* pointer);

template <class T>
std::string describe(const T& value) {
  if constexpr (std::is_pointer_v<T>) {
    return describePointer(reinterpret_cast<const void*>(value));
  } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
    std::ostringstream out;
    out << static_cast<long long>(value);
    return out.str();
  } else {
    return "?";
  }
}

template <class... B>
std::string describeArguments(const B&... args) {
  std::string text;
  ((text += (text.empty() ? "" : ", ") + describe(args)), ...);
  return text;
}

template <class R, class... A, class... B>
test::HookResult<R> runHook(R (*op)(A...), B&&... args) {
  if (activeHooks.load(std::memory_order_acquire) == 0) {
    return {};
  }
  const std::shared_ptr<void> stored = findHook(test::keyOf(op));
  if (!stored) {
    return {};
  }
  auto& hook = *static_cast<std::function<test::HookResult<R>(A...)>*>(stored.get());
  return hook(std::forward<B>(args)...);
}

}  // namespace detail
}  // namespace sim

#define SIM_RECORD_CALL(op, ...)                                                        \
  do {                                                                                  \
    if (::sim::detail::callLogEnabled.load(std::memory_order_relaxed)) {                \
      ::sim::detail::recordCall(#op, ::sim::detail::describeArguments(__VA_ARGS__));    \
    }                                                                                   \
  } while (false)

// Opens a simulated operation: logs the call and lets a hook stand in for it.
#define SIM_ENTER(op, ...)                                                              \
  SIM_RECORD_CALL(op, __VA_ARGS__);                                                     \
  if (auto simHooked = ::sim::detail::runHook(&::platform::op, __VA_ARGS__))       \
  return *simHooked

// The same for an operation without a result.
#define SIM_ENTER_VOID(op, ...)                                                         \
  SIM_RECORD_CALL(op, __VA_ARGS__);                                                     \
  if (::sim::detail::runHook(&::platform::op, __VA_ARGS__))                       \
  return
