// Library loading of kernel32: LoadLibraryExW, GetModuleFileNameW, GetProcAddress, FreeLibrary.
#pragma once

#include "platform/types.h"

#ifndef _WIN32
#include <cstdint>

// An export's address as GetProcAddress gives it; the caller casts it to the export's type.
using FARPROC = std::intptr_t (*)();

constexpr DWORD MAX_PATH = 260;

// LoadLibraryExW flags.
constexpr DWORD DONT_RESOLVE_DLL_REFERENCES = 0x1;
constexpr DWORD LOAD_LIBRARY_SEARCH_APPLICATION_DIR = 0x200;
constexpr DWORD LOAD_LIBRARY_SEARCH_SYSTEM32 = 0x800;

constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
#endif

namespace platform {

HMODULE LoadLibraryExW(LPCWSTR lpLibFileName, HANDLE hFile, DWORD dwFlags);
DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize);
BOOL FreeLibrary(HMODULE hLibModule);
FARPROC GetProcAddress(HMODULE hModule, LPCSTR lpProcName);

}  // namespace platform
