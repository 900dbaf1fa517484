// The receive and send commands.
#include "tools/peer/transfer_commands.h"

#include <chrono>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>

#include "tools/peer/commands.h"
#include "tools/peer/console_guard.h"
#include "tools/peer/document_check.h"
#include "tools/peer/file_io.h"
#include "tools/peer/peer_error.h"
#include "tools/peer/pipe_server.h"
#include "tools/peer/store_steps.h"

namespace peer {
namespace {

constexpr int kTransferFailed = 2;
// Someone is to start the tool by hand: give them time.
constexpr std::chrono::seconds kManualConnectTimeout{300};

std::string bytes(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

// Serves one client: creates the instance, says so, and waits for the client within the limit.
void openAndWait(PipeServer& server, const PeerOptions& options) {
  printStatus("listening on " + server.fullName());
  const auto limit = options.connectTimeout.value_or(kManualConnectTimeout);
  if (!server.waitForClient(Clock::now() + limit, [] { return false; })) {
    throw PeerError("no client connected to " + server.fullName() + " within " +
                    std::to_string(limit.count() / 1000) + " s (--connect-timeout)");
  }
  // No tool of its own to check the client against: say who it is, and keep the document safe
  // from Ctrl+C from here on.
  const std::optional<DWORD> client = server.clientProcessId();
  printStatus("a client connected (process " + (client ? std::to_string(*client) : std::string("unknown")) + ")");
  holdConsoleEvents();
  server.setWriteDeadline(Clock::now() + options.transferTimeout);
}

Received receiveFromClient(const PeerOptions& options) {
  PipeServer server(options.pipeName, options.maxInstances);
  openAndWait(server, options);
  return server.receiveAll(Clock::now() + options.transferTimeout);
}

// receive --out: the document goes to `out`. When that file cannot be written, or the transfer
// reports a failure after bytes arrived, the document is kept as blank keeps one as well: in the
// store, else beside it, else printed.
int receiveToFile(const PeerOptions& options, const std::filesystem::path& out) {
  const Received received = receiveFromClient(options);
  std::optional<std::string> unwritten;
  if (!received.document.empty()) {
    try {
      writeFileDurably(out, received.document);
    } catch (const std::exception& e) {
      unwritten = e.what();
    }
  }
  if (received.document.empty()) {
    throw PeerError("the client sent no document" +
                    (received.failure ? " (" + *received.failure + ")" : std::string()) +
                    "; " + out.u8string() + " was left as it was");
  }
  if (!unwritten && !received.failure) {
    printStatus("received " + bytes(received.document.size()) + ", stored in " + out.u8string());
    return 0;
  }
  const std::optional<DocumentRecord> kept = keepDocument(options, received.document, "receive");
  if (unwritten) {
    printStatus("cannot write " + out.u8string() + ": " + *unwritten);
  } else {
    printStatus("received " + bytes(received.document.size()) + ", stored in " + out.u8string());
  }
  if (received.failure) {
    printStatus("receiving went wrong: " + *received.failure);
  }
  if (kept) {
    printStatus("the document is kept as #" + std::to_string(kept->id) + " in the store as well");
  }
  return kTransferFailed;
}

// send --in: refuses a file the tool could not read, unless --force.
int sendFile(const PeerOptions& options, const std::filesystem::path& in) {
  const std::optional<std::string> document = readWholeFile(in);
  if (!document) {
    throw PeerError("no document to send: " + in.u8string() + " does not exist");
  }
  if (const std::optional<std::string> problem = unreadableReason(*document)) {
    if (!options.force) {
      throw PeerError("not sending " + in.u8string() + ", which the tool could not read: " +
                      *problem + " (--force sends it all the same)");
    }
    printStatus("sending " + in.u8string() + " although the tool cannot read it: " + *problem);
  }
  PipeServer server(options.pipeName, options.maxInstances);
  openAndWait(server, options);
  const bool confirmed = server.sendAll(*document);
  printStatus("sent " + bytes(document->size()) + " from " + in.u8string() +
              (confirmed ? "" : " (the client closed before reading all of it)"));
  return 0;
}

}  // namespace

int runReceive(const PeerOptions& options) {
  if (options.inFile || options.fromRecord) {
    throw UsageError("--in and --from belong to send");
  }
  if (options.outFile) {
    return receiveToFile(options, *options.outFile);
  }
  LockedStore store(options);
  refuseIfHeld(store.history, options);
  store.history.probe(kLargestDocument);
  const Received received = receiveFromClient(options);
  const std::optional<DocumentRecord> kept =
      received.document.empty() ? std::nullopt
                                : keepDocument(store.history, received.document, "receive");
  if (received.failure) {
    printStatus("receiving went wrong: " + *received.failure);
  }
  if (received.document.empty()) {
    throw PeerError("the client sent no document; the history was left as it was");
  }
  return kept && kept->state == RecordState::Held && !received.failure ? 0 : kTransferFailed;
}

int runSend(const PeerOptions& options) {
  if (options.outFile) {
    throw UsageError("--out belongs to receive");
  }
  if (options.inFile) {
    return sendFile(options, *options.inFile);
  }
  LockedStore store(options);
  const Serving serving = documentToServe(store.history, options);
  PipeServer server(options.pipeName, options.maxInstances);
  openAndWait(server, options);
  if (server.sendAll(serving.document)) {
    reportServed(store.history, serving, "served by send: no verdict, the peer did not start the tool");
  } else {
    printStatus("the client closed before reading all of document #" +
                std::to_string(serving.record.id) + "; it stays " + stateName(serving.record.state));
  }
  return 0;
}

}  // namespace peer
