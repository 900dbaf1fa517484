// Entry point of the Kestrine tool: parses the command line, picks the logger, connects to the
// peer and runs one action.
#include <fmt/format.h>
#include <tclap/CmdLine.h>

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/actions.h"
#include "app/make_logger.h"
#include "app/pipe_client.h"
#include "common/version.h"
#include "logging/logger.h"
#include "logging/terminal_logger.h"

using velmo::logging::INFO;
using velmo::logging::kInheritCategory;
using velmo::logging::LoggerBase;
using velmo::logging::logAt;
using velmo::logging::logError;

int main(int argc, char** argv) {
  std::unique_ptr<LoggerBase> logger =
      std::make_unique<velmo::logging::TerminalLogger>(0, velmo::logging::TRACE);
  try {
    TCLAP::CmdLine cmd("Kestrine tool", ' ', velmo::kToolVersion, true);
    TCLAP::SwitchArg save("s", "save", "save display state", false);
    TCLAP::SwitchArg restore("r", "restore", "restore display state", false);
    TCLAP::ValueArg<std::string> logfile("l", "logfile", "Optional log file name", false, "",
                                         "string");
    cmd.add(logfile);
    std::vector<TCLAP::Arg*> actions{&save, &restore};
    cmd.xorAdd(actions);
    // TCLAP ends the process itself on a bad command line (1), --help and --version (0).
    cmd.parse(argc, argv);

    logger = velmo::makeLogger(logfile.getValue());

    // Connecting comes before the action: an action whose pipe cannot be opened touches no
    // display.
    velmo::KestrinePipeClient pipeClient(logger->createCategoryLogger(kInheritCategory));
    if (save.isSet()) {
      velmo::runSaveAction(*logger, pipeClient);
    } else if (restore.isSet()) {
      velmo::runRestoreAction(*logger, pipeClient);
    } else {
      throw std::logic_error("either --save or --restore must be specified");
    }
    logAt(*logger, INFO, logger->defaultResultCode, "Kestrine action successful, closing utility");
  } catch (const TCLAP::ArgException& e) {
    logError(*logger, 0, fmt::format("error: {} for arg {}", e.error(), e.argId()));
    logger.reset();
    return -1;
  } catch (const std::exception& e) {
    logError(*logger, 0, fmt::format("general error: {}", e.what()));
    logger.reset();
    return -1;
  }
  logger.reset();
  return 0;
}
