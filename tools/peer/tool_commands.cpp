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
#include "tools/peer/peer_error.h"
#include "tools/peer/pipe_server.h"
#include "tools/peer/run_output.h"
#include "tools/peer/store_steps.h"
#include "tools/peer/tool_output.h"
#include "tools/peer/tool_process.h"

namespace peer {
namespace {

constexpr int kTransferFailed = 2;
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
    throw PeerError("cannot end " + tool.commandLine());
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

}  // namespace

int runBlank(const PeerOptions& options) {
  LockedStore store(options);
  refuseIfHeld(store.history, options);
  try {
    store.history.probe(kLargestDocument);
  } catch (const PeerError& e) {
    throw PeerError(std::string(e.what()) + "; the tool was not started and no display was touched");
  }
  std::string document;
  const ToolRun run = runToolAgainstPipe(
      options, "--save", [&](PipeServer& server, Clock::time_point deadline) {
        Received received = server.receiveAll(deadline);
        document = std::move(received.document);
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
  const std::optional<DocumentRecord> kept = keepDocument(store.history, document, "blank");
  if (kept) {
    keepRunOutput(store.history, kept->id, "blank", run.output);
  }
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
  LockedStore store(options);
  const Serving serving = documentToServe(store.history, options);
  bool confirmed = false;
  const ToolRun run = runToolAgainstPipe(
      options, "--restore",
      [&](PipeServer& server, Clock::time_point) { confirmed = server.sendAll(serving.document); });
  keepRunOutput(store.history, serving.record.id, "unblank", run.output);
  if (run.status == 0 && confirmed && !run.problem) {
    reportServed(store.history, serving);
    return 0;
  }
  printStatus("the restore did not complete (tool status " + std::to_string(run.status) +
              (run.problem ? ", " + *run.problem : std::string()) + "); document #" +
              std::to_string(serving.record.id) + " stays " + stateName(serving.record.state));
  return run.status != 0 ? run.status : kTransferFailed;
}

}  // namespace peer
