// Only the registry operations of advapi32 live here: keys, typed values, change notification.
// The create, set and delete operations serve the checks that need a key of their own; the
// program only reads and watches.
#pragma once

#include <cstdint>

#include "platform/types.h"

#ifndef _WIN32
using PHKEY = HKEY*;

// The predefined keys, with the values (sign-extended) that Windows gives them.
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(INT32_MIN + 1)))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(INT32_MIN + 2)))

constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
constexpr REGSAM KEY_SET_VALUE = 0x0002;
constexpr REGSAM KEY_NOTIFY = 0x0010;
constexpr REGSAM KEY_READ = 0x20019;
constexpr REGSAM KEY_WRITE = 0x20006;
constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;

constexpr DWORD REG_NONE = 0;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;

constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
constexpr DWORD REG_CREATED_NEW_KEY = 1;
constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

constexpr DWORD REG_NOTIFY_CHANGE_NAME = 1;
constexpr DWORD REG_NOTIFY_CHANGE_ATTRIBUTES = 2;
constexpr DWORD REG_NOTIFY_CHANGE_LAST_SET = 4;
constexpr DWORD REG_NOTIFY_CHANGE_SECURITY = 8;

constexpr DWORD ERROR_KEY_DELETED = 1018;
#endif

namespace platform {

LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
                      PHKEY phkResult);
LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass,
                        DWORD dwOptions, REGSAM samDesired,
                        LPSECURITY_ATTRIBUTES lpSecurityAttributes, PHKEY phkResult,
                        LPDWORD lpdwDisposition);
LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                         LPBYTE lpData, LPDWORD lpcbData);
LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType,
                       const BYTE* lpData, DWORD cbData);
LSTATUS RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName);
LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey);
LSTATUS RegNotifyChangeKeyValue(HKEY hKey, BOOL bWatchSubtree, DWORD dwNotifyFilter, HANDLE hEvent,
                                BOOL fAsynchronous);
LSTATUS RegCloseKey(HKEY hKey);

}  // namespace platform
