// UniqueHandle: the one owner of a handle, held with the function that closes it and the values
// that mean "no handle". Move-only; closes what it holds when destroyed or reset.
#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

namespace velmo {

// Handle: the handle's type (a pointer or an integer). Close: the closing function, called with
// the handle; its result is not looked at. Invalid...: the values, as integers, that are no handle
// (the first one is what an empty owner holds). Windows spells some of them as casts of -1 to a
// pointer, which cannot be a template argument; integers can.
template <typename Handle, auto Close, std::intptr_t... Invalid>
class UniqueHandle {
  static_assert(sizeof...(Invalid) > 0, "name at least one value that is no handle");
  static_assert(std::is_pointer_v<Handle> || std::is_integral_v<Handle>,
                "a handle is a pointer or an integer");

 public:
  UniqueHandle() noexcept = default;
  // Takes ownership of `owned`; an invalid value is taken as nothing to close.
  explicit UniqueHandle(Handle owned) noexcept : handle(owned) {}
  ~UniqueHandle() { close(); }

  UniqueHandle(UniqueHandle&& other) noexcept : handle(other.release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    reset(other.release());
    return *this;
  }
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;

  // The handle, still owned here.
  Handle get() const noexcept { return handle; }

  // Gives the handle up without closing it; this owner is empty afterwards.
  Handle release() noexcept { return std::exchange(handle, empty()); }

  // Closes the current handle (when it is one) and owns `owned` instead. Resetting to the
  // handle already held keeps it open.
  void reset(Handle owned = empty()) noexcept {
    if (owned != handle) {
      close();
      handle = owned;
    }
  }

  // True when a handle is held, false for every invalid value.
  explicit operator bool() const noexcept { return isHandle(handle); }

  static bool isHandle(Handle value) noexcept { return ((asInteger(value) != Invalid) && ...); }

 private:
  static std::intptr_t asInteger(Handle value) noexcept {
    if constexpr (std::is_pointer_v<Handle>) {
      return reinterpret_cast<std::intptr_t>(value);
    } else {
      return static_cast<std::intptr_t>(value);
    }
  }

  static Handle empty() noexcept {
    constexpr std::intptr_t values[] = {Invalid...};
    if constexpr (std::is_pointer_v<Handle>) {
      return reinterpret_cast<Handle>(values[0]);
    } else {
      return static_cast<Handle>(values[0]);
    }
  }

  void close() noexcept {
    if (isHandle(handle)) {
      Close(handle);
    }
  }

  Handle handle = empty();
};

}  // namespace velmo
