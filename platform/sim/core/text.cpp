// UTF-8 <-> UTF-16 conversion of the sim, as Windows does it for code page 65001 with flags 0:
// an invalid UTF-8 sequence and a lone surrogate each become U+FFFD, never a failure.
#include <vector>

#include "platform/sim/core/utf.h"
#include "platform/errors.h"
#include "platform/sim/core/test_api.h"
#include "platform/text.h"

namespace {

std::size_t wideLength(const WCHAR* text) {
  std::size_t n = 0;
  while (text[n]) {
    ++n;
  }
  return n;
}

// Copies a converted result out as Windows does: a size query when the room is 0, the count on
// success, 0 with ERROR_INSUFFICIENT_BUFFER when it does not fit.
template <class T>
int deliver(const T* data, std::size_t size, T* destination, int room) {
  if (room == 0) {
    return static_cast<int>(size);
  }
  if (size > static_cast<std::size_t>(room)) {
    platform::SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  for (std::size_t i = 0; i < size; ++i) {
    destination[i] = data[i];
  }
  return static_cast<int>(size);
}

}  // namespace

namespace platform {

int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCCH lpMultiByteStr, int cbMultiByte,
                        LPWSTR lpWideCharStr, int cchWideChar) {
  SIM_ENTER(MultiByteToWideChar, CodePage, dwFlags, lpMultiByteStr, cbMultiByte, lpWideCharStr,
            cchWideChar);
  if (CodePage != CP_UTF8 || dwFlags != 0 || !lpMultiByteStr || cbMultiByte == 0 ||
      cbMultiByte < -1 || cchWideChar < 0 || (cchWideChar > 0 && !lpWideCharStr)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const auto* bytes = reinterpret_cast<const unsigned char*>(lpMultiByteStr);
  std::size_t size = 0;
  if (cbMultiByte == -1) {
    while (bytes[size]) {
      ++size;
    }
    ++size;  // the terminator is converted too
  } else {
    size = static_cast<std::size_t>(cbMultiByte);
  }
  const std::vector<WCHAR> wide = sim::utf8ToUtf16(bytes, size);
  return deliver(wide.data(), wide.size(), lpWideCharStr, cchWideChar);
}

int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWCH lpWideCharStr, int cchWideChar,
                        LPSTR lpMultiByteStr, int cbMultiByte, LPCCH lpDefaultChar,
                        LPBOOL lpUsedDefaultChar) {
  SIM_ENTER(WideCharToMultiByte, CodePage, dwFlags, lpWideCharStr, cchWideChar, lpMultiByteStr,
            cbMultiByte, lpDefaultChar, lpUsedDefaultChar);
  if (CodePage != CP_UTF8 || dwFlags != 0 || !lpWideCharStr || cchWideChar == 0 ||
      cchWideChar < -1 || cbMultiByte < 0 || (cbMultiByte > 0 && !lpMultiByteStr) ||
      lpDefaultChar || lpUsedDefaultChar) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const std::size_t size =
      cchWideChar == -1 ? wideLength(lpWideCharStr) + 1 : static_cast<std::size_t>(cchWideChar);
  const std::string bytes = sim::utf16ToUtf8(lpWideCharStr, size);
  return deliver(bytes.data(), bytes.size(), lpMultiByteStr, cbMultiByte);
}

}  // namespace platform
