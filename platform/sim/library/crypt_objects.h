// The objects behind the sim's wintrust and crypt32 handles.
// They live in the handle table as kernel objects, so that a test's count of open handles sees
// every one left open.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/sim/core/handles.h"
#include "platform/sim/library/library_files.h"
#include "platform/trust.h"

namespace sim {

// What a verifying WinVerifyTrust call leaves open until its closing call.
class TrustState : public HandleObject {};

// The certificate store of an embedded signature: one certificate per signer.
class CertificateStore : public HandleObject {
 public:
  explicit CertificateStore(std::vector<SimSigner> signers) : certificates(std::move(signers)) {}
  const std::vector<SimSigner> certificates;
};

// The signed message of an embedded signature.
class CryptMessage : public HandleObject {
 public:
  explicit CryptMessage(std::vector<SimSigner> list) : signers(std::move(list)) {}
  const std::vector<SimSigner> signers;
};

// Closes a handle of the table's kernel kind only when it stands for an object of type T.
template <class T>
bool closeKernelObject(void* handle) {
  return lookupHandleAs<T>(HandleKind::Kernel, handle) &&
         closeHandle(HandleKind::Kernel, handle);
}

}  // namespace sim
