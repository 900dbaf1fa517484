// Windows builds only: the peer's store is %LOCALAPPDATA%\Kestrine\peer, or the working
// directory's Kestrine\peer when that variable is missing.
#define _CRT_SECURE_NO_WARNINGS  // std::getenv is only read here, on the main thread
#include <cstdlib>

#include "tools/peer/default_store.h"

namespace peer {

std::filesystem::path defaultStoreDirectory() {
  const char* localAppData = std::getenv("LOCALAPPDATA");
  const std::filesystem::path base =
      localAppData && *localAppData ? std::filesystem::u8path(localAppData) : std::filesystem::path(".");
  return base / "Kestrine" / "peer";
}

}  // namespace peer
