// StringFormatter: joins texts and integers with one blank; an empty text joins its neighbours
// without one. No placeholders.
#pragma once

#include <cstdint>
#include <mutex>
#include <sstream>
#include <string>
#include <type_traits>

namespace velmo {
namespace logging {

class StringFormatter {
 public:
  template <class... Args>
  std::string format(const Args&... args) const {
    std::string result;
    bool first = true;
    bool joinNext = false;
    (append(result, first, joinNext, toText(args)), ...);
    return result;
  }

 private:
  static std::string toText(const std::string& text) { return text; }
  static std::string toText(const char* text) { return text ? std::string(text) : std::string(); }

  template <class T>
  static std::string toText(const T& value) {
    static_assert(std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char>,
                  "StringFormatter takes texts and integers");
    return std::to_string(value);
  }

  static void append(std::string& result, bool& first, bool& joinNext, const std::string& piece) {
    if (piece.empty()) {
      joinNext = true;
      return;
    }
    if (!first && !joinNext) {
      result += ' ';
    }
    result += piece;
    first = false;
    joinNext = false;
  }

  // Part of the class's layout; the conversions above keep no state and touch neither.
  std::mutex mutex;
  std::ostringstream stream;
};

}  // namespace logging
}  // namespace velmo
