// The fixed-column format of log files: the level tags, the header line and the record line.
#pragma once

#include <cstdint>
#include <string>

namespace velmo {
namespace logging {

// "<INFO>" and the like; throws std::out_of_range for a level that has no tag.
const std::string& fileLevelTag(std::int32_t level);

// The first line of every log file, 116 characters.
const std::string& fileLogHeader();

// One record line, without its line end. Each column is left-aligned in its minimum width; a
// longer value pushes the rest of the line to the right, nothing is cut.
std::string formatFileLogLine(std::uint32_t threadId, const std::string& timeText,
                              std::int64_t elapsedMs, const std::string& sessionLogId,
                              std::uint32_t category, const std::string& levelTag,
                              std::int32_t resultCode, const std::string& message);

}  // namespace logging
}  // namespace velmo
