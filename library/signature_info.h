// What is read from a library's embedded signature. Only subjectName decides anything.
#pragma once

#include <string>

namespace velmo {

struct SignatureInfo {
  std::string programName;    // of the signer's opus attribute
  std::string publisherLink;  // of the opus attribute, URL or file links only
  std::string moreInfoLink;   // likewise
  std::string serialNumber;   // the signer certificate's serial number as text
  std::string issuerName;     // the issuer's simple display name
  std::string subjectName;    // the subject's simple display name
};

}  // namespace velmo
