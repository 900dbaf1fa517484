// Reading the tool's log lines into the verdict of a save or a restore.
#include "tools/peer/tool_verdict.h"

#include <algorithm>
#include <optional>
#include <regex>

namespace peer {
namespace {

// "0012 *> [Category   0,     ERROR   ]    -500 : Failed to parse input"
const std::regex kConsoleLine(R"(^\d{4,} \*> \[Category +-?\d+, +([A-Z]+) *\] +-?\d+ : (.*)$)");
// "[4312  ] 2026-03-05T07:09:02.041Z 1532     0000...0000 0     <INFO>     0           Got action save"
const std::regex kFileLine(R"(^\[[^\]]*\] +\S+ +-?\d+ +\S+ +-?\d+ +<([A-Z]+)> +-?\d+ +(.*)$)");

// The tool's messages that the verdict reads.
constexpr char kBlankSucceeded[] = "Request to blank succeeded";
constexpr char kBlankFailed[] = "Request to blank failed";
constexpr char kRestoreSucceeded[] = "Request to restore succeeded";
constexpr char kRestoreFailed[] = "Request to restore failed";
constexpr char kValidated[] = "Restored initial device gamma ramps and successfully validated restoration";
constexpr char kRestorePassFailed[] = "Failed to restore initial gamma ramps for one or more displays";
constexpr char kNoContext[] = "Failed to create device context for display ";
constexpr char kSetFailedBefore[] = "Failed to set gamma ramp for ";
constexpr char kSetFailedAfter[] = " display";
// A display's lines in a restore pass, besides kValidated and kNoContext.
constexpr const char* kRestoreDisplayLines[] = {
    "Failed to restore device gamma ramp! (attempt = ",
    "Restored initial device gamma ramps; but ",
    "Skipping gamma restoration on display",
    "Could not restore display ",
};

bool startsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

void addOnce(std::vector<std::string>& names, const std::string& name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) {
    names.push_back(name);
  }
}

// The display named in "Failed to set gamma ramp for <name> display".
std::optional<std::string> refusedDisplay(const std::string& message) {
  const std::string before = kSetFailedBefore;
  const std::string after = kSetFailedAfter;
  if (!startsWith(message, before) || message.size() < before.size() + after.size() ||
      message.compare(message.size() - after.size(), after.size(), after) != 0) {
    return std::nullopt;
  }
  return message.substr(before.size(), message.size() - before.size() - after.size());
}

bool isRestoreDisplayLine(const std::string& message) {
  return std::any_of(std::begin(kRestoreDisplayLines), std::end(kRestoreDisplayLines),
                     [&](const char* prefix) { return startsWith(message, prefix); }) ||
         startsWith(message, kNoContext);
}

std::string countText(std::size_t validated, std::size_t held) {
  return std::to_string(validated) + " of " + std::to_string(held) + " validated";
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

}  // namespace

std::vector<ToolLine> readToolLines(const std::string& text) {
  std::vector<ToolLine> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      end = text.size();
    }
    std::string line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    std::smatch match;
    if (!line.empty() && (line[0] == '[' || (line[0] >= '0' && line[0] <= '9')) &&
        (std::regex_match(line, match, kConsoleLine) || std::regex_match(line, match, kFileLine))) {
      lines.push_back({match[1].str(), match[2].str()});
    }
    start = end + 1;
  }
  return lines;
}

SaveVerdict judgeSave(const std::vector<ToolLine>& lines) {
  SaveVerdict verdict;
  verdict.heard = !lines.empty();
  for (const ToolLine& line : lines) {
    if (line.message == kBlankSucceeded) {
      verdict.blank = RequestOutcome::Succeeded;
    } else if (line.message == kBlankFailed) {
      verdict.blank = RequestOutcome::Failed;
    } else if (const std::optional<std::string> display = refusedDisplay(line.message)) {
      addOnce(verdict.refusedDisplays, *display);
    } else if (startsWith(line.message, kNoContext)) {
      addOnce(verdict.displaysWithoutContext, line.message.substr(sizeof kNoContext - 1));
    }
  }
  return verdict;
}

RestoreVerdict judgeRestore(const std::vector<ToolLine>& lines, std::size_t documentDisplays) {
  RestoreVerdict verdict;
  verdict.heard = !lines.empty();
  verdict.documentDisplays = documentDisplays;
  // A pass ends with the summary line when it failed; a pass that succeeded ends the request and
  // has no summary line. The displays validated count in the last pass only.
  std::size_t inPass = 0;
  bool passHasLines = false;
  std::optional<std::size_t> lastFailedPass;
  for (const ToolLine& line : lines) {
    if (line.message == kRestoreSucceeded) {
      verdict.restore = RequestOutcome::Succeeded;
    } else if (line.message == kRestoreFailed) {
      verdict.restore = RequestOutcome::Failed;
    } else if (line.message == kValidated) {
      ++inPass;
      passHasLines = true;
    } else if (line.message == kRestorePassFailed) {
      lastFailedPass = inPass;
      inPass = 0;
      passHasLines = false;
    } else if (isRestoreDisplayLine(line.message)) {
      passHasLines = true;
    }
  }
  const bool lastPassIsOpen =
      passHasLines || !lastFailedPass || verdict.restore == RequestOutcome::Succeeded;
  verdict.validated = lastPassIsOpen ? inPass : *lastFailedPass;
  return verdict;
}

std::string describeRestore(const RestoreVerdict& verdict) {
  if (!verdict.heard) {
    return "restore UNCONFIRMED: no line of the tool reached the peer";
  }
  const std::string counted = countText(verdict.validated, verdict.documentDisplays);
  if (verdict.allValidated()) {
    return counted;
  }
  if (verdict.restore == RequestOutcome::NotReported) {
    return "restore FAILED, the tool reported no restore request, " + counted;
  }
  return "restore FAILED, " + counted;
}

std::string describeSave(const SaveVerdict& verdict) {
  if (!verdict.heard) {
    return "blank UNCONFIRMED: no line of the tool reached the peer";
  }
  std::string text;
  switch (verdict.blank) {
    case RequestOutcome::Succeeded:
      text = "blank succeeded";
      break;
    case RequestOutcome::Failed:
      text = "blank FAILED";
      break;
    case RequestOutcome::NotReported:
      text = "blank not reported by the tool";
      break;
  }
  if (!verdict.refusedDisplays.empty()) {
    text += ": the system refused the dark ramp for " + joined(verdict.refusedDisplays);
  }
  if (!verdict.displaysWithoutContext.empty()) {
    text += (verdict.refusedDisplays.empty() ? ": " : "; ") + std::string("no device context for ") +
            joined(verdict.displaysWithoutContext);
  }
  return text;
}

}  // namespace peer
