// kestrine-sim's display commands. Every argument is checked before the machine is changed.
#include "tools/sim/display_area.h"

#include <json/reader.h>
#include <json/writer.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "blanking/gamma/gamma_ramp.h"
#include "platform/sim/displays/display_state.h"
#include "tools/sim/arguments.h"
#include "tools/sim/damaged_listing.h"
#include "tools/sim/display_picture.h"
#include "tools/sim/fault_verb.h"

namespace simtool {
namespace {

constexpr unsigned long kMaximumDisplays = 32;
constexpr const char* kChannels[] = {"red", "green", "blue"};

sim::RampWords toWords(const GammaRamp& ramp) {
  sim::RampWords words{};
  std::memcpy(words.data(), &ramp, sizeof ramp);
  return words;
}

sim::RampWords namedRamp(const std::string& name) {
  if (name == "identity") {
    return sim::identityRamp();
  }
  if (name == "linear") {
    GammaRamp ramp{};
    setLinearRamp(ramp);
    return toWords(ramp);
  }
  if (name == "zero") {
    return toWords(kBlankingRamp);
  }
  throw UsageError("unknown ramp '" + name + "': use identity, linear or zero");
}

Json::Value rampToJson(const sim::RampWords& ramp) {
  Json::Value value(Json::objectValue);
  for (std::size_t channel = 0; channel < 3; ++channel) {
    Json::Value& words = value[kChannels[channel]] = Json::Value(Json::arrayValue);
    for (std::size_t i = 0; i < 256; ++i) {
      words.append(Json::UInt(ramp[channel * 256 + i]));
    }
  }
  return value;
}

// {"red":[256 words],"green":[...],"blue":[...]}, every word an integer from 0 to 65535.
sim::RampWords rampFromFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw UsageError("cannot read ramp file " + path);
  }
  Json::Value root;
  std::string errors;
  if (!Json::parseFromStream(Json::CharReaderBuilder(), in, &root, &errors)) {
    throw UsageError("ramp file " + path + " is not JSON: " + errors);
  }
  if (!root.isObject()) {
    throw UsageError("ramp file " + path + " must hold an object with red, green and blue");
  }
  sim::RampWords ramp{};
  for (std::size_t channel = 0; channel < 3; ++channel) {
    const Json::Value& words = root[kChannels[channel]];
    if (!words.isArray() || words.size() != 256) {
      throw UsageError(std::string("ramp file: \"") + kChannels[channel] +
                       "\" must be an array of 256 words");
    }
    for (Json::ArrayIndex i = 0; i < 256; ++i) {
      if (!words[i].isUInt() || words[i].asUInt() > 65535) {
        throw UsageError(std::string("ramp file: \"") + kChannels[channel] + "\"[" +
                         std::to_string(i) + "] must be an integer from 0 to 65535");
      }
      ramp[channel * 256 + i] = static_cast<WORD>(words[i].asUInt());
    }
  }
  return ramp;
}

bool isDark(const sim::RampWords& ramp) {
  for (const WORD word : ramp) {
    if (word != 0) {
      return false;
    }
  }
  return true;
}

std::string describeFlags(DWORD flags) {
  static const std::pair<DWORD, const char*> kNames[] = {
      {0x1, "attached"}, {0x2, "multi-driver"}, {0x4, "primary"},
      {0x8, "mirroring driver"}, {0x10, "vga"}, {0x20, "removable"}};
  std::string text;
  for (const auto& [bit, name] : kNames) {
    if (flags & bit) {
      text += (text.empty() ? "" : ", ") + std::string(name);
    }
  }
  return text.empty() ? "none" : text;
}

// The usage lines of the area.
std::string displayUsage() {
  return "       kestrine-sim reset --displays N   N displays \\\\.\\DISPLAY1..N side by side (0 to 32)\n"
         "       kestrine-sim show --png FILE      also draw each display through its ramp\n"
         "       kestrine-sim display NAME ramp identity|linear|zero\n"
         "       kestrine-sim display NAME ramp-file FILE   {\"red\":[256 words],\"green\":[..],\"blue\":[..]}\n"
         "       kestrine-sim display NAME dump             that JSON of the display's ramp\n"
         "       kestrine-sim display NAME flags N          adapter flags: 1 attached, 4 primary, 8 mirroring\n"
         + faultUsage("display NAME", sim::displayFaultKinds()) +
         "         NAME is \\\\.\\DISPLAY1, DISPLAY1 or 1\n";
}

class DisplayArea : public SimArea {
 public:
  DisplayArea() : SimArea("display", displayUsage()) {}

  int run(const std::vector<std::string>& args, std::ostream& out) override {
    if (args.size() < 2) {
      throw UsageError("display needs a NAME and a command");
    }
    const std::string name = resolveDisplay(args[0]).name;
    const std::string& verb = args[1];
    const std::vector<std::string> rest(args.begin() + 2, args.end());
    if (verb == "dump") {
      expectValues(verb, rest, 0, 0);
      out << Json::writeString(compactWriter(), rampToJson(sim::loadDisplay(name)->ramp)) << "\n";
      return 0;
    }
    if (verb == "ramp" || verb == "ramp-file") {
      expectValues(verb, rest, 1, 1);
      const sim::RampWords ramp = verb == "ramp" ? namedRamp(rest[0]) : rampFromFile(rest[0]);
      return change(name, [&ramp](sim::SimDisplay& d) { d.ramp = ramp; });
    }
    if (verb == "flags") {
      expectValues(verb, rest, 1, 1);
      const auto flags = static_cast<DWORD>(number(rest[0], 0xFFFFFFFFul, "flags"));
      return change(name, [flags](sim::SimDisplay& d) { d.stateFlags = flags; });
    }
    if (verb == "fault") {
      const FaultCommand command = parseFaultCommand(sim::displayFaultKinds(), rest);
      if (command.action == FaultCommand::Action::List) {
        out << faultListText(sim::displayFaultKinds(), sim::loadDisplay(name).value().faults) << "\n";
        return 0;
      }
      return change(name, [&command](sim::SimDisplay& d) { applyFaultCommand(command, d.faults); });
    }
    throw UsageError("unknown display command: " + verb);
  }

  std::vector<std::string> resetOptions() const override { return {"--displays"}; }

  void checkResetOptions(const std::map<std::string, std::string>& options) const override {
    if (const auto it = options.find("--displays"); it != options.end()) {
      number(it->second, kMaximumDisplays, "--displays");
    }
  }

  void reset(const std::map<std::string, std::string>& options) override {
    const auto it = options.find("--displays");
    if (it != options.end()) {
      // kestrine-sim holds the machine lock around every area's reset.
      sim::replaceDisplaysUnderLock(
          sim::defaultDisplays(number(it->second, kMaximumDisplays, "--displays")));
    }
  }

  std::vector<std::string> showOptions() const override { return {"--png"}; }

  void show(std::ostream& out, const std::map<std::string, std::string>& options) override {
    std::vector<sim::DamagedEntry> damaged;
    const std::vector<sim::SimDisplay> displays = sim::loadDisplays(&damaged);
    out << "Displays: " << displays.size() + damaged.size() << "\n";
    printDamaged(out, damaged);
    for (const sim::SimDisplay& d : displays) {
      out << "  " << d.name << "  flags " << d.stateFlags << " (" << describeFlags(d.stateFlags)
          << ")  at " << d.rect.left << "," << d.rect.top << " " << d.rect.right - d.rect.left
          << "x" << d.rect.bottom - d.rect.top << "\n"
          << "      brightness R " << d.ramp[255] << " G " << d.ramp[511] << " B " << d.ramp[767]
          << "  dark " << (isDark(d.ramp) ? "yes" : "no") << "  faults: "
          << faultListText(sim::displayFaultKinds(), d.faults) << "\n";
    }
    if (const auto png = options.find("--png"); png != options.end()) {
      writeDisplayPicture(displays, png->second);
      out << "Picture written to " << png->second << "\n";
    }
  }

  Json::Value showJson() override {
    Json::Value list(Json::arrayValue);
    std::vector<sim::DamagedEntry> damaged;
    for (const sim::SimDisplay& d : sim::loadDisplays(&damaged)) {
      Json::Value entry;
      entry["name"] = d.name;
      entry["flags"] = Json::UInt(d.stateFlags);
      entry["rect"]["left"] = d.rect.left;
      entry["rect"]["top"] = d.rect.top;
      entry["rect"]["right"] = d.rect.right;
      entry["rect"]["bottom"] = d.rect.bottom;
      entry["brightness"]["red"] = Json::UInt(d.ramp[255]);
      entry["brightness"]["green"] = Json::UInt(d.ramp[511]);
      entry["brightness"]["blue"] = Json::UInt(d.ramp[767]);
      entry["dark"] = isDark(d.ramp);
      entry["faults"] = Json::Value(Json::arrayValue);
      for (const std::string& fault : sim::describeFaults(sim::displayFaultKinds(), d.faults)) {
        entry["faults"].append(fault);
      }
      list.append(entry);
    }
    appendDamaged(list, damaged, "name");
    return list;
  }

 private:
  static Json::StreamWriterBuilder compactWriter() {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return builder;
  }

  static int change(const std::string& name, const std::function<void(sim::SimDisplay&)>& edit) {
    if (!sim::updateDisplay(name, edit)) {
      throw std::runtime_error("display " + name + " went away");
    }
    return 0;
  }
};

}  // namespace

std::unique_ptr<SimArea> makeDisplayArea() { return std::make_unique<DisplayArea>(); }

}  // namespace simtool
