// Parsing of the peer's command line with TCLAP.
#include "tools/peer/peer_options.h"

#include <tclap/CmdLine.h>

#include "common/version.h"
#include "tools/peer/default_store.h"
#include "tools/peer/peer_error.h"

namespace peer {
namespace {

constexpr unsigned kMostInstances = 255;

std::optional<std::filesystem::path> optionalPath(const TCLAP::ValueArg<std::string>& arg) {
  if (!arg.isSet()) {
    return std::nullopt;
  }
  if (arg.getValue().empty()) {
    throw UsageError("--" + arg.getName() + " needs a file name");
  }
  return std::filesystem::u8path(arg.getValue());
}

}  // namespace

PeerOptions parsePeerOptions(int argc, const char* const* argv,
                             const std::vector<std::string>& commands) {
  TCLAP::CmdLine cmd("Reference peer of the Kestrine tool: holds the server end of its pipe and "
                     "keeps the display state document between a save and a restore",
                     ' ', velmo::kProductVersion);
  std::vector<std::string> allowed = commands;
  TCLAP::ValuesConstraint<std::string> commandWords(allowed);
  TCLAP::UnlabeledValueArg<std::string> command("command", "what to do", true, "", &commandWords);
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
                                       "--logfile FILE", false, "", "FILE");
  TCLAP::MultiArg<std::string> toolArg("", "tool-arg", "blank/unblank: one more argument for the "
                                       "tool (repeatable)", false, "ARG");
  TCLAP::SwitchArg force("", "force", "blank: replace a held document that no restore has used "
                         "yet", false);
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
  options.force = force.getValue();
  return options;
}

}  // namespace peer
