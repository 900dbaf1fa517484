// Parsing of the peer's command line with TCLAP.
#include "tools/peer/peer_options.h"

#include <tclap/CmdLine.h>

#include "common/version.h"
#include "tools/peer/default_store.h"
#include "tools/peer/peer_error.h"

namespace peer {
namespace {

constexpr unsigned kMostInstances = 255;
constexpr int kLongestWaitSeconds = 86400;

std::optional<std::filesystem::path> optionalPath(const TCLAP::ValueArg<std::string>& arg) {
  if (!arg.isSet()) {
    return std::nullopt;
  }
  if (arg.getValue().empty()) {
    throw UsageError("--" + arg.getName() + " needs a file name");
  }
  return std::filesystem::u8path(arg.getValue());
}

std::chrono::milliseconds seconds(const TCLAP::ValueArg<double>& arg) {
  if (!(arg.getValue() > 0) || arg.getValue() > kLongestWaitSeconds) {
    throw UsageError("--" + arg.getName() + " must be more than 0 and at most " +
                     std::to_string(kLongestWaitSeconds) + " seconds");
  }
  return std::chrono::milliseconds(static_cast<long long>(arg.getValue() * 1000));
}

// The value of the tool's --logfile (or -l) among its arguments, when it names a file: the tool
// logs to the console for an empty one.
std::optional<std::filesystem::path> toolLogFile(const std::vector<std::string>& arguments) {
  std::optional<std::string> value;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if ((argument == "--logfile" || argument == "-l") && i + 1 < arguments.size()) {
      value = arguments[++i];
    } else if (argument.rfind("--logfile=", 0) == 0) {
      value = argument.substr(sizeof "--logfile=" - 1);
    }
  }
  if (!value || value->empty()) {
    return std::nullopt;
  }
  return std::filesystem::u8path(*value);
}

}  // namespace

PeerOptions parsePeerOptions(int argc, const char* const* argv,
                             const std::vector<std::string>& commands) {
  TCLAP::CmdLine cmd("Reference peer of the Kestrine tool: holds the server end of its pipe and "
                     "keeps the display state document between a save and a restore. Exit "
                     "status: 0 done; 1 bad command line; 2 the transfer or the store failed; 3 "
                     "unblank: the tool ran but not every display of the document was restored "
                     "and validated (its log says which); blank and unblank give the tool's own "
                     "status when the tool failed",
                     ' ', velmo::kProductVersion);
  std::vector<std::string> allowed = commands;
  TCLAP::ValuesConstraint<std::string> commandWords(allowed);
  TCLAP::UnlabeledValueArg<std::string> command(
      "command",
      "blank: run `kestrine --save` and hold the document it sends; unblank: run `kestrine "
      "--restore` with the held document (or --from ID, or --relight) and report how many "
      "displays came back; history: list the kept documents, their "
      "IDs and states (held, served, superseded, damaged); receive/send: one transfer without "
      "starting the tool",
      true, "", &commandWords);
  TCLAP::ValueArg<std::string> pipe("", "pipe", "pipe name NAME of \\\\.\\pipe\\NAME", false,
                                    "KestrinePipe", "NAME");
  TCLAP::ValueArg<unsigned> instances("", "instances", "most instances of the pipe, 1 to 255 "
                                      "(255: unlimited)", false, 1, "N");
  TCLAP::ValueArg<std::string> store("", "store", "directory of the stored document", false, "",
                                     "DIR");
  TCLAP::ValueArg<std::string> out("", "out", "receive: write the document to FILE instead of "
                                   "the store", false, "", "FILE");
  TCLAP::ValueArg<std::string> in("", "in", "send: read the document from FILE instead of the "
                                  "store", false, "", "FILE");
  TCLAP::ValueArg<std::string> tool("", "tool", "blank/unblank: the Kestrine tool to start (default: "
                                    "kestrine beside the peer)", false, "", "PATH");
  TCLAP::ValueArg<std::string> logfile("", "logfile", "blank/unblank: passed on to the tool as "
                                       "--logfile FILE; the verdict is then read from the log "
                                       "file the run made", false, "", "FILE");
  TCLAP::MultiArg<std::string> toolArg("", "tool-arg", "blank/unblank: one more argument for the "
                                       "tool (repeatable)", false, "ARG");
  TCLAP::SwitchArg force("", "force", "blank/receive: store a new document although a held one has "
                         "not been used by a restore yet; the held one stays in the history as "
                         "superseded. send --in: send a file that the tool could not read (a "
                         "byte-order mark, UTF-16, a zero byte, too deep, over 1 MiB)", false);
  TCLAP::ValueArg<unsigned> from("", "from", "unblank/send: serve the document of history record "
                                 "ID instead of the held one (see `history`)", false, 0, "ID");
  TCLAP::SwitchArg linear("", "linear-for-unsaved", "unblank/send: serve a copy in which every "
                          "display the document holds no ramp for (initialGammasSaved false) gets "
                          "the linear ramp, so it comes back lit; the stored document stays as it "
                          "was", false);
  TCLAP::SwitchArg relight("", "relight", "unblank: serve no kept document but one in which every "
                           "display the machine lists gets the linear ramp, so that every display "
                           "comes back lit (not as it was) when no kept document can help", false);
  TCLAP::SwitchArg json("", "json", "history: print the records as JSON", false);
  TCLAP::ValueArg<unsigned> show("", "show", "history: print record ID's header and the output "
                                 "of the tool's run that it belongs to", false, 0, "ID");
  TCLAP::SwitchArg quiet("", "quiet", "blank/unblank: print only the peer's own lines, not the "
                         "tool's output (the history keeps it all the same)", false);
  TCLAP::ValueArg<unsigned> keep("", "keep", "how many documents the history keeps (default 20); "
                                 "a held one always stays", false, 20, "N");
  TCLAP::ValueArg<double> connectTimeout("", "connect-timeout", "longest wait for the client to "
                                         "connect, in seconds (default 10 for blank/unblank, a "
                                         "little over the tool's own 5 s of attempts; 300 for "
                                         "receive/send)", false, 0, "SECONDS");
  TCLAP::ValueArg<double> transferTimeout("", "transfer-timeout", "longest wait for the document "
                                          "to pass and then for the tool to end, in seconds "
                                          "(default 60); a tool still running then is ended",
                                          false, 60, "SECONDS");
  cmd.add(transferTimeout);
  cmd.add(connectTimeout);
  cmd.add(keep);
  cmd.add(json);
  cmd.add(relight);
  cmd.add(show);
  cmd.add(quiet);
  cmd.add(linear);
  cmd.add(from);
  cmd.add(force);
  cmd.add(toolArg);
  cmd.add(logfile);
  cmd.add(tool);
  cmd.add(in);
  cmd.add(out);
  cmd.add(store);
  cmd.add(instances);
  cmd.add(pipe);
  cmd.add(command);
  cmd.parse(argc, argv);

  PeerOptions options;
  options.command = command.getValue();
  options.pipeName = pipe.getValue();
  if (options.pipeName.empty() || options.pipeName.find('\\') != std::string::npos) {
    throw UsageError("--pipe needs a name without backslashes");
  }
  if (instances.getValue() < 1 || instances.getValue() > kMostInstances) {
    throw UsageError("--instances must be between 1 and 255");
  }
  options.maxInstances = instances.getValue();
  options.storeDirectory = store.getValue().empty() ? defaultStoreDirectory()
                                                    : std::filesystem::u8path(store.getValue());
  options.outFile = optionalPath(out);
  options.inFile = optionalPath(in);
  options.toolPath = optionalPath(tool);
  if (logfile.isSet()) {
    options.toolArguments = {"--logfile", logfile.getValue()};
  }
  for (const std::string& argument : toolArg.getValue()) {
    options.toolArguments.push_back(argument);
  }
  options.toolLogFile = toolLogFile(options.toolArguments);
  options.force = force.getValue();
  if (from.isSet()) {
    options.fromRecord = from.getValue();
  }
  options.linearForUnsaved = linear.getValue();
  options.relight = relight.getValue();
  if (options.relight && options.command != "unblank") {
    throw UsageError("--relight belongs to unblank");
  }
  if (options.relight && (options.fromRecord || options.linearForUnsaved)) {
    throw UsageError("--relight serves no kept document: it goes without --from and "
                     "--linear-for-unsaved");
  }
  options.json = json.getValue();
  if (show.isSet()) {
    options.showRecord = show.getValue();
  }
  options.quiet = quiet.getValue();
  if (keep.getValue() < 1) {
    throw UsageError("--keep must be at least 1");
  }
  options.keep = keep.getValue();
  if (connectTimeout.isSet()) {
    options.connectTimeout = seconds(connectTimeout);
  }
  options.transferTimeout = seconds(transferTimeout);
  return options;
}

}  // namespace peer
