// Sim only: the machine-wide table of named pipe instances, kept as files under root()/pipes.
//   pipes/<key>/settings   "openMode maxInstances defaultTimeout" of the pipe
//   pipes/<key>/security   the owner's SID, then the descriptor's text, one line each
//   pipes/<key>/<id>.state  "listening", "connected" or "disconnected"
//   pipes/<key>/<id>.alive  locked (flock) by the server end for as long as it is open
//   pipes/<key>/<id>.client locked by the connected client end for as long as it is open; removed
//                           when the server disconnects it, so a disconnected client holds nothing
//   pipes/<key>/<id>.sock   the instance's listening socket (or a short path, see unix_socket.h)
#include "platform/sim/pipes_files/pipe_table.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "platform/sim/pipes_files/unix_socket.h"
#include "platform/sim/core/utf.h"

namespace sim {
namespace fs = std::filesystem;
namespace {

constexpr char kPrefix[] = "\\\\.\\pipe\\";
constexpr std::size_t kLongestKey = 150;

fs::path pipeDir(const std::string& key) { return root() / "pipes" / key; }

fs::path instanceFile(const std::string& key, int id, const char* suffix) {
  return pipeDir(key) / (std::to_string(id) + suffix);
}

const char* stateText(PipeInstanceState state) {
  switch (state) {
    case PipeInstanceState::Listening:
      return "listening";
    case PipeInstanceState::Connected:
      return "connected";
    case PipeInstanceState::Disconnected:
      break;
  }
  return "disconnected";
}

// The first line of a one-line file, empty when it is missing.
std::string readSmallFile(const fs::path& path) {
  const std::string text = readWholeFile(path).value_or(std::string());
  return text.substr(0, text.find('\n'));
}

// A one-line file, replaced atomically so that a reader never sees it empty or half written.
void writeSmallFile(const fs::path& path, const std::string& text) {
  replaceFile(path, text + '\n');
}

// Whether an end holds the lock on one of an instance's files; a lock goes away with its
// descriptor, and so with the process however it ends.
bool locked(const fs::path& path) {
  const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return fd && ::flock(fd.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

// An instance lives until both its ends are closed, as on Windows.
bool instanceHeld(const std::string& key, int id) {
  return locked(instanceFile(key, id, ".alive")) || locked(instanceFile(key, id, ".client"));
}

std::vector<int> instanceIds(const std::string& key) {
  std::vector<int> ids;
  std::error_code ec;
  for (const auto& entry : fs::directory_iterator(pipeDir(key), ec)) {
    const fs::path name = entry.path().filename();
    if (name.extension() == ".state") {
      try {
        ids.push_back(std::stoi(name.stem().string()));
      } catch (const std::exception&) {
        // Not an instance file; ignore it.
      }
    }
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

std::string escapeKey(const std::string& name) {
  std::string key;
  for (const unsigned char c : name) {
    const unsigned char lower = (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c - 'A' + 'a') : c;
    if ((lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9') || lower == '.' ||
        lower == '_' || lower == '-') {
      key += static_cast<char>(lower);
    } else {
      char escaped[4];
      std::snprintf(escaped, sizeof escaped, "%%%02X", lower);
      key += escaped;
    }
  }
  if (key.size() > kLongestKey) {
    char hash[24];
    std::snprintf(hash, sizeof hash, "~%016zx", std::hash<std::string>{}(key));
    key = key.substr(0, kLongestKey - 20) + hash;
  }
  return key;
}

}  // namespace

std::optional<std::string> pipeKeyOf(const WCHAR* name) {
  if (!name) {
    return std::nullopt;
  }
  std::size_t size = 0;
  while (name[size]) {
    ++size;
  }
  const std::string text = utf16ToUtf8(name, size);
  const std::size_t prefixSize = sizeof kPrefix - 1;
  if (text.size() <= prefixSize) {
    return std::nullopt;
  }
  for (std::size_t i = 0; i < prefixSize; ++i) {
    const char c = text[i];
    const char lower = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    if (lower != kPrefix[i]) {
      return std::nullopt;
    }
  }
  return escapeKey(text.substr(prefixSize));
}

std::vector<int> PipeTable::liveInstances(const std::string& key) {
  std::vector<int> live;
  for (const int id : instanceIds(key)) {
    if (instanceHeld(key, id)) {
      live.push_back(id);
    } else {
      removeInstance(key, id);
    }
  }
  return live;
}

std::optional<PipeSettings> PipeTable::settings(const std::string& key) {
  std::istringstream in(readSmallFile(pipeDir(key) / "settings"));
  PipeSettings settings;
  if (in >> settings.openMode >> settings.maxInstances >> settings.defaultTimeout) {
    return settings;
  }
  return std::nullopt;
}

std::optional<PipeSecurity> PipeTable::security(const std::string& key) {
  const std::string text = readWholeFile(pipeDir(key) / "security").value_or(std::string());
  const std::size_t newline = text.find('\n');
  if (newline == std::string::npos || text.size() < newline + 2) {
    return std::nullopt;
  }
  return PipeSecurity{text.substr(0, newline), text.substr(newline + 1, text.size() - newline - 2)};
}

int PipeTable::addInstance(const std::string& key, const PipeSettings& settings,
                           const PipeSecurity& security, FileDescriptor& liveness) {
  fs::create_directories(pipeDir(key));
  const fs::path settingsPath = pipeDir(key) / "settings";
  // The first live instance writes the settings, over whatever an ended server left behind.
  if (instanceIds(key).empty()) {
    writeSmallFile(settingsPath, std::to_string(settings.openMode) + " " +
                                     std::to_string(settings.maxInstances) + " " +
                                     std::to_string(settings.defaultTimeout));
    replaceFile(pipeDir(key) / "security", security.ownerSid + "\n" + security.descriptor + "\n");
  }
  const std::vector<int> ids = instanceIds(key);
  int id = ids.empty() ? 1 : ids.back() + 1;
  for (;; ++id) {
    liveness.reset(::open(instanceFile(key, id, ".alive").c_str(),
                          O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (liveness) {
      break;
    }
    if (errno != EEXIST) {
      throw std::system_error(errno, std::generic_category(), "sim: cannot create a pipe instance");
    }
  }
  if (::flock(liveness.get(), LOCK_EX) != 0) {
    const int error = errno;
    liveness.reset();
    ::unlink(instanceFile(key, id, ".alive").c_str());
    throw std::system_error(error, std::generic_category(), "sim: cannot lock a pipe instance");
  }
  setState(key, id, PipeInstanceState::Disconnected);
  return id;
}

bool PipeTable::serverOpen(const std::string& key, int id) {
  return locked(instanceFile(key, id, ".alive"));
}

FileDescriptor PipeTable::holdForClient(const std::string& key, int id) {
  const fs::path path = instanceFile(key, id, ".client");
  ::unlink(path.c_str());
  FileDescriptor fd(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (fd && ::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
    return {};
  }
  return fd;
}

void PipeTable::releaseClient(const std::string& key, int id) {
  ::unlink(instanceFile(key, id, ".client").c_str());
}

void PipeTable::removeInstance(const std::string& key, int id) {
  std::error_code ec;
  fs::remove(instanceFile(key, id, ".client"), ec);
  fs::remove(instanceFile(key, id, ".state"), ec);
  fs::remove(socketPath(key, id), ec);
  fs::remove(instanceFile(key, id, ".alive"), ec);
  if (instanceIds(key).empty()) {
    fs::remove_all(pipeDir(key), ec);
  }
}

PipeInstanceState PipeTable::state(const std::string& key, int id) {
  const std::string text = readSmallFile(instanceFile(key, id, ".state"));
  if (text == stateText(PipeInstanceState::Listening)) {
    return PipeInstanceState::Listening;
  }
  if (text == stateText(PipeInstanceState::Connected)) {
    return PipeInstanceState::Connected;
  }
  return PipeInstanceState::Disconnected;
}

void PipeTable::setState(const std::string& key, int id, PipeInstanceState state) {
  writeSmallFile(instanceFile(key, id, ".state"), stateText(state));
}

fs::path PipeTable::socketPath(const std::string& key, int id) {
  return unixsocket::addressFor(instanceFile(key, id, ".sock"));
}

}  // namespace sim
