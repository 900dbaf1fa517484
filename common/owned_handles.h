// The program's owners of Windows handles: each kind of handle with the seam's function that
// closes it. Every handle the core, the peer or the sim's tools keep is held in one of these.
#pragma once

#include "common/unique_handle.h"
#include "platform/displays.h"
#include "platform/loader.h"
#include "platform/local_memory.h"
#include "platform/pipes_files.h"
#include "platform/registry.h"
#include "platform/trust.h"

namespace velmo {

// Kernel objects closed by CloseHandle: files, pipes, events, processes, threads, jobs. CreateFileW
// and CreateNamedPipeW fail with INVALID_HANDLE_VALUE (-1), the others with null.
using KernelHandle = UniqueHandle<HANDLE, &platform::CloseHandle, 0, -1>;

using DeviceContext = UniqueHandle<HDC, &platform::DeleteDC, 0>;

using RegistryKey = UniqueHandle<HKEY, &platform::RegCloseKey, 0>;

using ModuleHandle = UniqueHandle<HMODULE, &platform::FreeLibrary, 0>;

// A LocalAlloc block or a descriptor that Windows allocated for the caller to LocalFree.
using LocalMemory = UniqueHandle<HLOCAL, &platform::LocalFree, 0>;

inline BOOL closeCertificateStore(HCERTSTORE store) { return platform::CertCloseStore(store, 0); }
using CertificateStoreHandle = UniqueHandle<HCERTSTORE, &closeCertificateStore, 0>;

using CryptMessageHandle = UniqueHandle<HCRYPTMSG, &platform::CryptMsgClose, 0>;

using CertificateContextHandle =
    UniqueHandle<PCCERT_CONTEXT, &platform::CertFreeCertificateContext, 0>;

}  // namespace velmo
