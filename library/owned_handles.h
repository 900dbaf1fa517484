// Owners of the loader's and crypt32's handles, each held with the function that releases it.
#pragma once

#include <memory>
#include <type_traits>

#include "platform/loader.h"
#include "platform/local_memory.h"
#include "platform/trust.h"

namespace velmo {

using ModuleHandle = std::unique_ptr<std::remove_pointer_t<HMODULE>, BOOL (*)(HMODULE)>;

inline ModuleHandle ownModule(HMODULE module) { return ModuleHandle(module, &platform::FreeLibrary); }

struct CertificateStoreCloser {
  void operator()(HCERTSTORE store) const { platform::CertCloseStore(store, 0); }
};
using CertificateStoreHandle = std::unique_ptr<void, CertificateStoreCloser>;

using CryptMessageHandle = std::unique_ptr<void, BOOL (*)(HCRYPTMSG)>;

using CertificateContextHandle = std::unique_ptr<const CERT_CONTEXT, BOOL (*)(PCCERT_CONTEXT)>;

// Fixed local memory (LPTR): the handle is the block's address.
using LocalMemory = std::unique_ptr<void, HLOCAL (*)(HLOCAL)>;

inline LocalMemory allocateLocal(SIZE_T size) {
  return LocalMemory(platform::LocalAlloc(LPTR, size), &platform::LocalFree);
}

}  // namespace velmo
