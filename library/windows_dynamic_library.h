// The signature-validating loader: a WindowsDynamicLibrary that exists has passed its check and
// is loaded.
#pragma once

#include <memory>
#include <regex>
#include <string>

#include "library/library_result.h"
#include "library/signature_info.h"
#include "library/windows_dynamic_library_base.h"
#include "logging/logger.h"
#include "platform/trust.h"

namespace velmo {

class WindowsDynamicLibrary : public WindowsDynamicLibraryBase {
 public:
  // Finds the file, runs the check that `validation` names and loads the file by its full path.
  // Throws as the base does for the name, std::invalid_argument for a null logger, and
  // std::runtime_error (after logging the reason) when the check or the load fails.
  WindowsDynamicLibrary(const std::string& name, std::unique_ptr<logging::LoggerBase> logger,
                        const std::regex& subjectPattern, LibrarySearchScope searchScope,
                        LibraryValidation validation);
  ~WindowsDynamicLibrary() override;

 private:
  bool loadAndLog();
  // Whether Windows trusts the file's Authenticode signature.
  LibraryResult verifySignature();
  // A trusted signature whose first signer's subject holds a match of `subjectPattern`.
  LibraryResult validateSubjectName(const std::regex& subjectPattern);
  LibraryResult readEmbeddedSignature(SignatureInfo& info);
  LibraryResult readPublisherInfo(const CMSG_SIGNER_INFO& signerInfo, SignatureInfo& info);
  LibraryResult readCertificateInfo(PCCERT_CONTEXT certificate, SignatureInfo& info);

  std::unique_ptr<logging::LoggerBase> logger;
};

}  // namespace velmo
