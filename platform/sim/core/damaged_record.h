// Only what the sim does with a stored record it cannot read lives here. A damaged record (of a
// display, or of the DDC/CI side of one) makes only the calls on that object fail, with a
// Windows error code; the other objects work on, kestrine-sim show names the record and
// kestrine-sim reset writes it afresh.
#pragma once

#include <stdexcept>
#include <string>

#include "platform/sim/core/test_api.h"
#include "platform/types.h"

namespace sim {

class DamagedRecord : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// ERROR_FILE_CORRUPT: the last error of a call on an object whose record is damaged.
constexpr DWORD kDamagedRecordError = 1392;

// A damaged record as kestrine-sim show lists it: the object's name and what is wrong.
struct DamagedEntry {
  std::string name;
  std::string problem;
};

// Runs one call on a simulated object; a damaged record makes it give `failed`, with
// kDamagedRecordError as the last error.
template <class R, class Call>
R failOnDamage(R failed, Call&& call) {
  try {
    return call();
  } catch (const DamagedRecord&) {
    setLastError(kDamagedRecordError);
    return failed;
  }
}

}  // namespace sim
