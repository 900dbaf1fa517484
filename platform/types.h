// Windows types, constants and error codes that the seam's operations use. On Windows they come
// from the SDK; elsewhere they are declared here with the same sizes and values.
#pragma once

#include <cstdint>
#include <string>

#ifdef _WIN32
#include <windows.h>
// wingdi.h defines ERROR as a macro, which would clash with the log level of that name.
#undef ERROR
#else

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using PULONG = ULONG*;
using UINT = unsigned int;
using INT = int;
using CHAR = char;
using WCHAR = char16_t;
using SIZE_T = std::size_t;
using ULONG_PTR = std::uintptr_t;
using LPVOID = void*;
using LPCVOID = const void*;
using PVOID = void*;
using LPDWORD = DWORD*;
using LPBYTE = BYTE*;
using LPSTR = CHAR*;
using LPCSTR = const CHAR*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using LPCCH = const CHAR*;
using LPCWCH = const WCHAR*;
using LPBOOL = BOOL*;
using PBOOL = BOOL*;
using PHANDLE = void**;
using DWORD_PTR = std::uintptr_t;
using PSIZE_T = SIZE_T*;
using HANDLE = void*;
using LRESULT = std::intptr_t;
using LSTATUS = LONG;
using REGSAM = DWORD;

struct HDC__;
using HDC = HDC__*;
struct HMONITOR__;
using HMONITOR = HMONITOR__*;
struct HINSTANCE__;
using HINSTANCE = HINSTANCE__*;
using HMODULE = HINSTANCE;
struct HKEY__;
using HKEY = HKEY__*;
struct HWND__;
using HWND = HWND__*;
using HLOCAL = HANDLE;

constexpr BOOL TRUE = 1;
constexpr BOOL FALSE = 0;
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)))

constexpr DWORD INFINITE = 0xFFFFFFFFu;
constexpr UINT CP_UTF8 = 65001;

struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

struct OVERLAPPED {
  ULONG_PTR Internal;
  ULONG_PTR InternalHigh;
  DWORD Offset;
  DWORD OffsetHigh;
  HANDLE hEvent;
};
using LPOVERLAPPED = OVERLAPPED*;

struct RECT {
  LONG left;
  LONG top;
  LONG right;
  LONG bottom;
};
using LPRECT = RECT*;

// System error codes, as GetLastError and the registry functions give them.
constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_BAD_LENGTH = 24;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_BROKEN_PIPE = 109;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_SEM_TIMEOUT = 121;
constexpr DWORD ERROR_ALREADY_EXISTS = 183;
constexpr DWORD ERROR_BAD_PIPE = 230;
constexpr DWORD ERROR_PIPE_BUSY = 231;
constexpr DWORD ERROR_NO_DATA = 232;
constexpr DWORD ERROR_PIPE_NOT_CONNECTED = 233;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;
constexpr DWORD ERROR_PIPE_CONNECTED = 535;
constexpr DWORD ERROR_PIPE_LISTENING = 536;
constexpr DWORD ERROR_OPERATION_ABORTED = 995;
constexpr DWORD ERROR_NOT_FOUND = 1168;
constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_TIMEOUT = 258;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFFu;

#endif  // _WIN32

namespace platform {

// UTF-16 text in the form the W functions take; never use std::wstring directly, its unit is
// 32 bits outside Windows.
using WideString = std::basic_string<WCHAR>;

}  // namespace platform

// A UTF-16 literal of the platform's wide character type.
#ifdef _WIN32
#define PLATFORM_WIDE(text) L##text
#else
#define PLATFORM_WIDE(text) u##text
#endif
