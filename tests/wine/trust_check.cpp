// Asks Windows, as the tool's loader does, whether it trusts the Authenticode signature of each
// file named on the command line. One line a file: "trusted" or "refused", the path, and the
// loader's message if it has one. Exits 0 when every file is trusted, else 1.
#include <cstdio>

#include "common/text_conversion.h"
#include "library/signature_verification.h"

int main(int argc, char** argv) {
  int refused = 0;
  for (int i = 1; i < argc; ++i) {
    const velmo::LibraryResult result = velmo::verifyFileSignature(velmo::utf8ToWide(argv[i]));
    std::printf("%s %s%s%s\n", result.ok ? "trusted" : "refused", argv[i],
                result.message.empty() ? "" : ": ", result.message.c_str());
    refused += result.ok ? 0 : 1;
  }
  return refused == 0 ? 0 : 1;
}
