// blank and unblank: one pipe instance, the tool as a child, one document.
#include "tools/peer/tool_commands.h"

#include <atomic>
#include <exception>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "common/text_conversion.h"
#include "platform/pipes_files.h"
#include "tools/peer/commands.h"
#include "tools/peer/document_store.h"
#include "tools/peer/peer_error.h"
#include "tools/peer/pipe_server.h"
#include "tools/peer/tool_process.h"

namespace peer {
namespace {

constexpr int kTransferFailed = 2;

// Runs the tool with `action` against a fresh pipe instance and hands the connected server to
// `transfer`. A tool that ends without connecting would leave the server waiting for ever: once
// the tool has ended, a watcher connects and closes a client of its own, which the server then
// sees as a client that sent nothing. Gives the tool's exit status; `transferError` tells what
// went wrong on the pipe, if anything.
template <class Transfer>
int runToolAgainstPipe(const PeerOptions& options, const std::string& action, Transfer transfer,
                       std::optional<std::string>& transferError) {
  PipeServer server(options.pipeName, options.maxInstances);
  std::vector<std::string> arguments{action};
  arguments.insert(arguments.end(), options.toolArguments.begin(), options.toolArguments.end());
  ToolProcess tool(options.toolPath ? *options.toolPath : toolBesidePeer(), arguments);
  printStatus("listening on " + server.fullName() + ", started " + tool.commandLine());

  std::atomic<bool> connected{false};
  std::optional<int> status;
  std::thread watcher([&] {
    status = tool.wait();
    if (!connected.load()) {
      const platform::WideString name = velmo::utf8ToWide(server.fullName());
      const HANDLE client = platform::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                                  nullptr);
      if (client != INVALID_HANDLE_VALUE && client != nullptr) {
        platform::CloseHandle(client);
      }
    }
  });
  try {
    server.waitForClient();
    connected = true;
    transfer(server);
  } catch (const std::exception& e) {
    transferError = e.what();
  }
  connected = true;
  watcher.join();
  return *status;
}

}  // namespace

int runBlank(const PeerOptions& options) {
  DocumentStore store(options.storeDirectory);
  if (store.state() == DocumentStore::State::Held && !options.force) {
    throw PeerError("a document from an earlier blank is held in " + store.documentPath().u8string() +
                    " and no restore has used it yet: the displays may still be dark, and a new "
                    "save would record them dark. Run `kestrine-peer unblank` first, or give "
                    "--force to replace it");
  }
  std::string document;
  std::optional<std::string> transferError;
  const int status = runToolAgainstPipe(
      options, "--save", [&](PipeServer& server) { document = server.receiveAll(); },
      transferError);
  if (transferError) {
    printStatus("receiving failed: " + *transferError);
  }
  if (status != 0 || document.empty() || transferError) {
    printStatus("the save did not deliver a document (tool status " + std::to_string(status) +
                ", " + std::to_string(document.size()) + " bytes); the stored document was left " +
                "as it was");
    return status != 0 ? status : kTransferFailed;
  }
  store.store(document);
  printStatus("received " + std::to_string(document.size()) + " bytes, held in " +
              store.documentPath().u8string() + " until a restore has used it");
  return status;
}

int runUnblank(const PeerOptions& options) {
  DocumentStore store(options.storeDirectory);
  const std::optional<std::string> document = store.load();
  if (!document) {
    throw PeerError("no document is held in " + store.documentPath().u8string() +
                    ": there is nothing to restore (run `kestrine-peer blank` first)");
  }
  bool confirmed = false;
  std::optional<std::string> transferError;
  const int status = runToolAgainstPipe(
      options, "--restore", [&](PipeServer& server) { confirmed = server.sendAll(*document); },
      transferError);
  if (transferError) {
    printStatus("sending failed: " + *transferError);
  }
  if (status == 0 && confirmed && !transferError) {
    store.markServed();
    printStatus("sent " + std::to_string(document->size()) + " bytes from " +
                store.documentPath().u8string() + "; the restore has used it");
    return status;
  }
  printStatus("the restore did not complete (tool status " + std::to_string(status) +
              "); the document stays held");
  return status != 0 ? status : kTransferFailed;
}

}  // namespace peer
