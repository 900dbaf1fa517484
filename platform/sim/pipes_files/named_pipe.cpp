// Sim only: named pipe ends as kernel objects. Each instance is a listening Unix domain socket
// registered in the pipe table; a client claims a listening instance under the table's lock and
// connects to its socket, so two clients never share an instance.
#include "platform/sim/pipes_files/named_pipe.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "platform/sim/core/io_cancel.h"
#include "platform/sim/pipes_files/byte_stream.h"
#include "platform/sim/pipes_files/pipe_table.h"
#include "platform/sim/pipes_files/unix_socket.h"
#include "platform/sim/security/access_check.h"

namespace sim {
namespace {

// WaitNamedPipeW's wait when neither the caller nor the server gives one, as on Windows.
constexpr DWORD kFallbackDefaultTimeout = 50;
constexpr auto kWaitPollInterval = std::chrono::milliseconds(2);
constexpr std::chrono::microseconds kFlushPollLongest{1000};

BOOL fail(DWORD error) {
  platform::SetLastError(error);
  return FALSE;
}

// The I/O of a connected pipe end; a byte stream over a socket.
class PipeEnd : public ByteStream {
 public:
  PipeEnd(bool mayRead, bool mayWrite) : mayRead(mayRead), mayWrite(mayWrite) {}

  BOOL read(void* buffer, DWORD size, DWORD* done) override {
    if (!mayRead) {
      return fail(ERROR_ACCESS_DENIED);
    }
    const int fd = connection();
    if (fd < 0) {
      return FALSE;
    }
    if (size == 0) {
      return TRUE;
    }
    CancellableCall call;
    if (call.wait(fd, POLLIN) == WaitResult::Cancelled) {
      return fail(ERROR_OPERATION_ABORTED);
    }
    ssize_t received;
    do {
      received = ::recv(fd, buffer, size, 0);
    } while (received < 0 && errno == EINTR);
    if (received > 0) {
      *done = static_cast<DWORD>(received);
      return TRUE;
    }
    // End of stream, or the other end went away with data of ours unread: both are a broken pipe.
    return fail(received == 0 || errno == ECONNRESET ? ERROR_BROKEN_PIPE : ERROR_GEN_FAILURE);
  }

  BOOL write(const void* buffer, DWORD size, DWORD* done) override {
    if (!mayWrite) {
      return fail(ERROR_ACCESS_DENIED);
    }
    const int fd = connection();
    if (fd < 0) {
      return FALSE;
    }
    const char* bytes = static_cast<const char*>(buffer);
    DWORD written = 0;
    CancellableCall call;
    while (written < size) {
      // MSG_NOSIGNAL: a closed reader is an error code, never SIGPIPE. A full socket is waited
      // on in a way CancelSynchronousIo can end.
      const ssize_t sent = ::send(fd, bytes + written, size - written, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (sent < 0) {
        if (errno == EINTR) {
          continue;
        }
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
          if (call.wait(fd, POLLOUT) == WaitResult::Cancelled) {
            *done = written;
            return fail(ERROR_OPERATION_ABORTED);
          }
          continue;
        }
        *done = written;
        return fail(errno == EPIPE || errno == ECONNRESET ? ERROR_NO_DATA : ERROR_GEN_FAILURE);
      }
      written += static_cast<DWORD>(sent);
    }
    *done = written;
    return TRUE;
  }

  // What is there to read without blocking: the count of bytes (and a copy of the first ones),
  // ERROR_BROKEN_PIPE once the other end has closed and nothing is left.
  BOOL peek(void* buffer, DWORD size, DWORD* copied, DWORD* available) {
    const int fd = connection();
    if (fd < 0) {
      // A server end that no client has reached is no pipe to look into yet.
      return platform::GetLastError() == ERROR_PIPE_LISTENING ? fail(ERROR_BAD_PIPE) : FALSE;
    }
    char probe = 0;
    ssize_t seen;
    do {
      seen = ::recv(fd, &probe, 1, MSG_PEEK | MSG_DONTWAIT);
    } while (seen < 0 && errno == EINTR);
    if (seen == 0 || (seen < 0 && errno == ECONNRESET)) {
      return fail(ERROR_BROKEN_PIPE);
    }
    if (seen < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
      return fail(ERROR_GEN_FAILURE);
    }
    int queued = 0;
    if (seen > 0 && ::ioctl(fd, FIONREAD, &queued) != 0) {
      return fail(ERROR_GEN_FAILURE);
    }
    *available = static_cast<DWORD>(queued);
    if (copied) {
      *copied = 0;
      if (buffer && size > 0 && queued > 0) {
        const ssize_t got = ::recv(fd, buffer, std::min<DWORD>(size, *available), MSG_PEEK | MSG_DONTWAIT);
        *copied = got > 0 ? static_cast<DWORD>(got) : 0;
      }
    }
    return TRUE;
  }

  // Waits until the other end has read everything written here. When it closed with bytes
  // unread they are discarded and the flush fails with ERROR_BROKEN_PIPE, as on Windows, so a
  // writer never takes a transfer cut short for a whole one.
  BOOL flush() override {
    if (!mayWrite) {
      return fail(ERROR_ACCESS_DENIED);
    }
    const int fd = connection();
    if (fd < 0) {
      return FALSE;
    }
    auto pause = std::chrono::microseconds(20);
    CancellableCall call;
    for (;;) {
      const int unread = unixsocket::unreadByPeer(fd);
      if (unread < 0) {
        return fail(ERROR_GEN_FAILURE);
      }
      if (unixsocket::resetByPeer(fd)) {
        discarded = true;
      }
      if (discarded) {
        return fail(ERROR_BROKEN_PIPE);
      }
      if (unread == 0) {
        return TRUE;
      }
      if (call.wait(-1, 0, 0) == WaitResult::Cancelled) {
        return fail(ERROR_OPERATION_ABORTED);
      }
      std::this_thread::sleep_for(pause);
      pause = std::min(pause * 2, kFlushPollLongest);
    }
  }

 protected:
  // The connected socket, or -1 with the last error set.
  virtual int connection() = 0;

 private:
  const bool mayRead;
  const bool mayWrite;
  // The other end closed with bytes of ours unread; every later flush fails.
  std::atomic<bool> discarded{false};
};

// A client end of a named pipe, or one end of an anonymous pipe: a socket of its own.
class PipeClientEnd : public PipeEnd {
 public:
  PipeClientEnd(FileDescriptor socket, DWORD access, bool inheritable = false,
                FileDescriptor hold = {})
      : PipeEnd((access & GENERIC_READ) != 0, (access & GENERIC_WRITE) != 0),
        inheritable(inheritable), hold(std::move(hold)), socket(std::move(socket)) {}

  const bool inheritable;
  int descriptor() const { return socket.get(); }

 protected:
  int connection() override { return socket.get(); }

 private:
  // A named pipe's client keeps its instance alive through `hold` (pipe_table.h). Declared
  // first, so that it is given up only once the socket has closed.
  const FileDescriptor hold;
  const FileDescriptor socket;
};

class PipeServerEnd : public PipeEnd {
 public:
  PipeServerEnd(std::string key, int id, DWORD openMode, FileDescriptor liveness,
                FileDescriptor listener)
      : PipeEnd((openMode & PIPE_ACCESS_INBOUND) != 0, (openMode & PIPE_ACCESS_OUTBOUND) != 0),
        key(std::move(key)), id(id), liveness(std::move(liveness)), listener(std::move(listener)) {}

  // The instance stays while a client still holds its end: that client reads what is left, then
  // ERROR_BROKEN_PIPE, and the instance counts against the pipe's limit until it closes too.
  ~PipeServerEnd() override {
    PipeTable table;
    table.setState(key, id, PipeInstanceState::Disconnected);
    connected.reset();
    listener.reset();
    liveness.reset();
    table.liveInstances(key);  // removes the instance when no client holds it
  }

  BOOL connect() {
    {
      std::lock_guard<std::mutex> guard(mutex);
      if (connected) {
        return alreadyConnected(connected.get());
      }
      PipeTable table;
      if (table.state(key, id) == PipeInstanceState::Connected) {
        connected = unixsocket::acceptOne(listener.get(), false);
        return connected ? alreadyConnected(connected.get()) : fail(ERROR_GEN_FAILURE);
      }
      table.setState(key, id, PipeInstanceState::Listening);
    }
    CancellableCall call;
    FileDescriptor fd;
    while (!fd) {
      if (call.wait(listener.get(), POLLIN) == WaitResult::Cancelled) {
        return fail(ERROR_OPERATION_ABORTED);  // the instance keeps listening
      }
      fd = unixsocket::acceptOne(listener.get(), false);
      if (!fd && errno != EAGAIN) {
        return fail(ERROR_GEN_FAILURE);
      }
    }
    std::lock_guard<std::mutex> guard(mutex);
    connected = std::move(fd);
    return TRUE;
  }

  // The id of the process that connected, from the socket's peer credentials (taken at connect,
  // so a client that has closed its end still has one).
  BOOL clientProcessId(ULONG* processId) {
    const int fd = connection();
    if (fd < 0) {
      return fail(ERROR_PIPE_NOT_CONNECTED);
    }
    const long pid = unixsocket::peerProcessId(fd);
    if (pid <= 0) {
      return fail(ERROR_GEN_FAILURE);
    }
    *processId = static_cast<ULONG>(pid);
    return TRUE;
  }

  BOOL disconnect() {
    std::lock_guard<std::mutex> guard(mutex);
    PipeTable table;
    if (connected) {
      connected.reset();
    } else if (table.state(key, id) == PipeInstanceState::Connected) {
      // A client that connected before the server took it: drop it from the queue.
      while (unixsocket::acceptOne(listener.get(), false)) {
      }
    }
    table.releaseClient(key, id);
    table.setState(key, id, PipeInstanceState::Disconnected);
    return TRUE;
  }

 protected:
  // A client may connect before ConnectNamedPipe; I/O then takes it, as Windows allows.
  int connection() override {
    std::lock_guard<std::mutex> guard(mutex);
    if (connected) {
      return connected.get();
    }
    PipeTable table;
    switch (table.state(key, id)) {
      case PipeInstanceState::Connected:
        connected = unixsocket::acceptOne(listener.get(), false);
        if (connected) {
          return connected.get();
        }
        fail(ERROR_PIPE_NOT_CONNECTED);
        return -1;
      case PipeInstanceState::Listening:
        fail(ERROR_PIPE_LISTENING);
        return -1;
      case PipeInstanceState::Disconnected:
        break;
    }
    fail(ERROR_PIPE_NOT_CONNECTED);
    return -1;
  }

 private:
  // ConnectNamedPipe when a client came first: ERROR_PIPE_CONNECTED, or ERROR_NO_DATA when that
  // client has already closed its end.
  static BOOL alreadyConnected(int fd) {
    return fail(unixsocket::peerClosed(fd) ? ERROR_NO_DATA : ERROR_PIPE_CONNECTED);
  }

  const std::string key;
  const int id;
  FileDescriptor liveness;
  FileDescriptor listener;
  FileDescriptor connected;  // guarded by `mutex`
  std::mutex mutex;
};

std::shared_ptr<PipeServerEnd> serverEnd(HANDLE handle) {
  const std::shared_ptr<HandleObject> object = lookupHandle(HandleKind::Kernel, handle);
  if (!object) {
    platform::SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  auto server = std::dynamic_pointer_cast<PipeServerEnd>(object);
  if (!server) {
    platform::SetLastError(ERROR_INVALID_FUNCTION);
  }
  return server;
}

bool clientAccessAllowed(DWORD desiredAccess, DWORD serverOpenMode) {
  // Data the client reads flows outbound from the server, and the other way round.
  const bool readOk = !(desiredAccess & GENERIC_READ) || (serverOpenMode & PIPE_ACCESS_OUTBOUND);
  const bool writeOk = !(desiredAccess & GENERIC_WRITE) || (serverOpenMode & PIPE_ACCESS_INBOUND);
  return readOk && writeOk;
}

}  // namespace

HANDLE createPipeInstance(const std::string& key, DWORD openMode, DWORD maxInstances,
                          DWORD defaultTimeout, bool firstOnly, const std::string& descriptor) {
  PipeTable table;
  const std::vector<int> live = table.liveInstances(key);
  if (!live.empty() && firstOnly) {
    // FILE_FLAG_FIRST_PIPE_INSTANCE: the pipe belongs to another server already.
    fail(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  if (!live.empty()) {
    // The first instance fixes the access and the limit; later ones may differ in the rest.
    const std::optional<PipeSettings> settings = table.settings(key);
    if (!settings || settings->openMode != openMode) {
      fail(ERROR_ACCESS_DENIED);
      return INVALID_HANDLE_VALUE;
    }
    if (settings->maxInstances != PIPE_UNLIMITED_INSTANCES &&
        live.size() >= settings->maxInstances) {
      fail(ERROR_PIPE_BUSY);
      return INVALID_HANDLE_VALUE;
    }
  }
  FileDescriptor liveness;
  const int id = table.addInstance(key, PipeSettings{openMode, maxInstances, defaultTimeout},
                                   PipeSecurity{callerSids().front(), descriptor}, liveness);
  FileDescriptor listener = unixsocket::listenAt(table.socketPath(key, id));
  if (!listener) {
    table.removeInstance(key, id);
    fail(ERROR_GEN_FAILURE);
    return INVALID_HANDLE_VALUE;
  }
  // A fresh instance accepts a client before ConnectNamedPipe, as on Windows.
  table.setState(key, id, PipeInstanceState::Listening);
  return insertHandle(HandleKind::Kernel,
                      std::make_shared<PipeServerEnd>(key, id, openMode, std::move(liveness),
                                                      std::move(listener)));
}

HANDLE openPipeClient(const std::string& key, DWORD desiredAccess) {
  PipeTable table;
  const std::vector<int> live = table.liveInstances(key);
  // Instances whose server has closed take no client; with none other the pipe is gone.
  if (std::none_of(live.begin(), live.end(), [&](int id) { return table.serverOpen(key, id); })) {
    fail(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  const std::optional<PipeSettings> settings = table.settings(key);
  const std::optional<PipeSecurity> security = table.security(key);
  if (!settings || !security || !clientAccessAllowed(desiredAccess, settings->openMode) ||
      !accessAllowed(security->descriptor, security->ownerSid, callerSids(), desiredAccess)) {
    fail(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  for (const int id : live) {
    if (table.state(key, id) != PipeInstanceState::Listening) {
      continue;
    }
    FileDescriptor socket = unixsocket::connectTo(table.socketPath(key, id));
    if (!socket) {
      continue;
    }
    FileDescriptor hold = table.holdForClient(key, id);
    if (!hold) {
      fail(ERROR_GEN_FAILURE);
      return INVALID_HANDLE_VALUE;
    }
    table.setState(key, id, PipeInstanceState::Connected);
    platform::SetLastError(ERROR_SUCCESS);
    return insertHandle(HandleKind::Kernel,
                        std::make_shared<PipeClientEnd>(std::move(socket), desiredAccess, false,
                                                        std::move(hold)));
  }
  fail(ERROR_PIPE_BUSY);
  return INVALID_HANDLE_VALUE;
}

BOOL waitForPipeInstance(const std::string& key, DWORD timeout) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  for (bool first = true;; first = false) {
    {
      PipeTable table;
      const std::vector<int> live = table.liveInstances(key);
      if (live.empty()) {
        return fail(ERROR_FILE_NOT_FOUND);
      }
      for (const int id : live) {
        if (table.state(key, id) == PipeInstanceState::Listening) {
          return TRUE;
        }
      }
      if (first && timeout == NMPWAIT_USE_DEFAULT_WAIT) {
        const std::optional<PipeSettings> settings = table.settings(key);
        timeout = settings && settings->defaultTimeout ? settings->defaultTimeout
                                                       : kFallbackDefaultTimeout;
      }
    }
    const auto waited = Clock::now() - start;
    if (timeout != NMPWAIT_WAIT_FOREVER && waited >= std::chrono::milliseconds(timeout)) {
      return fail(ERROR_SEM_TIMEOUT);
    }
    std::this_thread::sleep_for(kWaitPollInterval);
  }
}

BOOL createAnonymousPipe(HANDLE* readEnd, HANDLE* writeEnd, bool inheritable) {
  int fds[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
    return fail(ERROR_TOO_MANY_OPEN_FILES);
  }
  FileDescriptor reading(fds[0]);
  FileDescriptor writing(fds[1]);
  // One direction only, as an anonymous pipe has.
  ::shutdown(reading.get(), SHUT_WR);
  ::shutdown(writing.get(), SHUT_RD);
  *readEnd = insertHandle(HandleKind::Kernel,
                          std::make_shared<PipeClientEnd>(std::move(reading), GENERIC_READ, inheritable));
  *writeEnd = insertHandle(HandleKind::Kernel,
                           std::make_shared<PipeClientEnd>(std::move(writing), GENERIC_WRITE, inheritable));
  return TRUE;
}

int inheritableDescriptorOf(HANDLE handle) {
  const auto end = lookupHandleAs<PipeClientEnd>(HandleKind::Kernel, handle);
  return end && end->inheritable ? end->descriptor() : -1;
}

BOOL peekPipe(HANDLE handle, void* buffer, DWORD size, DWORD* copied, DWORD* available) {
  const std::shared_ptr<HandleObject> object = lookupHandle(HandleKind::Kernel, handle);
  const auto end = std::dynamic_pointer_cast<PipeEnd>(object);
  if (!end) {
    return fail(object ? ERROR_INVALID_FUNCTION : ERROR_INVALID_HANDLE);
  }
  return end->peek(buffer, size, copied, available);
}

BOOL connectPipeInstance(HANDLE server) {
  const std::shared_ptr<PipeServerEnd> end = serverEnd(server);
  return end ? end->connect() : FALSE;
}

BOOL pipeClientProcessId(HANDLE server, ULONG* processId) {
  const std::shared_ptr<PipeServerEnd> end = serverEnd(server);
  return end ? end->clientProcessId(processId) : FALSE;
}

BOOL disconnectPipeInstance(HANDLE server) {
  const std::shared_ptr<PipeServerEnd> end = serverEnd(server);
  return end ? end->disconnect() : FALSE;
}

}  // namespace sim
