// TextFile: one file that takes whole lines from many threads, each flushed as it is written.
#pragma once

#include <cstdint>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>

namespace velmo {

class TextFile {
 public:
  // Creates the file (or cuts an existing one to nothing). A file that cannot be opened is not an
  // error: every line written to it is dropped. Throws std::invalid_argument for an empty path.
  explicit TextFile(const std::string& path);
  virtual ~TextFile();
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  // Milliseconds since the Unix epoch by the system clock, read before the file was opened.
  std::int64_t creationTime() const { return creationTimeMs; }

  // Writes the line up to its first zero byte, a line feed, and flushes: the line is in the
  // file when this returns.
  void writeLine(const std::string& line);

 private:
  const std::string path;
  const std::int64_t creationTimeMs;
  std::mutex mutex;
  std::unique_ptr<std::ofstream> stream;
};

}  // namespace velmo
