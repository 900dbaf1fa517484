// The failure of a peer command: a message for the user, with the Windows error code if any.
#pragma once

#include <stdexcept>
#include <string>

#include "platform/types.h"

namespace peer {

class PeerError : public std::runtime_error {
 public:
  explicit PeerError(const std::string& message) : std::runtime_error(message) {}
  PeerError(const std::string& message, DWORD error)
      : std::runtime_error(message + " (error " + std::to_string(error) + ")") {}
};

// A command line that the peer cannot act on: reported with the usage, status 1.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace peer
