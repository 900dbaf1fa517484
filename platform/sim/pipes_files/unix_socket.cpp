// Sim only: Unix domain stream sockets for the sim's named pipes.
#include "platform/sim/pipes_files/unix_socket.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

namespace sim {
namespace unixsocket {
namespace {

// Enough for one queued client: the pipe table lets at most one client claim an instance.
constexpr int kBacklog = 4;

bool fill(sockaddr_un& address, const std::filesystem::path& path) {
  const std::string text = path.string();
  if (text.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  std::memset(&address, 0, sizeof address);
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, text.c_str(), text.size() + 1);
  return true;
}

// A new stream socket and the address of `path` for it; empty when either cannot be had.
FileDescriptor socketFor(const std::filesystem::path& path, sockaddr_un& address) {
  return FileDescriptor(fill(address, path) ? ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)
                                            : -1);
}

std::uint64_t fnv1a(const std::string& text) {
  std::uint64_t hash = 1469598103934665603ull;
  for (const unsigned char c : text) {
    hash = (hash ^ c) * 1099511628211ull;
  }
  return hash;
}

}  // namespace

std::filesystem::path addressFor(const std::filesystem::path& preferred) {
  if (preferred.string().size() < sizeof(sockaddr_un{}.sun_path)) {
    return preferred;
  }
  char name[64];
  std::snprintf(name, sizeof name, "kestrine-sim-%016llx.sock",
                static_cast<unsigned long long>(fnv1a(preferred.string())));
  return std::filesystem::path("/tmp") / name;
}

FileDescriptor listenAt(const std::filesystem::path& path) {
  sockaddr_un address;
  FileDescriptor fd = socketFor(path, address);
  if (!fd) {
    return fd;
  }
  ::unlink(address.sun_path);
  if (::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(fd.get(), kBacklog) != 0) {
    return {};
  }
  return fd;
}

FileDescriptor connectTo(const std::filesystem::path& path) {
  sockaddr_un address;
  FileDescriptor fd = socketFor(path, address);
  if (!fd) {
    return fd;
  }
  int result;
  do {
    result = ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? std::move(fd) : FileDescriptor();
}

FileDescriptor acceptOne(int listenFd, bool wait) {
  if (!wait) {
    pollfd ready{listenFd, POLLIN, 0};
    if (::poll(&ready, 1, 0) != 1) {
      errno = EAGAIN;
      return {};
    }
  }
  int fd;
  do {
    fd = ::accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  return FileDescriptor(fd);
}

bool peerClosed(int fd) {
  pollfd state{fd, POLLRDHUP, 0};
  return ::poll(&state, 1, 0) == 1 && (state.revents & (POLLHUP | POLLRDHUP)) != 0;
}

int unreadByPeer(int fd) {
  int queued = 0;
  return ::ioctl(fd, SIOCOUTQ, &queued) == 0 ? queued : -1;
}

bool resetByPeer(int fd) {
  int error = 0;
  socklen_t size = sizeof error;
  return ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == ECONNRESET;
}

long peerProcessId(int fd) {
  ucred credentials{};
  socklen_t size = sizeof credentials;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
    return -1;
  }
  return credentials.pid;
}

}  // namespace unixsocket
}  // namespace sim
