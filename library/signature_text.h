// Text forms of what a signature holds: the certificate's serial number and the opus links.
#pragma once

#include <string>

#include "platform/trust.h"

namespace velmo {

// The serial number's bytes from the last to the first, each as two upper-case hexadecimal
// digits and one blank: the blob 01 02 0A gives "0A 02 01 ".
std::string serialNumberText(const CRYPT_INTEGER_BLOB& serialNumber);

// A link of the opus attribute in UTF-8: the URL or the file name; empty for a moniker, any
// other choice, or no link.
std::string linkText(const SPC_LINK* link);

}  // namespace velmo
