// Whole-file reads, durable replacement and durable creation of a file, through the platform's file operations.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace peer {

// The file's bytes, or nothing when it does not exist. Throws PeerError on other failures.
std::optional<std::string> readWholeFile(const std::filesystem::path& path);

// Replaces `path` so that a crash leaves either the old or the new content: the bytes go to a
// temporary file of a name no other writer uses, beside the target, are flushed to disk, and the
// temporary file is renamed over the target with write-through. Makes the directory if needed.
// Throws PeerError on failure, after removing the temporary file.
void writeFileDurably(const std::filesystem::path& path, const std::string& content);

// Creates `path` the same durable way, but never over an existing file: the final rename refuses
// an existing target. False when `path` exists already (nothing is changed then); throws
// PeerError on other failures.
bool createFileDurably(const std::filesystem::path& path, const std::string& content);

}  // namespace peer
