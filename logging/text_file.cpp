// TextFile: creation, locked line writes with a flush each, and closing.
#include "logging/text_file.h"

#include <cstring>
#include <stdexcept>

#include "logging/log_time.h"

namespace velmo {

TextFile::TextFile(const std::string& path)
    : path(path), creationTimeMs(logging::systemMilliseconds()) {
  if (path.empty()) {
    throw std::invalid_argument("File path is empty");
  }
  stream = std::make_unique<std::ofstream>();
  std::lock_guard<std::mutex> lock(mutex);
  // Text mode: where the platform translates line ends, each line feed becomes its line end.
  stream->open(path, std::ios::out | std::ios::trunc);
}

TextFile::~TextFile() {
  std::lock_guard<std::mutex> lock(mutex);
  stream->close();
}

void TextFile::writeLine(const std::string& line) {
  std::lock_guard<std::mutex> lock(mutex);
  stream->write(line.c_str(), static_cast<std::streamsize>(std::strlen(line.c_str())));
  stream->put('\n');
  stream->flush();
}

}  // namespace velmo
