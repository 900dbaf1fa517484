// Forwards the library loading functions to Win32. No logic may live here.
#include "platform/loader.h"

namespace platform {

HMODULE LoadLibraryExW(LPCWSTR lpLibFileName, HANDLE hFile, DWORD dwFlags) {
  return ::LoadLibraryExW(lpLibFileName, hFile, dwFlags);
}

DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize) {
  return ::GetModuleFileNameW(hModule, lpFilename, nSize);
}

BOOL FreeLibrary(HMODULE hLibModule) { return ::FreeLibrary(hLibModule); }

FARPROC GetProcAddress(HMODULE hModule, LPCSTR lpProcName) {
  return ::GetProcAddress(hModule, lpProcName);
}

}  // namespace platform
