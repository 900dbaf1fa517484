// The receive and send commands.
#include "tools/peer/transfer_commands.h"

#include <chrono>
#include <optional>
#include <string>

#include "tools/peer/commands.h"
#include "tools/peer/console_guard.h"
#include "tools/peer/file_io.h"
#include "tools/peer/peer_error.h"
#include "tools/peer/pipe_server.h"
#include "tools/peer/store_steps.h"

namespace peer {
namespace {

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

}  // namespace

int runReceive(const PeerOptions& options) {
  if (options.inFile || options.fromRecord) {
    throw UsageError("--in and --from belong to send");
  }
  if (options.outFile) {
    const Received received = receiveFromClient(options);
    if (received.failure) {
      throw PeerError(*received.failure);
    }
    writeFileDurably(*options.outFile, received.document);
    printStatus("received " + bytes(received.document.size()) + ", stored in " +
                options.outFile->u8string());
    return 0;
  }
  LockedStore store(options);
  refuseIfHeld(store.history, options);
  store.history.probe(kLargestDocument);
  const Received received = receiveFromClient(options);
  if (received.failure) {
    printStatus("receiving went wrong: " + *received.failure);
  }
  if (received.document.empty()) {
    throw PeerError("the client sent no document; the history was left as it was");
  }
  const std::optional<DocumentRecord> kept = keepDocument(store.history, received.document, "receive");
  return kept && kept->state == RecordState::Held && !received.failure ? 0 : 2;
}

int runSend(const PeerOptions& options) {
  if (options.outFile) {
    throw UsageError("--out belongs to receive");
  }
  if (options.inFile) {
    const std::optional<std::string> document = readWholeFile(*options.inFile);
    if (!document) {
      throw PeerError("no document to send: " + options.inFile->u8string() + " does not exist");
    }
    PipeServer server(options.pipeName, options.maxInstances);
    openAndWait(server, options);
    const bool confirmed = server.sendAll(*document);
    printStatus("sent " + bytes(document->size()) + " from " + options.inFile->u8string() +
                (confirmed ? "" : " (the client closed before reading all of it)"));
    return 0;
  }
  LockedStore store(options);
  const Serving serving = documentToServe(store.history, options);
  PipeServer server(options.pipeName, options.maxInstances);
  openAndWait(server, options);
  if (server.sendAll(serving.document)) {
    reportServed(store.history, serving);
  } else {
    printStatus("the client closed before reading all of document #" +
                std::to_string(serving.record.id) + "; it stays " + stateName(serving.record.state));
  }
  return 0;
}

}  // namespace peer
