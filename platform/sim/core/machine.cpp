// Storage of the simulated machine: root directory, machine lock, atomic file replacement.
#include "platform/sim/core/machine.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
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
  lockFile.reset(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
  if (!lockFile) {
    throw std::system_error(errno, std::generic_category(), "sim: cannot open " + lockPath.string());
  }
  while (::flock(lockFile.get(), LOCK_EX) != 0) {
    if (errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "sim: cannot lock the machine");
    }
  }
}

MachineLock::~MachineLock() { ::flock(lockFile.get(), LOCK_UN); }

std::optional<std::string> readWholeFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    return std::nullopt;
  }
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

void replaceFile(const fs::path& file, const std::string& content) {
  // The temporary name is unique to this process and call, so that threads and processes that
  // replace the same file at once never write into one temporary file.
  static std::atomic<unsigned long> serial{0};
  fs::create_directories(file.parent_path());
  fs::path temporary = file;
  temporary += ".tmp." + std::to_string(::getpid()) + "." + std::to_string(++serial);
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.flush();
    if (!out) {
      std::error_code ec;
      fs::remove(temporary, ec);
      throw std::runtime_error("sim: cannot write " + temporary.string());
    }
  }
  fs::rename(temporary, file);
}

std::optional<std::string> readMachineFile(const std::string& relativePath) {
  return readWholeFile(machineDir() / relativePath);
}

void writeMachineFile(const std::string& relativePath, const std::string& content) {
  replaceFile(machineDir() / relativePath, content);
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
