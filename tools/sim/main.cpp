// kestrine-sim: looks at and changes the simulated Windows machine.
//   kestrine-sim reset [area options]     a fresh default machine
//   kestrine-sim show [--json] [options]  what the machine holds
//   kestrine-sim <area> ...               commands of one area; alone, its part of show
#include <json/value.h>
#include <json/writer.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "platform/sim/core/machine.h"
#include "tools/sim/sim_area.h"

namespace {

using simtool::SimArea;
using simtool::UsageError;

std::string usageText(const std::vector<std::unique_ptr<SimArea>>& areas) {
  std::string text =
      "usage: kestrine-sim reset [options]\n"
      "       kestrine-sim show [--json] [options]\n"
      "       kestrine-sim AREA                 that area's part of show\n";
  for (const auto& area : areas) {
    text += area->usage();
  }
  text += "The machine lives in $KESTRINE_SIM_ROOT (now " + sim::root().string() + ").\n";
  return text;
}

// Parses "--name value" pairs; every name must be one of `allowed` (plus the flags given).
std::map<std::string, std::string> parseOptions(const std::vector<std::string>& args,
                                                const std::vector<std::string>& allowed,
                                                const std::vector<std::string>& flags) {
  std::map<std::string, std::string> options;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& name = args[i];
    if (std::find(flags.begin(), flags.end(), name) != flags.end()) {
      options[name] = "";
      continue;
    }
    if (std::find(allowed.begin(), allowed.end(), name) == allowed.end()) {
      throw UsageError("unknown option: " + name);
    }
    if (i + 1 >= args.size()) {
      throw UsageError("option " + name + " needs a value");
    }
    options[name] = args[++i];
  }
  return options;
}

std::vector<std::string> collect(const std::vector<std::unique_ptr<SimArea>>& areas,
                                 std::vector<std::string> (SimArea::*list)() const) {
  std::vector<std::string> all;
  for (const auto& area : areas) {
    for (std::string& option : ((*area).*list)()) {
      all.push_back(std::move(option));
    }
  }
  return all;
}

std::map<std::string, std::string> only(const std::map<std::string, std::string>& options,
                                        const std::vector<std::string>& names) {
  std::map<std::string, std::string> picked;
  for (const std::string& name : names) {
    if (const auto it = options.find(name); it != options.end()) {
      picked.insert(*it);
    }
  }
  return picked;
}

int reset(const std::vector<std::unique_ptr<SimArea>>& areas, const std::vector<std::string>& args) {
  const auto options = parseOptions(args, collect(areas, &SimArea::resetOptions), {});
  for (const auto& area : areas) {
    area->checkResetOptions(only(options, area->resetOptions()));
  }
  sim::MachineLock lock;
  sim::resetMachine();
  for (const auto& area : areas) {
    area->reset(only(options, area->resetOptions()));
  }
  return 0;
}

int show(const std::vector<std::unique_ptr<SimArea>>& areas, const std::vector<std::string>& args) {
  const auto options = parseOptions(args, collect(areas, &SimArea::showOptions), {"--json"});
  if (options.count("--json")) {
    Json::Value root(Json::objectValue);
    root["root"] = sim::root().string();
    for (const auto& area : areas) {
      root[area->command()] = area->showJson();
    }
    std::cout << root.toStyledString();
    return 0;
  }
  std::cout << "Simulated machine at " << sim::root().string() << "\n";
  for (const auto& area : areas) {
    std::cout << "\n";
    area->show(std::cout, only(options, area->showOptions()));
  }
  return 0;
}

int dispatch(const std::vector<std::unique_ptr<SimArea>>& areas,
             const std::vector<std::string>& args) {
  if (args.empty() || args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    std::cout << usageText(areas);
    return args.empty() ? 2 : 0;
  }
  const std::vector<std::string> rest(args.begin() + 1, args.end());
  if (args[0] == "reset") {
    return reset(areas, rest);
  }
  if (args[0] == "show") {
    return show(areas, rest);
  }
  for (const auto& area : areas) {
    if (area->command() == args[0] && rest.empty()) {
      area->show(std::cout, {});
      return 0;
    }
    if (area->command() == args[0]) {
      return area->run(rest, std::cout);
    }
  }
  throw UsageError("unknown command: " + args[0]);
}

}  // namespace

int main(int argc, char** argv) {
  const auto areas = simtool::makeAreas();
  try {
    return dispatch(areas, std::vector<std::string>(argv + 1, argv + argc));
  } catch (const UsageError& e) {
    std::cerr << "kestrine-sim: " << e.what() << "\n" << usageText(areas);
    return 2;
  } catch (const std::exception& e) {
    std::cerr << "kestrine-sim: " << e.what() << "\n";
    return 1;
  }
}
