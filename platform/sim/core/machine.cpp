// Storage of the simulated machine: root directory, machine lock, atomic file replacement.
#include "platform/sim/core/machine.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace sim {
namespace fs = std::filesystem;

fs::path root() {
  fs::path dir;
  if (const char* explicitRoot = std::getenv("KESTRINE_SIM_ROOT"); explicitRoot && *explicitRoot) {
    dir = explicitRoot;
  } else if (const char* state = std::getenv("XDG_STATE_HOME"); state && *state) {
    dir = fs::path(state) / "kestrine" / "sim";
  } else {
    const char* home = std::getenv("HOME");
    dir = fs::path(home && *home ? home : "/tmp") / ".local" / "state" / "kestrine" / "sim";
  }
  std::error_code ec;
  fs::create_directories(dir, ec);
  return dir;
}

fs::path machineDir() {
  fs::path dir = root() / "machine";
  std::error_code ec;
  fs::create_directories(dir, ec);
  return dir;
}

MachineLock::MachineLock() {
  const fs::path lockPath = root() / "machine.lock";
  fd = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) {
    throw std::system_error(errno, std::generic_category(), "sim: cannot open " + lockPath.string());
  }
  while (::flock(fd, LOCK_EX) != 0) {
    if (errno != EINTR) {
      const int error = errno;
      ::close(fd);
      throw std::system_error(error, std::generic_category(), "sim: cannot lock the machine");
    }
  }
}

MachineLock::~MachineLock() {
  ::flock(fd, LOCK_UN);
  ::close(fd);
}

std::optional<std::string> readMachineFile(const std::string& relativePath) {
  std::ifstream in(machineDir() / relativePath, std::ios::binary);
  if (!in) {
    return std::nullopt;
  }
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

void writeMachineFile(const std::string& relativePath, const std::string& content) {
  const fs::path target = machineDir() / relativePath;
  fs::create_directories(target.parent_path());
  fs::path temporary = target;
  temporary += ".tmp." + std::to_string(::getpid());
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.flush();
    if (!out) {
      throw std::runtime_error("sim: cannot write " + temporary.string());
    }
  }
  fs::rename(temporary, target);
}

void removeMachineFile(const std::string& relativePath) {
  std::error_code ec;
  fs::remove(machineDir() / relativePath, ec);
}

void resetMachine() {
  std::error_code ec;
  fs::remove_all(root() / "machine", ec);
}

}  // namespace sim
