// Sim only: the registry file, its change mark and the fingerprints that watchers compare.
#include "platform/sim/registry/registry_store.h"

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <sstream>
#include <stdexcept>

#include "platform/registry.h"
#include "platform/sim/core/machine.h"

namespace sim {
namespace registry {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRegistryFile = "registry.json";
constexpr const char* kChangeMarkFile = "registry.changed";
constexpr std::uint64_t kFirstKeyId = 16;

std::string toHex(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 0x0F];
  }
  return text;
}

std::string fromHex(const std::string& text) {
  if (text.size() % 2 != 0) {
    throw std::runtime_error("sim: bad value data in the registry file");
  }
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

// One stored value; a damaged one keeps its stored text and says what is wrong with it.
Value decodeValue(const Json::Value& stored) {
  Value value{stored["name"].isString() ? stored["name"].asString() : std::string(), 0, {}, {}};
  try {
    value.type = stored["type"].asUInt();
    value.data = fromHex(stored["data"].asString());
  } catch (const std::exception& e) {
    value.data = stored["data"].isString() ? stored["data"].asString() : std::string();
    value.damage = std::string("sim: damaged registry value: ") + e.what();
  }
  return value;
}

bool isBelow(const std::string& foldedPath, const std::string& foldedParent) {
  return foldedPath.size() > foldedParent.size() + 1 &&
         foldedPath.compare(0, foldedParent.size(), foldedParent) == 0 &&
         foldedPath[foldedParent.size()] == '\\';
}

bool isChild(const std::string& foldedPath, const std::string& foldedParent) {
  return isBelow(foldedPath, foldedParent) &&
         foldedPath.find('\\', foldedParent.size() + 1) == std::string::npos;
}

std::string parentOf(const std::string& path) {
  const auto slash = path.rfind('\\');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

// A mark that differs from every earlier one, even after the machine was reset.
std::string newChangeMark() {
  static std::atomic<std::uint64_t> counter{0};
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::to_string(::getpid()) + "-" + std::to_string(counter.fetch_add(1)) + "-" +
         std::to_string(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

}  // namespace

std::string fold(const std::string& text) {
  std::string folded = text;
  std::transform(folded.begin(), folded.end(), folded.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return folded;
}

const Value* Key::findValue(const std::string& name) const {
  const std::string folded = fold(name);
  for (const Value& value : values) {
    if (fold(value.name) == folded) {
      return &value;
    }
  }
  return nullptr;
}

void Key::setValue(Value value) {
  const std::string folded = fold(value.name);
  for (Value& existing : values) {
    if (fold(existing.name) == folded) {
      existing.type = value.type;
      existing.data = std::move(value.data);
      existing.damage = std::move(value.damage);
      return;
    }
  }
  values.push_back(std::move(value));
}

bool Key::removeValue(const std::string& name) {
  const std::string folded = fold(name);
  const auto it = std::find_if(values.begin(), values.end(),
                               [&](const Value& value) { return fold(value.name) == folded; });
  if (it == values.end()) {
    return false;
  }
  values.erase(it);
  return true;
}

Tree::Tree() : nextId(kFirstKeyId) {
  byFoldedPath[fold(kLocalMachine)] = Key{kLocalMachineId, kLocalMachine, {}};
  byFoldedPath[fold(kCurrentUser)] = Key{kCurrentUserId, kCurrentUser, {}};
}

Tree Tree::load(const fs::path& machineDirectory) {
  Tree tree;
  const std::string text = readWholeFile(machineDirectory / kRegistryFile).value_or(std::string());
  if (text.empty()) {
    return tree;
  }
  Json::Value document;
  if (!Json::Reader().parse(text, document) || !document.isObject()) {
    throw std::runtime_error("sim: the registry file is not valid JSON");
  }
  tree.nextId = std::max<std::uint64_t>(document["nextKeyId"].asUInt64(), kFirstKeyId);
  for (const Json::Value& stored : document["keys"]) {
    Key key{stored["id"].asUInt64(), stored["path"].asString(), {}};
    for (const Json::Value& value : stored["values"]) {
      key.values.push_back(decodeValue(value));
    }
    tree.byFoldedPath[fold(key.path)] = std::move(key);
  }
  return tree;
}

void Tree::save() const {
  Json::Value document(Json::objectValue);
  document["nextKeyId"] = Json::UInt64(nextId);
  Json::Value keyList(Json::arrayValue);
  for (const auto& [folded, key] : byFoldedPath) {
    Json::Value stored(Json::objectValue);
    stored["id"] = Json::UInt64(key.id);
    stored["path"] = key.path;
    stored["values"] = Json::Value(Json::arrayValue);
    for (const Value& value : key.values) {
      Json::Value storedValue(Json::objectValue);
      storedValue["name"] = value.name;
      storedValue["type"] = value.type;
      storedValue["data"] = value.damage.empty() ? toHex(value.data) : value.data;
      stored["values"].append(storedValue);
    }
    keyList.append(stored);
  }
  document["keys"] = keyList;
  // The file first, then the mark: whoever sees the new mark reads at least this content.
  writeMachineFile(kRegistryFile, document.toStyledString());
  writeMachineFile(kChangeMarkFile, newChangeMark());
}

const Key* Tree::find(const std::string& path) const {
  const auto it = byFoldedPath.find(fold(path));
  return it == byFoldedPath.end() ? nullptr : &it->second;
}

Key* Tree::find(const std::string& path) {
  const auto it = byFoldedPath.find(fold(path));
  return it == byFoldedPath.end() ? nullptr : &it->second;
}

Key& Tree::create(const std::string& path, bool& created) {
  created = false;
  if (Key* existing = find(path)) {
    return *existing;
  }
  const std::string parent = parentOf(path);
  if (parent.empty()) {
    throw std::invalid_argument("sim: a registry key must stand below a root key: " + path);
  }
  bool parentCreated = false;
  create(parent, parentCreated);
  created = true;
  Key& key = byFoldedPath[fold(path)];
  key = Key{nextId++, path, {}};
  return key;
}

bool Tree::hasSubkeys(const std::string& path) const {
  const std::string folded = fold(path);
  return std::any_of(byFoldedPath.begin(), byFoldedPath.end(),
                     [&](const auto& entry) { return isBelow(entry.first, folded); });
}

void Tree::remove(const std::string& path) {
  const std::string folded = fold(path);
  for (auto it = byFoldedPath.begin(); it != byFoldedPath.end();) {
    it = it->first == folded || isBelow(it->first, folded) ? byFoldedPath.erase(it) : std::next(it);
  }
}

std::string Tree::fingerprint(const std::string& path, bool subtree, DWORD filter) const {
  const std::string folded = fold(path);
  const Key* watched = find(path);
  if (!watched) {
    return "gone";
  }
  std::ostringstream text;
  text << watched->id << '\n';
  for (const auto& [keyPath, key] : byFoldedPath) {
    const bool self = keyPath == folded;
    const bool inScope = self || (subtree && isBelow(keyPath, folded));
    if ((filter & REG_NOTIFY_CHANGE_NAME) &&
        (isChild(keyPath, folded) || (subtree && isBelow(keyPath, folded)))) {
      text << "key " << keyPath << ' ' << key.id << '\n';
    }
    if ((filter & REG_NOTIFY_CHANGE_LAST_SET) && inScope) {
      for (const Value& value : key.values) {
        text << "value " << keyPath << '\\' << fold(value.name) << ' ' << value.type << ' '
             << toHex(value.data) << '\n';
      }
    }
  }
  return text.str();
}

std::vector<const Key*> Tree::keys() const {
  std::vector<const Key*> all;
  for (const auto& entry : byFoldedPath) {
    all.push_back(&entry.second);
  }
  return all;
}

std::string readChangeMark(const fs::path& machineDirectory) {
  return readWholeFile(machineDirectory / kChangeMarkFile).value_or(std::string());
}

}  // namespace registry
}  // namespace sim
