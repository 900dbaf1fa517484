#include "tests/conformance/pipe_fixture.h"

#include <random>

#include "platform/errors.h"

namespace conformance {

void Handle::reset() {
  if (valid()) {
    platform::CloseHandle(handle);
  }
  handle = INVALID_HANDLE_VALUE;
}

platform::WideString widen(const std::string& ascii) {
  return platform::WideString(ascii.begin(), ascii.end());
}

platform::WideString uniquePipeName(const std::string& tag) {
  static std::mt19937_64 random{std::random_device{}()};
  return widen("\\\\.\\pipe\\kestrine-conformance-" + tag + "-" + std::to_string(random()));
}

HANDLE createServer(const platform::WideString& name, DWORD maxInstances) {
  return platform::CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX,
                                    PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, maxInstances,
                                    4096, 4096, 0, nullptr);
}

HANDLE openClient(const platform::WideString& name) {
  return platform::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

bool writeAll(HANDLE handle, const std::string& bytes) {
  DWORD written = 0;
  return platform::WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                             nullptr) != FALSE &&
         written == bytes.size();
}

std::string readToEnd(HANDLE handle, DWORD chunk, DWORD& lastError) {
  std::string bytes;
  std::string buffer(chunk, '\0');
  DWORD count = 0;
  while (platform::ReadFile(handle, &buffer[0], chunk, &count, nullptr)) {
    bytes.append(buffer.data(), count);
  }
  lastError = platform::GetLastError();
  return bytes;
}

}  // namespace conformance
