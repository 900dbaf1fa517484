// Only the storage of the simulated displays lives here. Layout under the machine directory:
//   displays/index        the display names in enumeration order, one per line
//   displays/<NAME>.txt   one record per display (NAME is the device name without "\\.\")
// A record is a few "key value" lines and one line per ramp channel, so that reading or writing
// one display touches about 5 KB and a person can read it.
#include "platform/sim/displays/display_state.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "platform/sim/core/machine.h"

namespace sim {
namespace {

constexpr const char* kIndexFile = "displays/index";
constexpr const char* kDevicePrefix = "\\\\.\\";
constexpr LONG kDefaultWidth = 1920;
constexpr LONG kDefaultHeight = 1080;
constexpr const char* kChannelNames[] = {"red", "green", "blue"};
constexpr std::size_t kChannelWords = 256;

std::string recordFile(const std::string& name) {
  std::string key = name.compare(0, 4, kDevicePrefix) == 0 ? name.substr(4) : name;
  for (char& c : key) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '_') {
      c = '_';
    }
  }
  return "displays/" + key + ".txt";
}

std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) {
      lines.push_back(line);
    }
  }
  return lines;
}

std::optional<std::vector<std::string>> readIndex() {
  const std::optional<std::string> text = readMachineFile(kIndexFile);
  if (!text) {
    return std::nullopt;
  }
  return splitLines(*text);
}

void writeIndex(const std::vector<SimDisplay>& displays) {
  std::string text;
  for (const SimDisplay& display : displays) {
    text += display.name + "\n";
  }
  writeMachineFile(kIndexFile, text);
}

// Creates the default displays when the machine has none yet. The caller holds the lock.
std::vector<std::string> ensureDisplaysUnderLock() {
  if (std::optional<std::vector<std::string>> names = readIndex()) {
    return *names;
  }
  replaceDisplaysUnderLock(defaultDisplays(kDefaultDisplayCount));
  return readIndex().value_or(std::vector<std::string>{});
}

[[noreturn]] void malformed(const std::string& what) {
  throw DamagedRecord("sim: malformed display record: " + what);
}

// The record of `name` read from `text`; a damaged one is named by its file.
SimDisplay decodeRecord(const std::string& name, const std::string& text) {
  try {
    return decodeDisplay(text);
  } catch (const DamagedRecord& e) {
    throw DamagedRecord(recordFile(name) + ": " + e.what());
  }
}

unsigned long parseNumber(const char*& cursor, const std::string& key) {
  char* end = nullptr;
  const unsigned long value = std::strtoul(cursor, &end, 10);
  if (end == cursor) {
    malformed("number expected after " + key);
  }
  cursor = end;
  return value;
}

void decodeChannel(const char* cursor, SimDisplay& display, std::size_t channel) {
  for (std::size_t i = 0; i < kChannelWords; ++i) {
    display.ramp[channel * kChannelWords + i] =
        static_cast<WORD>(parseNumber(cursor, kChannelNames[channel]));
  }
}

void decodeFault(const std::string& text, FaultSet& faults) {
  std::istringstream in(text);
  std::vector<std::string> words;
  for (std::string word; in >> word;) {
    words.push_back(word);
  }
  try {
    const Fault fault = parseFault(displayFaultKinds(), words);
    faults[fault.word] = fault.value;
  } catch (const std::invalid_argument& e) {
    malformed(e.what());
  }
}

void decodeField(const std::string& key, std::istringstream& in, SimDisplay& display) {
  if (key == "flags") {
    in >> display.stateFlags;
  } else if (key == "rect") {
    in >> display.rect.left >> display.rect.top >> display.rect.right >> display.rect.bottom;
  } else if (key == "reads") {
    in >> display.readCount;
  } else {
    malformed("unknown key " + key);
  }
}

int channelIndex(const std::string& key) {
  for (int channel = 0; channel < 3; ++channel) {
    if (key == kChannelNames[channel]) {
      return channel;
    }
  }
  return -1;
}

bool isListed(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

void encodeFaults(const FaultSet& faults, std::string& text) {
  for (const std::string& fault : describeFaults(displayFaultKinds(), faults)) {
    text += "fault " + fault + "\n";
  }
}

}  // namespace

RampWords identityRamp() {
  RampWords ramp{};
  for (std::size_t i = 0; i < kRampWords; ++i) {
    ramp[i] = static_cast<WORD>(257 * (i % kChannelWords));
  }
  return ramp;
}

std::vector<SimDisplay> defaultDisplays(std::size_t count) {
  std::vector<SimDisplay> displays(count);
  for (std::size_t i = 0; i < count; ++i) {
    SimDisplay& display = displays[i];
    display.name = std::string(kDevicePrefix) + "DISPLAY" + std::to_string(i + 1);
    display.stateFlags = i == 0 ? 0x5 : 0x1;  // attached to the desktop; the first is primary
    const LONG left = static_cast<LONG>(i) * kDefaultWidth;
    display.rect = RECT{left, 0, left + kDefaultWidth, kDefaultHeight};
    display.ramp = identityRamp();
  }
  return displays;
}

std::string encodeDisplay(const SimDisplay& display) {
  std::string text;
  text.reserve(6 * kRampWords + 256);
  text += "name " + display.name + "\n";
  text += "flags " + std::to_string(display.stateFlags) + "\n";
  text += "rect " + std::to_string(display.rect.left) + " " + std::to_string(display.rect.top) +
          " " + std::to_string(display.rect.right) + " " + std::to_string(display.rect.bottom) +
          "\n";
  text += "reads " + std::to_string(display.readCount) + "\n";
  encodeFaults(display.faults, text);
  for (std::size_t channel = 0; channel < 3; ++channel) {
    text += kChannelNames[channel];
    for (std::size_t i = 0; i < kChannelWords; ++i) {
      text += ' ';
      text += std::to_string(display.ramp[channel * kChannelWords + i]);
    }
    text += '\n';
  }
  return text;
}

SimDisplay decodeDisplay(const std::string& text) {
  SimDisplay display;
  for (const std::string& line : splitLines(text)) {
    const std::size_t space = line.find(' ');
    const std::string key = line.substr(0, space);
    const std::string rest = space == std::string::npos ? std::string() : line.substr(space + 1);
    if (key == "name") {
      display.name = rest;
    } else if (key == "fault") {
      decodeFault(rest, display.faults);
    } else if (const int channel = channelIndex(key); channel >= 0) {
      decodeChannel(rest.c_str(), display, static_cast<std::size_t>(channel));
    } else {
      std::istringstream in(rest);
      decodeField(key, in, display);
      if (in.fail()) {
        malformed("bad value for " + key);
      }
    }
  }
  if (display.name.empty()) {
    malformed("no name");
  }
  return display;
}

std::vector<std::string> displayNames() {
  if (std::optional<std::vector<std::string>> names = readIndex()) {
    return *names;
  }
  MachineLock lock;
  return ensureDisplaysUnderLock();
}

std::optional<SimDisplay> loadDisplay(const std::string& name) {
  if (!isListed(displayNames(), name)) {
    return std::nullopt;
  }
  const std::optional<std::string> text = readMachineFile(recordFile(name));
  if (!text) {
    return std::nullopt;  // removed by a concurrent reset
  }
  return decodeRecord(name, *text);
}

std::vector<SimDisplay> loadDisplays(std::vector<DamagedEntry>* damaged) {
  std::vector<SimDisplay> displays;
  for (const std::string& name : displayNames()) {
    try {
      if (std::optional<SimDisplay> display = loadDisplay(name)) {
        displays.push_back(std::move(*display));
      }
    } catch (const DamagedRecord& e) {
      if (damaged) {
        damaged->push_back({name, e.what()});
      }
    }
  }
  return displays;
}

bool updateDisplay(const std::string& name, const std::function<void(SimDisplay&)>& change) {
  MachineLock lock;
  const std::optional<std::string> text =
      isListed(ensureDisplaysUnderLock(), name) ? readMachineFile(recordFile(name)) : std::nullopt;
  if (!text) {
    return false;
  }
  SimDisplay display = decodeRecord(name, *text);
  change(display);
  // A repeated blank pass sets the ramp the display already holds: nothing to write then.
  const std::string changed = encodeDisplay(display);
  if (changed != *text) {
    writeMachineFile(recordFile(name), changed);
  }
  return true;
}

void replaceDisplays(const std::vector<SimDisplay>& displays) {
  MachineLock lock;
  replaceDisplaysUnderLock(displays);
}

void replaceDisplaysUnderLock(const std::vector<SimDisplay>& displays) {
  const std::vector<std::string> previous = readIndex().value_or(std::vector<std::string>{});
  for (const SimDisplay& display : displays) {
    writeMachineFile(recordFile(display.name), encodeDisplay(display));
  }
  writeIndex(displays);
  std::vector<std::string> kept;
  for (const SimDisplay& display : displays) {
    kept.push_back(recordFile(display.name));
  }
  for (const std::string& name : previous) {
    if (!isListed(kept, recordFile(name))) {
      removeMachineFile(recordFile(name));
    }
  }
}

}  // namespace sim
