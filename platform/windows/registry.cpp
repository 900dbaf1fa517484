// Forwards the registry functions to Win32 (advapi32). No logic may live here.
#include "platform/registry.h"

namespace platform {

LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
                      PHKEY phkResult) {
  return ::RegOpenKeyExW(hKey, lpSubKey, ulOptions, samDesired, phkResult);
}

LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass,
                        DWORD dwOptions, REGSAM samDesired,
                        LPSECURITY_ATTRIBUTES lpSecurityAttributes, PHKEY phkResult,
                        LPDWORD lpdwDisposition) {
  return ::RegCreateKeyExW(hKey, lpSubKey, Reserved, lpClass, dwOptions, samDesired,
                           lpSecurityAttributes, phkResult, lpdwDisposition);
}

LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                         LPBYTE lpData, LPDWORD lpcbData) {
  return ::RegQueryValueExW(hKey, lpValueName, lpReserved, lpType, lpData, lpcbData);
}

LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType,
                       const BYTE* lpData, DWORD cbData) {
  return ::RegSetValueExW(hKey, lpValueName, Reserved, dwType, lpData, cbData);
}

LSTATUS RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName) {
  return ::RegDeleteValueW(hKey, lpValueName);
}

LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey) { return ::RegDeleteKeyW(hKey, lpSubKey); }

LSTATUS RegNotifyChangeKeyValue(HKEY hKey, BOOL bWatchSubtree, DWORD dwNotifyFilter, HANDLE hEvent,
                                BOOL fAsynchronous) {
  return ::RegNotifyChangeKeyValue(hKey, bWatchSubtree, dwNotifyFilter, hEvent, fAsynchronous);
}

LSTATUS RegCloseKey(HKEY hKey) { return ::RegCloseKey(hKey); }

}  // namespace platform
