// Finding and reading the tool's log file of a run.
#include "tools/peer/tool_log.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "tools/peer/file_io.h"

namespace peer {
namespace {

// "_YYYY_MM_DDTHH_MM_SS_mmmZ.txt": D stands for a digit.
constexpr char kTimePattern[] = "_DDDD_DD_DDTDD_DD_DD_DDDZ.txt";

}  // namespace

bool isToolLogFileName(const std::string& fileName, const std::string& baseName) {
  const std::string pattern = kTimePattern;
  if (fileName.size() != baseName.size() + pattern.size() ||
      fileName.compare(0, baseName.size(), baseName) != 0) {
    return false;
  }
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char c = fileName[baseName.size() + i];
    if (pattern[i] == 'D' ? !(c >= '0' && c <= '9') : c != pattern[i]) {
      return false;
    }
  }
  return true;
}

std::vector<std::filesystem::path> toolLogFiles(const std::filesystem::path& name) {
  std::vector<std::filesystem::path> files;
  const std::filesystem::path folder =
      name.has_parent_path() ? name.parent_path() : std::filesystem::path(".");
  const std::string base = name.filename().u8string();
  std::error_code ec;
  for (std::filesystem::directory_iterator entries(folder, ec);
       !ec && entries != std::filesystem::directory_iterator(); entries.increment(ec)) {
    if (isToolLogFileName(entries->path().filename().u8string(), base)) {
      files.push_back(entries->path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

ToolLogWatch::ToolLogWatch(std::optional<std::filesystem::path> logName) : name(std::move(logName)) {
  if (name) {
    before = toolLogFiles(*name);
  }
}

std::optional<std::string> ToolLogWatch::newText() const {
  if (!name) {
    return std::nullopt;
  }
  const std::vector<std::filesystem::path> now = toolLogFiles(*name);
  for (auto file = now.rbegin(); file != now.rend(); ++file) {
    if (std::find(before.begin(), before.end(), *file) == before.end()) {
      return readWholeFile(*file);
    }
  }
  return std::nullopt;
}

}  // namespace peer
