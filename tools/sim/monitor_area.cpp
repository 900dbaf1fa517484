// kestrine-sim's monitor commands. Arguments are checked before the machine is read; what depends
// on the stored record (which physical monitor) is checked inside the change, which throws before
// anything is written.
#include "tools/sim/monitor_area.h"

#include <json/reader.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "platform/sim/monitors/display_monitors.h"
#include "platform/sim/displays/display_state.h"
#include "platform/sim/monitors/monitor_state.h"
#include "platform/sim/core/utf.h"
#include "tools/sim/arguments.h"
#include "tools/sim/damaged_listing.h"
#include "tools/sim/fault_verb.h"

namespace simtool {
namespace {

constexpr unsigned long kMaximumPhysicalMonitors = 8;
constexpr std::size_t kMaximumCapabilitiesBytes = 32767;

// `monitor NAME[:N]`: a display, and one of its physical monitors (1-based) when N is given.
struct Target {
  std::string display;
  std::size_t displayNumber = 0;  // 1-based place in the display list
  std::optional<std::size_t> physical;
};

// NAME is \\.\DISPLAY1, DISPLAY1 or 1, matched without regard to case.
Target parseTarget(const std::string& given) {
  const std::size_t colon = given.rfind(':');
  const std::string name = given.substr(0, colon);
  Target target;
  if (colon != std::string::npos) {
    const unsigned long physical = number(given.substr(colon + 1), kMaximumPhysicalMonitors, ":N");
    if (physical == 0) {
      throw UsageError("physical monitors are counted from 1: " + given);
    }
    target.physical = physical;
  }
  const DisplayName display = resolveDisplay(name);
  target.display = display.name;
  target.displayNumber = display.number;
  return target;
}

sim::SimPhysicalMonitor& physicalOf(const Target& target, sim::SimMonitor& monitor) {
  const std::size_t index = target.physical.value_or(1);
  if (index > monitor.physical.size()) {
    throw UsageError(target.display + " has " + std::to_string(monitor.physical.size()) +
                     " physical monitor(s), no " + std::to_string(index));
  }
  return monitor.physical[index - 1];
}

using Change = std::function<void(sim::SimMonitor&)>;

// A change of the target's physical monitor.
Change onPhysical(const Target& target, std::function<void(sim::SimPhysicalMonitor&)> edit) {
  return [target, edit](sim::SimMonitor& monitor) { edit(physicalOf(target, monitor)); };
}

Change countChange(const Target& target, const std::vector<std::string>& values) {
  expectValues("monitor count", values, 1, 1);
  if (target.physical) {
    throw UsageError("count belongs to the display: name it without :N");
  }
  const std::size_t count = number(values[0], kMaximumPhysicalMonitors, "count");
  return [target, count](sim::SimMonitor& monitor) {
    while (monitor.physical.size() > count) {
      monitor.physical.pop_back();
    }
    while (monitor.physical.size() < count) {
      sim::SimPhysicalMonitor added = sim::defaultPhysicalMonitor(target.displayNumber);
      added.description += "-" + std::to_string(monitor.physical.size() + 1);
      monitor.physical.push_back(added);
    }
  };
}

// The faults of the display or of its physical monitor, whichever the fault word belongs to.
sim::FaultSet& faultsFor(const Target& target, const std::string& word, sim::SimMonitor& monitor) {
  return sim::isDisplayMonitorFault(word) ? monitor.faults : physicalOf(target, monitor).faults;
}

// The display's faults and those of the target's physical monitor: what its calls meet.
sim::FaultSet targetFaults(const Target& target) {
  const std::optional<sim::SimMonitor> stored = sim::loadMonitor(target.display);
  if (!stored) {
    throw std::runtime_error("display " + target.display + " went away");
  }
  sim::SimMonitor monitor = *stored;
  sim::FaultSet faults = monitor.faults;
  if (target.physical || !monitor.physical.empty()) {
    const sim::FaultSet& physical = physicalOf(target, monitor).faults;
    faults.insert(physical.begin(), physical.end());
  }
  return faults;
}

Change faultChange(const Target& target, const FaultCommand& command) {
  if (command.action == FaultCommand::Action::ClearAll) {
    return [](sim::SimMonitor& monitor) {
      monitor.faults.clear();
      for (sim::SimPhysicalMonitor& physical : monitor.physical) {
        physical.faults.clear();
      }
    };
  }
  const std::string& word = command.fault.word;
  if (sim::isDisplayMonitorFault(word) && target.physical) {
    throw UsageError("the " + word + " fault belongs to the display: name it without :N");
  }
  return [target, command](sim::SimMonitor& monitor) {
    applyFaultCommand(command, faultsFor(target, command.fault.word, monitor));
  };
}

Change textChange(const Target& target, const std::string& verb,
                  const std::vector<std::string>& values) {
  expectValues(verb, values, 1, 1);
  const std::string text = values[0];
  if (verb == "caps") {
    if (text.size() > kMaximumCapabilitiesBytes) {
      throw UsageError("caps takes at most " + std::to_string(kMaximumCapabilitiesBytes) +
                       " bytes");
    }
    return onPhysical(target, [text](sim::SimPhysicalMonitor& m) { m.capabilities = text; });
  }
  const std::size_t units =
      sim::utf8ToUtf16(reinterpret_cast<const unsigned char*>(text.data()), text.size()).size();
  if (units > sim::kMaximumDescriptionUnits) {
    throw UsageError("description takes at most " +
                     std::to_string(sim::kMaximumDescriptionUnits) + " UTF-16 units");
  }
  return onPhysical(target, [text](sim::SimPhysicalMonitor& m) { m.description = text; });
}

Change changeFor(const Target& target, const std::string& verb,
                 const std::vector<std::string>& values) {
  if (verb == "value" || verb == "maximum") {
    expectValues(verb, values, 1, 1);
    const auto value = static_cast<DWORD>(number(values[0], 0xFFFFFFFFul, verb));
    const bool current = verb == "value";
    return onPhysical(target, [value, current](sim::SimPhysicalMonitor& m) {
      (current ? m.powerMode : m.powerModeMaximum) = value;
    });
  }
  if (verb == "caps" || verb == "description") {
    return textChange(target, verb, values);
  }
  if (verb == "sticks") {
    expectValues(verb, values, 1, 1);
    if (values[0] != "yes" && values[0] != "no") {
      throw UsageError("sticks takes yes or no, not '" + values[0] + "'");
    }
    const bool sticks = values[0] == "yes";
    return onPhysical(target, [sticks](sim::SimPhysicalMonitor& m) { m.setSticks = sticks; });
  }
  if (verb == "count") {
    return countChange(target, values);
  }
  throw UsageError("unknown monitor command: " + verb);
}

bool isDisplayMonitor(const std::string& display) {
  const std::vector<sim::SimDisplay> displays = sim::loadDisplays();
  const auto stored = std::find_if(displays.begin(), displays.end(),
                                   [&display](const sim::SimDisplay& d) { return d.name == display; });
  return stored != displays.end() && sim::isDisplayMonitor(*stored);
}

// The usage lines of the area.
std::string monitorUsage() {
  return "       kestrine-sim monitor list                   each physical monitor with its D6 value\n"
         "       kestrine-sim monitor NAME[:N] value V       D6 (power mode) now: 1 on, 4 off\n"
         "       kestrine-sim monitor NAME[:N] maximum V     the maximum D6 value it reports\n"
         "       kestrine-sim monitor NAME[:N] caps TEXT     its MCCS capabilities string\n"
         "       kestrine-sim monitor NAME[:N] description TEXT\n"
         "       kestrine-sim monitor NAME[:N] sticks yes|no whether a written D6 value is taken\n"
         "       kestrine-sim monitor NAME count N           physical monitors behind the display (0 to 8)\n"
         + faultUsage("monitor NAME[:N]", sim::monitorFaultKinds()) +
         "         NAME is a display (\\\\.\\DISPLAY1, DISPLAY1 or 1); N picks its physical\n"
         "         monitor, from 1 (default 1). count and list are the display's own faults.\n"
         "         A fault's CODE is the call's last error (default 0xC0262582).\n";
}

class MonitorArea : public SimArea {
 public:
  MonitorArea() : SimArea("monitor", monitorUsage()) {}

  int run(const std::vector<std::string>& args, std::ostream& out) override {
    if (args.size() == 1 && args[0] == "list") {
      show(out, {});
      return 0;
    }
    if (args.size() < 2) {
      throw UsageError("monitor needs list, or a NAME and a command");
    }
    const Target target = parseTarget(args[0]);
    const std::vector<std::string> values(args.begin() + 2, args.end());
    Change change;
    if (args[1] == "fault") {
      const FaultCommand command = parseFaultCommand(sim::monitorFaultKinds(), values);
      if (command.action == FaultCommand::Action::List) {
        out << faultListText(sim::monitorFaultKinds(), targetFaults(target)) << "\n";
        return 0;
      }
      change = faultChange(target, command);
    } else {
      change = changeFor(target, args[1], values);
    }
    if (!sim::updateMonitor(target.display, change)) {
      throw std::runtime_error("display " + target.display + " went away");
    }
    return 0;
  }

  void show(std::ostream& out, const std::map<std::string, std::string>& options) override {
    (void)options;
    std::vector<sim::DamagedEntry> damaged;
    const std::vector<sim::SimMonitor> monitors = sim::loadMonitors(&damaged);
    out << "Monitors (DDC/CI): " << monitors.size() + damaged.size() << " display(s)\n";
    printDamaged(out, damaged);
    for (const sim::SimMonitor& monitor : monitors) {
      out << "  " << monitor.display << "  " << monitor.physical.size() << " physical"
          << (isDisplayMonitor(monitor.display) ? "" : ", not a display monitor now")
          << "  faults: " << faultListText(sim::monitorFaultKinds(), monitor.faults) << "\n";
      for (std::size_t i = 0; i < monitor.physical.size(); ++i) {
        const sim::SimPhysicalMonitor& p = monitor.physical[i];
        out << "    " << i + 1 << ": \"" << p.description << "\"  D6 " << p.powerMode
            << " (maximum " << p.powerModeMaximum << ")  sets "
            << (p.setSticks ? "stick" : "do not stick") << "  faults: " << faultListText(sim::monitorFaultKinds(), p.faults)
            << "\n       caps " << (p.capabilities.empty() ? "(empty)" : p.capabilities) << "\n";
      }
    }
  }

  Json::Value showJson() override {
    Json::Value list(Json::arrayValue);
    std::vector<sim::DamagedEntry> damaged;
    for (const sim::SimMonitor& monitor : sim::loadMonitors(&damaged)) {
      Json::Value entry;
      std::istringstream(sim::encodeMonitor(monitor)) >> entry;
      entry["display"] = monitor.display;
      entry["displayMonitor"] = isDisplayMonitor(monitor.display);
      list.append(entry);
    }
    appendDamaged(list, damaged, "display");
    return list;
  }
};

}  // namespace

std::unique_ptr<SimArea> makeMonitorArea() { return std::make_unique<MonitorArea>(); }

}  // namespace simtool
