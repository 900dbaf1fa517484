// The verdict on a save or a restore, read from the tool's own lines: its exit status says only
// whether the action could run, its log says what happened on the displays.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace peer {

// One line of the tool's log, in the console or in the file format.
struct ToolLine {
  std::string level;    // INFO, ERROR, DEBUG, ...
  std::string message;  // as the tool wrote it
};

// The tool's lines in `text`; continuation lines of a message that spans several (a logged
// document) and lines of anyone else are left out.
std::vector<ToolLine> readToolLines(const std::string& text);

enum class RequestOutcome { NotReported, Succeeded, Failed };

struct SaveVerdict {
  bool heard = false;  // any line of the tool came through
  RequestOutcome blank = RequestOutcome::NotReported;
  std::vector<std::string> refusedDisplays;  // whose dark ramp the system refused
  std::vector<std::string> displaysWithoutContext;  // active, but gave no device context
};

struct RestoreVerdict {
  bool heard = false;
  RequestOutcome restore = RequestOutcome::NotReported;
  // Displays written back and read back equal by the tool's last pass over them: a failed pass
  // is repeated, so earlier passes do not count.
  std::size_t validated = 0;
  std::size_t documentDisplays = 0;  // displays the served document holds

  // Every display of the document came back: the request succeeded and each was validated.
  bool allValidated() const {
    return heard && restore == RequestOutcome::Succeeded && validated == documentDisplays;
  }
};

SaveVerdict judgeSave(const std::vector<ToolLine>& lines);
RestoreVerdict judgeRestore(const std::vector<ToolLine>& lines, std::size_t documentDisplays);

// "2 of 2 validated", "restore FAILED, 1 of 2 validated", or why there is no verdict.
std::string describeRestore(const RestoreVerdict& verdict);

// "blank succeeded", "blank FAILED: the system refused the dark ramp for ...", or why there is
// no verdict.
std::string describeSave(const SaveVerdict& verdict);

}  // namespace peer
