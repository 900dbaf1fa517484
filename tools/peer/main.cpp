// kestrine-peer: the reference peer of the Kestrine tool.
//   kestrine-peer blank [--force]        run `kestrine --save` and hold the document it sends
//   kestrine-peer unblank [--from ID]    run `kestrine --restore` with the held (or that) document
//   kestrine-peer unblank --relight      ... with a document that gives every display the linear ramp
//   kestrine-peer history [--json]       the documents kept, with their IDs and states
//   kestrine-peer history --show ID      one record and the tool's output of its runs
//   kestrine-peer receive [--out FILE]   take one document from the tool and store it
//   kestrine-peer send [--in FILE]       hand the held document to the tool
// Common options: --pipe NAME (default KestrinePipe), --instances N, --store DIR, --keep N,
// --connect-timeout and --transfer-timeout; for blank and unblank --tool PATH, --logfile FILE and
// --tool-arg ARG (passed on to the tool), --quiet (the tool's output is kept, not shown).
// Exit status: 0 done, 1 bad command line, 2 the transfer or the store failed, 3 (unblank) the
// tool ran but not every display of the document came back validated; blank and unblank give the
// tool's own exit status when the tool failed.
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "tools/peer/commands.h"
#include "tools/peer/console_guard.h"
#include "tools/peer/peer_error.h"
#include "tools/peer/peer_options.h"

int main(int argc, char** argv) {
  try {
    const std::vector<peer::PeerCommand> commands = peer::peerCommands();
    std::vector<std::string> names;
    for (const peer::PeerCommand& command : commands) {
      names.push_back(command.name);
    }
    const peer::PeerOptions options = peer::parsePeerOptions(argc, argv, names);
    for (const peer::PeerCommand& command : commands) {
      if (command.name == options.command) {
        const int status = command.run(options);
        if (peer::releaseConsoleEvents()) {
          peer::printStatus("interrupted while a document was in flight: ended once it was safe");
        }
        return status;
      }
    }
    throw peer::UsageError("unknown command " + options.command);
  } catch (const peer::UsageError& e) {
    std::cerr << "kestrine-peer: " << e.what() << " (see kestrine-peer --help)" << std::endl;
    return 1;
  } catch (const std::exception& e) {
    peer::releaseConsoleEvents();
    std::cerr << "kestrine-peer: " << e.what() << std::endl;
    return 2;
  }
}
