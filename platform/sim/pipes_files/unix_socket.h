// Sim only: the Unix domain stream sockets that carry the sim's named pipes. Plain POSIX calls
// with errno for errors; Windows meanings are given by the callers.
#pragma once

#include <filesystem>
#include <string>

#include "platform/sim/core/file_descriptor.h"

namespace sim {
namespace unixsocket {

// Where a socket meant for `preferred` is bound: `preferred` itself when it fits a socket address,
// else a short path in the temporary directory derived from it.
std::filesystem::path addressFor(const std::filesystem::path& preferred);

// A listening socket bound to `path` (an old file there is replaced). Empty on failure.
FileDescriptor listenAt(const std::filesystem::path& path);
// A socket connected to the listener at `path`. Empty on failure.
FileDescriptor connectTo(const std::filesystem::path& path);
// Takes one queued connection. With `wait` false it gives an empty one at once when none is queued.
FileDescriptor acceptOne(int listenFd, bool wait);
// Whether the other end has closed its socket.
bool peerClosed(int fd);
// The number of bytes this end has written that the other end has not read yet; -1 on failure.
int unreadByPeer(int fd);
// Whether the other end closed with bytes of ours still unread (Linux then resets this end).
// The reset is reported once.
bool resetByPeer(int fd);
// The id of the process that made the connection at the other end; -1 on failure.
long peerProcessId(int fd);

}  // namespace unixsocket
}  // namespace sim
