// Sim only: the owner of a host file descriptor, closed with close(2) when dropped.
#pragma once

#include <unistd.h>

#include "common/unique_handle.h"

namespace sim {

using FileDescriptor = velmo::UniqueHandle<int, &::close, -1>;

}  // namespace sim
