// blank and unblank: one pipe instance, the tool as a child, one document, every wait bounded.
#include "tools/peer/tool_commands.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tools/peer/commands.h"
#include "tools/peer/console_guard.h"
#include "tools/peer/document_check.h"
#include "tools/peer/peer_error.h"
#include "tools/peer/pipe_server.h"
#include "tools/peer/relight.h"
#include "tools/peer/run_output.h"
#include "tools/peer/store_steps.h"
#include "tools/peer/tool_log.h"
#include "tools/peer/tool_output.h"
#include "tools/peer/tool_process.h"
#include "tools/peer/tool_verdict.h"

namespace peer {
namespace {

constexpr int kTransferFailed = 2;
// The tool ran, but not every display of the document came back validated.
constexpr int kRestoreFailed = 3;
// A little over the tool's own worst case: five attempts with a wait of 1 s each.
constexpr std::chrono::seconds kToolConnectTimeout{10};
// How long a terminated tool may take to be gone.
constexpr std::chrono::seconds kTerminationWait{5};

std::string secondsText(std::chrono::milliseconds duration) {
  char text[32];
  std::snprintf(text, sizeof text, "%g s", static_cast<double>(duration.count()) / 1000.0);
  return text;
}

struct ToolRun {
  int status = 0;
  std::optional<std::string> problem;  // what went wrong on the pipe or with a wait
  std::string output;  // the tool's standard output and error, as they came
};

// How long the tool's output may still come after the tool itself has ended.
constexpr std::chrono::seconds kOutputLinger{2};

int endTool(ToolProcess& tool) {
  tool.terminate();
  const std::optional<int> status = tool.waitFor(kTerminationWait);
  if (!status) {
    throw PeerError("cannot end " + tool.commandLine() + ": it was still running " +
                    secondsText(kTerminationWait) + " after it was terminated");
  }
  return *status;
}

// Waits for a client that is the tool or runs inside its job; any other client is disconnected
// unread and unserved, and said so. False when none came in time or the tool ended first.
bool waitForOwnTool(PipeServer& server, ToolProcess& tool, Clock::time_point deadline,
                    const std::function<bool()>& toolCannotCome) {
  for (bool connected = server.waitForClient(deadline, toolCannotCome); connected;
       connected = server.refuseAndWaitForNext(deadline, toolCannotCome)) {
    const std::optional<DWORD> client = server.clientProcessId();
    if (client && tool.isToolOrInItsJob(*client)) {
      printStatus("the tool connected (process " + std::to_string(*client) + ")");
      return true;
    }
    printStatus("refused a client of " + server.fullName() + " (process " +
                (client ? std::to_string(*client) : std::string("unknown")) +
                "): it is not the tool this peer started; it was disconnected unread, and the "
                "peer goes on waiting for its tool");
  }
  return false;
}

// Runs the tool with `action` against a fresh pipe instance, waits for it to connect, hands the
// server to `transfer` with the transfer's deadline and waits for the tool's end. A tool that
// does not connect in time, or whose transfer and end take longer than allowed, is ended. The
// tool runs in a job that ends it if the peer ends first, and its output comes through the peer.
template <class Transfer>
ToolRun runToolAgainstPipe(const PeerOptions& options, const std::string& action, Transfer transfer) {
  PipeServer server(options.pipeName, options.maxInstances);
  std::vector<std::string> arguments{action};
  arguments.insert(arguments.end(), options.toolArguments.begin(), options.toolArguments.end());
  // From here on, Ctrl+C and the closing of the console wait for the document to be safe.
  holdConsoleEvents();
  ToolOutput output(!options.quiet);
  ToolProcess tool(options.toolPath ? *options.toolPath : toolBesidePeer(), arguments,
                   output.childEnd());
  output.startDraining();
  printStatus("listening on " + server.fullName() + ", started " + tool.commandLine());

  ToolRun run;
  const auto collectOutput = [&] {
    tool.endJob();
    run.output = output.finish(kOutputLinger);
  };
  const std::chrono::milliseconds connectLimit = options.connectTimeout.value_or(kToolConnectTimeout);
  std::optional<int> endedEarly;
  const bool connected = waitForOwnTool(server, tool, Clock::now() + connectLimit, [&] {
    endedEarly = tool.waitFor(std::chrono::milliseconds(0));
    return endedEarly.has_value();
  });
  if (!connected) {
    if (endedEarly) {
      run.status = *endedEarly;
      run.problem = "the tool ended with status " + std::to_string(*endedEarly) +
                    " without connecting to " + server.fullName();
    } else {
      run.status = endTool(tool);
      run.problem = "the tool did not connect to " + server.fullName() + " within " +
                    secondsText(connectLimit) + " (--connect-timeout); it was ended";
    }
    collectOutput();
    return run;
  }

  // The watcher ends a tool that is still running when the transfer's time is up, which also
  // ends a transfer that waits on it.
  std::atomic<bool> endedByWatcher{false};
  std::thread watcher([&] {
    try {
      if (!tool.waitFor(options.transferTimeout)) {
        endedByWatcher = true;
        tool.terminate();
      }
    } catch (const std::exception&) {
      // The main thread's own wait below reports it.
    }
  });
  try {
    const Clock::time_point deadline = Clock::now() + options.transferTimeout;
    server.setWriteDeadline(deadline);
    transfer(server, deadline);
  } catch (const std::exception& e) {
    run.problem = e.what();
  }
  watcher.join();
  const std::optional<int> status = tool.waitFor(kTerminationWait);
  run.status = status ? *status : endTool(tool);
  if (endedByWatcher) {
    run.problem = "the transfer and the tool's end took longer than " +
                  secondsText(options.transferTimeout) + " (--transfer-timeout); the tool was ended" +
                  (run.problem ? " (" + *run.problem + ")" : "");
  }
  collectOutput();
  return run;
}

// The tool's lines of this run: its log file when it was given one, else what it printed.
std::vector<ToolLine> toolLinesOf(const ToolLogWatch& log, const ToolRun& run) {
  if (!log.watching()) {
    return readToolLines(run.output);
  }
  try {
    if (const std::optional<std::string> text = log.newText()) {
      return readToolLines(*text);
    }
    printStatus("the tool made no log file of this run, so its lines cannot be read");
  } catch (const std::exception& e) {
    printStatus(std::string("cannot read the tool's log file of this run: ") + e.what());
  }
  return {};
}

// After a save: the tool's verdict with what the document holds, printed and noted in the record.
void reportSave(DocumentHistory& history, const std::optional<DocumentRecord>& kept,
                const std::string& document, const SaveVerdict& verdict) {
  std::string text = describeSave(verdict);
  if (isCompleteDocument(document)) {
    const std::size_t displays = gammaDisplayCount(document);
    const std::size_t unsaved = unsavedDisplays(document).size();
    text += "; " + std::to_string(displays - unsaved) + " of " + std::to_string(displays) +
            " displays saved, " + std::to_string(unsaved) + " with no ramp";
  }
  printStatus("the tool's verdict: " + text);
  if (!verdict.refusedDisplays.empty()) {
    printStatus("the system refuses dark gamma ramps (GdiIcmGammaRange), so those displays stay "
                "lit. The fix, as administrator: reg add \"HKLM\\SOFTWARE\\Microsoft\\Windows "
                "NT\\CurrentVersion\\ICM\" /v GdiIcmGammaRange /t REG_DWORD /d 256 /f, then "
                "restart Windows. The document is kept all the same");
  }
  if (kept) {
    try {
      history.addNote(kept->id, "saved: " + text);
    } catch (const PeerError& e) {
      printStatus("cannot note the verdict in #" + std::to_string(kept->id) + " (" + e.what() + ")");
    }
  }
}

// One restore run: the document served to `kestrine --restore` and the verdict on it.
struct RestoreRun {
  ToolRun run;
  bool confirmed = false;  // the tool read the whole document
  RestoreVerdict verdict;
};

RestoreRun restoreWith(const PeerOptions& options, const std::string& document) {
  const ToolLogWatch log(options.toolLogFile);
  RestoreRun restore;
  restore.run = runToolAgainstPipe(options, "--restore", [&](PipeServer& server, Clock::time_point) {
    restore.confirmed = server.sendAll(document);
  });
  if (restore.confirmed) {
    restore.verdict = judgeRestore(toolLinesOf(log, restore.run), gammaDisplayCount(document));
  }
  return restore;
}

// 0 only when every display of the document was restored and validated.
int restoreStatus(const RestoreRun& restore) {
  if (restore.run.status != 0) {
    return restore.run.status;
  }
  if (!restore.confirmed || restore.run.problem) {
    return kTransferFailed;
  }
  return restore.verdict.allValidated() ? 0 : kRestoreFailed;
}

std::string incompleteText(const RestoreRun& restore) {
  return "the restore did not complete (tool status " + std::to_string(restore.run.status) +
         (restore.run.problem ? ", " + *restore.run.problem : std::string()) + ")";
}

int runRelight(const PeerOptions& options) {
  const std::string document = relightDocument();
  printStatus("relight: every one of the " + std::to_string(gammaDisplayCount(document)) +
              " displays the machine lists gets the linear ramp");
  const RestoreRun restore = restoreWith(options, document);
  if (!restore.confirmed) {
    printStatus(incompleteText(restore) + "; no display was relit");
    return restoreStatus(restore);
  }
  const int status = restoreStatus(restore);
  printStatus("the tool's verdict: " + describeRestore(restore.verdict));
  printStatus(status == 0 ? "every display is lit again with the linear ramp: lit, NOT as it was "
                            "before the blank (its own ramp is only in a document, and none could "
                            "help)"
                          : "relight FAILED: a display may still be dark; the tool's log tells what failed");
  return status;
}

}  // namespace

int runBlank(const PeerOptions& options) {
  LockedStore store(options);
  refuseIfHeld(store.history, options);
  try {
    store.history.probe(kLargestDocument);
  } catch (const PeerError& e) {
    throw PeerError(std::string(e.what()) + "; the tool was not started and no display was touched");
  }
  const ToolLogWatch log(options.toolLogFile);
  std::string document;
  std::optional<DocumentRecord> kept;
  // The document is stored the moment it has arrived, before anything is printed and before the
  // tool is waited for or ended: whatever fails after that finds it kept.
  const ToolRun run = runToolAgainstPipe(
      options, "--save", [&](PipeServer& server, Clock::time_point deadline) {
        Received received = server.receiveAll(deadline);
        document = std::move(received.document);
        if (!document.empty()) {
          kept = keepDocument(store.history, document, "blank");
        }
        if (received.failure) {
          throw PeerError(*received.failure);
        }
      });
  if (run.problem) {
    printStatus("the save went wrong: " + *run.problem);
  }
  if (document.empty()) {
    printStatus("the save delivered no document (tool status " + std::to_string(run.status) +
                "); the history was left as it was");
    return run.status != 0 ? run.status : kTransferFailed;
  }
  if (kept) {
    keepRunOutput(store.history, kept->id, "blank", run.output);
  }
  reportSave(store.history, kept, document, judgeSave(toolLinesOf(log, run)));
  if (run.status != 0 && kept && kept->state == RecordState::Held) {
    printStatus("the tool ended with status " + std::to_string(run.status) + " after it had sent "
                "the whole document; the document is held all the same");
  }
  if (!kept) {
    return kTransferFailed;
  }
  return run.status != 0 ? run.status : (kept->state == RecordState::Held ? 0 : kTransferFailed);
}

int runUnblank(const PeerOptions& options) {
  if (options.relight) {
    return runRelight(options);
  }
  LockedStore store(options);
  const Serving serving = documentToServe(store.history, options);
  const RestoreRun restore = restoreWith(options, serving.document);
  keepRunOutput(store.history, serving.record.id, "unblank", restore.run.output);
  if (!restore.confirmed) {
    printStatus(incompleteText(restore) + "; document #" + std::to_string(serving.record.id) +
                " stays " + stateName(serving.record.state));
    return restoreStatus(restore);
  }
  const std::string verdict = describeRestore(restore.verdict);
  const int status = restoreStatus(restore);
  if (status == 0) {
    reportServed(store.history, serving, "served: " + verdict);
  } else {
    if (restore.run.problem || restore.run.status != 0) {
      printStatus(incompleteText(restore));
    }
    reportNotRestored(store.history, serving, "served: " + verdict);
  }
  printStatus("the tool's verdict on document #" + std::to_string(serving.record.id) + ": " + verdict);
  return status;
}

}  // namespace peer
