// The tool's log file of one run. With `--logfile NAME` the tool writes
// NAME_YYYY_MM_DDTHH_MM_SS_mmmZ.txt (the UTC time the file was made) in NAME's folder, a new
// file on every run and rotation; the peer reads the newest one that its run made.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace peer {

// True when `fileName` is a log file name that the tool makes for `--logfile` with this base name.
bool isToolLogFileName(const std::string& fileName, const std::string& baseName);

// The tool's log files of `name` as they are now, in name order (which is time order).
std::vector<std::filesystem::path> toolLogFiles(const std::filesystem::path& name);

// Taken before the tool starts: afterwards, gives the text of the newest log file that was not
// there before, or nothing when the run made none.
class ToolLogWatch {
 public:
  explicit ToolLogWatch(std::optional<std::filesystem::path> name);

  bool watching() const { return name.has_value(); }
  std::optional<std::string> newText() const;

 private:
  std::optional<std::filesystem::path> name;
  std::vector<std::filesystem::path> before;
};

}  // namespace peer
