// The directory where the peer keeps its document when --store is not given.
#pragma once

#include <filesystem>

namespace peer {

std::filesystem::path defaultStoreDirectory();

}  // namespace peer
