// Only the storage of the simulated DDC/CI monitors lives here. Layout under the machine directory:
//   monitors.json   {"<display name>": {"faults": {...}, "physical": [{...}, ...]}, ...}
// A display without an entry has the default machine's monitor; an entry is written the first
// time something of that display changes.
#include "platform/sim/monitors/monitor_state.h"

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <algorithm>
#include <stdexcept>

#include "platform/sim/displays/display_state.h"
#include "platform/sim/core/machine.h"

namespace sim {
namespace {

constexpr const char* kMonitorsFile = "monitors.json";

[[noreturn]] void malformed(const std::string& what) {
  throw DamagedRecord("sim: malformed monitor record: " + what);
}

DWORD code(const Json::Value& value, const std::string& key) {
  if (!value.isUInt()) {
    malformed(key + " must be an unsigned 32-bit number");
  }
  return value.asUInt();
}

Json::Value encodeFaults(const FaultSet& faults) {
  Json::Value value(Json::objectValue);
  for (const auto& [word, errorCode] : faults) {
    value[word] = Json::UInt(errorCode);
  }
  return value;
}

FaultSet decodeFaults(const Json::Value& value) {
  FaultSet faults;
  if (value.isNull()) {
    return faults;
  }
  if (!value.isObject()) {
    malformed("faults must be an object");
  }
  for (const std::string& word : value.getMemberNames()) {
    if (!findFaultKind(monitorFaultKinds(), word)) {
      malformed("unknown fault " + word);
    }
    faults[word] = code(value[word], word);
  }
  return faults;
}

Json::Value encodePhysical(const SimPhysicalMonitor& monitor) {
  Json::Value value(Json::objectValue);
  value["description"] = monitor.description;
  value["powerMode"] = Json::UInt(monitor.powerMode);
  value["powerModeMaximum"] = Json::UInt(monitor.powerModeMaximum);
  value["capabilities"] = monitor.capabilities;
  value["setSticks"] = monitor.setSticks;
  value["faults"] = encodeFaults(monitor.faults);
  return value;
}

SimPhysicalMonitor decodePhysical(const Json::Value& value) {
  if (!value.isObject() || !value["description"].isString() || !value["capabilities"].isString() ||
      !value["setSticks"].isBool()) {
    malformed("a physical monitor needs description, capabilities and setSticks");
  }
  SimPhysicalMonitor monitor;
  monitor.description = value["description"].asString();
  monitor.powerMode = code(value["powerMode"], "powerMode");
  monitor.powerModeMaximum = code(value["powerModeMaximum"], "powerModeMaximum");
  monitor.capabilities = value["capabilities"].asString();
  monitor.setSticks = value["setSticks"].asBool();
  monitor.faults = decodeFaults(value["faults"]);
  return monitor;
}

Json::Value monitorValue(const SimMonitor& monitor) {
  Json::Value value(Json::objectValue);
  value["faults"] = encodeFaults(monitor.faults);
  value["physical"] = Json::Value(Json::arrayValue);
  for (const SimPhysicalMonitor& physical : monitor.physical) {
    value["physical"].append(encodePhysical(physical));
  }
  return value;
}

SimMonitor decodeMonitor(const std::string& display, const Json::Value& value) {
  if (!value.isObject() || !value["physical"].isArray()) {
    malformed(display + " needs a list of physical monitors");
  }
  SimMonitor monitor;
  monitor.display = display;
  monitor.faults = decodeFaults(value["faults"]);
  for (const Json::Value& physical : value["physical"]) {
    monitor.physical.push_back(decodePhysical(physical));
  }
  return monitor;
}

Json::Value readStore() {
  const std::optional<std::string> text = readMachineFile(kMonitorsFile);
  Json::Value root(Json::objectValue);
  if (!text) {
    return root;
  }
  if (!Json::Reader().parse(*text, root, false) || !root.isObject()) {
    malformed(kMonitorsFile);
  }
  return root;
}

SimMonitor monitorOf(const Json::Value& store, const std::vector<std::string>& names,
                     std::size_t index) {
  const std::string& name = names[index];
  if (store.isMember(name)) {
    try {
      return decodeMonitor(name, store[name]);
    } catch (const DamagedRecord& e) {
      throw DamagedRecord(std::string(kMonitorsFile) + " entry " + name + ": " + e.what());
    }
  }
  SimMonitor monitor;
  monitor.display = name;
  monitor.physical.push_back(defaultPhysicalMonitor(index + 1));
  return monitor;
}

std::optional<std::size_t> indexOf(const std::vector<std::string>& names, const std::string& name) {
  const auto it = std::find(names.begin(), names.end(), name);
  if (it == names.end()) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(it - names.begin());
}

}  // namespace

const char* const kDefaultCapabilities =
    "(prot(monitor)type(lcd)model(kestrine)cmds(01 02 03 07 0C E3 F3)"
    "vcp(02 04 05 08 10 12 14(05 08 0B) 16 18 1A 60(0F 11) AC AE B2 B6 C6 C8 D6(01 04 05) DF)"
    "mccs_ver(2.1))";

const std::vector<FaultKind>& monitorFaultKinds() {
  static const std::vector<FaultKind> kinds{
      {"count", "CODE", 0xFFFFFFFFu, kDefaultMonitorFaultCode},
      {"list", "CODE", 0xFFFFFFFFu, kDefaultMonitorFaultCode},
      {"get", "CODE", 0xFFFFFFFFu, kDefaultMonitorFaultCode},
      {"set", "CODE", 0xFFFFFFFFu, kDefaultMonitorFaultCode},
      {"caps-length", "CODE", 0xFFFFFFFFu, kDefaultMonitorFaultCode},
      {"caps", "CODE", 0xFFFFFFFFu, kDefaultMonitorFaultCode},
  };
  return kinds;
}

bool isDisplayMonitorFault(const std::string& word) { return word == "count" || word == "list"; }

std::string encodeMonitor(const SimMonitor& monitor) {
  return Json::writeString(Json::StreamWriterBuilder(), monitorValue(monitor));
}

SimPhysicalMonitor defaultPhysicalMonitor(std::size_t number) {
  SimPhysicalMonitor monitor;
  monitor.description = "Simulated Monitor " + std::to_string(number);
  monitor.capabilities = kDefaultCapabilities;
  return monitor;
}

std::vector<SimMonitor> loadMonitors(std::vector<DamagedEntry>* damaged) {
  const std::vector<std::string> names = displayNames();
  std::vector<SimMonitor> monitors;
  for (std::size_t i = 0; i < names.size(); ++i) {
    try {
      monitors.push_back(*loadMonitor(names[i]));
    } catch (const DamagedRecord& e) {
      if (damaged) {
        damaged->push_back({names[i], e.what()});
      }
    }
  }
  return monitors;
}

std::optional<SimMonitor> loadMonitor(const std::string& display) {
  const std::vector<std::string> names = displayNames();
  const std::optional<std::size_t> index = indexOf(names, display);
  if (!index) {
    return std::nullopt;
  }
  return monitorOf(readStore(), names, *index);
}

bool updateMonitor(const std::string& display, const std::function<void(SimMonitor&)>& change) {
  // The display list is read before the lock is taken: making the default displays takes it too.
  const std::vector<std::string> names = displayNames();
  const std::optional<std::size_t> index = indexOf(names, display);
  if (!index) {
    return false;
  }
  MachineLock lock;
  Json::Value store = readStore();
  SimMonitor monitor = monitorOf(store, names, *index);
  change(monitor);
  store[display] = monitorValue(monitor);
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "  ";
  writeMachineFile(kMonitorsFile, Json::writeString(writer, store) + "\n");
  return true;
}

}  // namespace sim
