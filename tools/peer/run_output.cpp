// Run outputs as files of their own in <store>/outputs, named by their record's id and command.
#include "tools/peer/run_output.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <set>
#include <system_error>

#include "tools/peer/commands.h"
#include "tools/peer/file_io.h"
#include "tools/peer/tool_output.h"

namespace peer {
namespace {

const char* const kExtension = ".output";
const char* const kCommands[] = {"blank", "unblank"};

std::filesystem::path outputsDirectory(const DocumentHistory& history) {
  return history.recordsDirectory().parent_path() / "outputs";
}

std::filesystem::path outputPath(const DocumentHistory& history, unsigned id, const std::string& command) {
  return outputsDirectory(history) / (std::to_string(id) + "." + command + kExtension);
}

// The record id an output file belongs to, from its name "<id>.<command>.output".
std::optional<unsigned> recordIdOf(const std::filesystem::path& path) {
  const std::string name = path.filename().string();
  const std::size_t digits = std::min(name.find_first_not_of("0123456789"), name.size());
  if (path.extension() != kExtension || digits == 0 || digits > 9 || name[digits] != '.') {
    return std::nullopt;
  }
  return static_cast<unsigned>(std::stoul(name.substr(0, digits)));
}

// Removes the outputs of records the history has pruned; a failure leaves them for next time.
void pruneOutputs(const DocumentHistory& history) {
  // One listing for all outputs: asking the history for each one reads every record each time.
  std::set<unsigned> kept;
  for (const DocumentRecord& record : history.list()) {
    kept.insert(record.id);
  }
  std::error_code error;
  for (std::filesystem::directory_iterator entry(outputsDirectory(history), error), end;
       !error && entry != end; entry.increment(error)) {
    const std::optional<unsigned> id = recordIdOf(entry->path());
    if (id && kept.count(*id) == 0) {
      std::error_code ignored;
      std::filesystem::remove(entry->path(), ignored);
    }
  }
}

}  // namespace

void keepRunOutput(const DocumentHistory& history, unsigned id, const std::string& command,
                   const std::string& output) {
  try {
    const std::size_t size = std::min(output.size(), ToolOutput::kKeptBytes);
    writeFileDurably(outputPath(history, id, command), output.substr(output.size() - size));
    pruneOutputs(history);
  } catch (const std::exception& e) {
    printStatus(std::string("the tool's output of this run was not kept: ") + e.what());
  }
}

std::vector<std::pair<std::string, std::string>> runOutputs(const DocumentHistory& history, unsigned id) {
  std::vector<std::pair<std::string, std::string>> outputs;
  for (const char* command : kCommands) {
    if (std::optional<std::string> output = readWholeFile(outputPath(history, id, command))) {
      outputs.emplace_back(command, std::move(*output));
    }
  }
  return outputs;
}

}  // namespace peer
