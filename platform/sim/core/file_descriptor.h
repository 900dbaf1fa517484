// Sim only: the owners of host descriptors, each closed with its own function when dropped.
#pragma once

#include <dirent.h>
#include <unistd.h>

#include "common/unique_handle.h"

namespace sim {

using FileDescriptor = velmo::UniqueHandle<int, &::close, -1>;

using DirectoryStream = velmo::UniqueHandle<DIR*, &::closedir, 0>;

}  // namespace sim
