// The receive and send commands.
#include "tools/peer/transfer_commands.h"

#include <optional>
#include <string>

#include "tools/peer/commands.h"
#include "tools/peer/document_store.h"
#include "tools/peer/file_io.h"
#include "tools/peer/peer_error.h"
#include "tools/peer/pipe_server.h"

namespace peer {
namespace {

std::string bytes(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

// Serves one client: creates the instance, says so, and waits for the client.
void openAndWait(PipeServer& server) {
  printStatus("listening on " + server.fullName());
  server.waitForClient();
}

}  // namespace

int runReceive(const PeerOptions& options) {
  if (options.inFile) {
    throw UsageError("--in belongs to send");
  }
  PipeServer server(options.pipeName, options.maxInstances);
  openAndWait(server);
  const std::string document = server.receiveAll();
  std::filesystem::path where;
  if (options.outFile) {
    writeFileDurably(*options.outFile, document);
    where = *options.outFile;
  } else {
    DocumentStore store(options.storeDirectory);
    store.store(document);
    where = store.documentPath();
  }
  printStatus("received " + bytes(document.size()) + ", stored in " + where.u8string());
  return 0;
}

int runSend(const PeerOptions& options) {
  if (options.outFile) {
    throw UsageError("--out belongs to receive");
  }
  DocumentStore store(options.storeDirectory);
  const std::filesystem::path source = options.inFile ? *options.inFile : store.documentPath();
  const std::optional<std::string> document = readWholeFile(source);
  if (!document) {
    throw PeerError("no document to send: " + source.u8string() + " does not exist");
  }
  PipeServer server(options.pipeName, options.maxInstances);
  openAndWait(server);
  const bool confirmed = server.sendAll(*document);
  if (confirmed && !options.inFile) {
    store.markServed();
  }
  printStatus("sent " + bytes(document->size()) + " from " + source.u8string() +
              (confirmed ? "" : " (the client closed before reading all of it)"));
  return 0;
}

}  // namespace peer
