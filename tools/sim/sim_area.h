// One area of the simulated machine as kestrine-sim shows and changes it (displays, registry,
// monitors, libraries). Each area lives in its own file and is listed in areas.cpp.
#pragma once

#include <json/value.h>

#include <map>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace simtool {

// A usage error: kestrine-sim prints the text and exits with status 2, changing nothing.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class SimArea {
 public:
  // `command` is the area's command word ("display", "reg", ...), `usage` its usage lines.
  SimArea(std::string command, std::string usage)
      : commandWord(std::move(command)), usageLines(std::move(usage)) {}
  virtual ~SimArea() = default;

  const std::string& command() const { return commandWord; }
  const std::string& usage() const { return usageLines; }

  // Runs `kestrine-sim <command> args...` (at least one; the command alone shows the area's
  // section). Gives the exit status; throws UsageError on bad input before anything is changed.
  virtual int run(const std::vector<std::string>& args, std::ostream& out) = 0;

  // Options of `reset` that this area takes (e.g. "--displays"), each with one value.
  virtual std::vector<std::string> resetOptions() const { return {}; }
  // Throws UsageError for a reset option value the area cannot take; runs before anything is
  // wiped, so that a bad reset changes nothing.
  virtual void checkResetOptions(const std::map<std::string, std::string>& options) const {
    (void)options;
  }
  // Called after the machine was wiped, with the options of resetOptions() that were given.
  virtual void reset(const std::map<std::string, std::string>& options) { (void)options; }

  // Options of `show` that this area takes (e.g. "--png"), each with one value.
  virtual std::vector<std::string> showOptions() const { return {}; }
  // The readable section of `show`, with the area's own show options that were given.
  virtual void show(std::ostream& out, const std::map<std::string, std::string>& options) = 0;
  // The area's part of `show --json`.
  virtual Json::Value showJson() = 0;

 private:
  std::string commandWord;
  std::string usageLines;
};

// Every area of the sim, in the order `show` lists them.
std::vector<std::unique_ptr<SimArea>> makeAreas();

}  // namespace simtool
