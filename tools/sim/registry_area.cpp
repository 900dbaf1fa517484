// kestrine-sim's registry commands. Every argument is checked before the registry is changed;
// a change goes through the machine's registry file, so a running program that watches the key
// is told of it.
#include "tools/sim/registry_area.h"

#include <cstdint>
#include <iomanip>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "platform/registry.h"
#include "platform/sim/core/machine.h"
#include "platform/sim/registry/registry_store.h"
#include "platform/sim/core/utf.h"
#include "tools/sim/arguments.h"

namespace simtool {
namespace {

using sim::registry::Tree;
using sim::registry::Value;

// "SOFTWARE\Norvalis", "HKLM\SOFTWARE\Norvalis" or "HKEY_LOCAL_MACHINE\SOFTWARE\Norvalis" to
// the key's full path.
std::string keyPath(const std::string& given) {
  std::string relative = given;
  for (const std::string prefix : {"hklm\\", "hkey_local_machine\\"}) {
    if (sameText(given.substr(0, prefix.size()), prefix)) {
      relative = given.substr(prefix.size());
      break;
    }
  }
  if (relative.empty() || relative.front() == '\\' || relative.back() == '\\' ||
      relative.find("\\\\") != std::string::npos) {
    throw UsageError("bad key '" + given + "': give a path below HKEY_LOCAL_MACHINE such as " +
                     "SOFTWARE\\Norvalis\\VelmoAgent");
  }
  return std::string(sim::registry::kLocalMachine) + "\\" + relative;
}

std::string stringData(const std::string& text) {
  const std::vector<WCHAR> units =
      sim::utf8ToUtf16(reinterpret_cast<const unsigned char*>(text.data()), text.size());
  std::string bytes;
  for (const WCHAR unit : units) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes + std::string(2, '\0');
}

std::string dwordData(const std::string& text) {
  const unsigned long value = number(text, 0xFFFFFFFFul, "dword data");
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) {
    bytes += static_cast<char>((value >> shift) & 0xFF);
  }
  return bytes;
}

Value parseValue(const std::string& name, const std::string& type, const std::string& data) {
  if (type == "sz") {
    return Value{name, REG_SZ, stringData(data), {}};
  }
  if (type == "expand_sz") {
    return Value{name, REG_EXPAND_SZ, stringData(data), {}};
  }
  if (type == "dword") {
    return Value{name, REG_DWORD, dwordData(data), {}};
  }
  throw UsageError("unknown value type '" + type + "': use sz, expand_sz or dword");
}

std::string typeName(DWORD type) {
  switch (type) {
    case REG_SZ:
      return "REG_SZ";
    case REG_EXPAND_SZ:
      return "REG_EXPAND_SZ";
    case REG_DWORD:
      return "REG_DWORD";
    default:
      return "type " + std::to_string(type);
  }
}

// The text of a string value up to its terminator.
std::optional<std::string> stringText(const Value& value) {
  if ((value.type != REG_SZ && value.type != REG_EXPAND_SZ) || value.data.size() % 2 != 0) {
    return std::nullopt;
  }
  std::vector<WCHAR> units;
  for (std::size_t i = 0; i + 1 < value.data.size(); i += 2) {
    const auto unit = static_cast<WCHAR>(static_cast<unsigned char>(value.data[i]) |
                                         static_cast<unsigned char>(value.data[i + 1]) << 8);
    if (unit == 0) {
      break;
    }
    units.push_back(unit);
  }
  return sim::utf16ToUtf8(units.data(), units.size());
}

std::optional<std::uint32_t> dwordNumber(const Value& value) {
  if (value.type != REG_DWORD || value.data.size() != 4) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  for (int i = 3; i >= 0; --i) {
    number = number << 8 | static_cast<unsigned char>(value.data[static_cast<std::size_t>(i)]);
  }
  return number;
}

std::string hexBytes(const Value& value) {
  std::ostringstream hex;
  for (const unsigned char byte : value.data) {
    hex << std::hex << std::setw(2) << std::setfill('0') << static_cast<int>(byte);
  }
  return "hex:" + hex.str();
}

// The value as a person reads it: a quoted text, a number, else the bytes.
std::string readable(const Value& value) {
  if (const auto text = stringText(value)) {
    return "\"" + *text + "\"";
  }
  if (const auto number = dwordNumber(value)) {
    return std::to_string(*number);
  }
  return hexBytes(value);
}

// The same for scripts: a JSON string, a JSON number, else the bytes.
Json::Value jsonData(const Value& value) {
  if (const auto text = stringText(value)) {
    return *text;
  }
  if (const auto number = dwordNumber(value)) {
    return *number;
  }
  return hexBytes(value);
}

// `reg VERB values...` takes from `least` to `most` values.
void expectRegistryValues(const std::vector<std::string>& args, std::size_t least, std::size_t most) {
  expectValues("reg " + args[0], std::vector<std::string>(args.begin() + 1, args.end()), least,
               most);
}

// The usage lines of the area.
std::string registryUsage() {
  return "       kestrine-sim reg                          the registry's keys and values\n"
         "       kestrine-sim reg set KEY NAME sz|expand_sz|dword DATA\n"
         "                                                 KEY below HKLM, made if missing\n"
         "       kestrine-sim reg delete KEY [NAME]        the value NAME, or the key and\n"
         "                                                 everything below it\n";
}

class RegistryArea : public SimArea {
 public:
  RegistryArea() : SimArea("reg", registryUsage()) {}

  int run(const std::vector<std::string>& args, std::ostream& /*out*/) override {
    if (args[0] == "set") {
      expectRegistryValues(args, 4, 4);
      set(keyPath(args[1]), parseValue(args[2], args[3], args[4]));
      return 0;
    }
    if (args[0] == "delete") {
      expectRegistryValues(args, 1, 2);
      const std::string path = keyPath(args[1]);
      if (args.size() == 3) {
        deleteValue(path, args[2]);
      } else {
        deleteKey(path);
      }
      return 0;
    }
    throw UsageError("unknown reg command: " + args[0]);
  }

  void show(std::ostream& out, const std::map<std::string, std::string>& options) override {
    (void)options;
    out << "Registry\n";
    bool any = false;
    const Tree tree = Tree::load(sim::machineDir());
    for (const sim::registry::Key* key : tree.keys()) {
      if (key->path.find('\\') == std::string::npos) {
        continue;  // the root keys are always there
      }
      any = true;
      out << key->path << "\n";
      for (const Value& value : key->values) {
        out << "  " << (value.name.empty() ? "(default)" : value.name) << "  ";
        if (!value.damage.empty()) {
          out << "DAMAGED RECORD (its queries fail; reset repairs): " << value.damage << "\n";
          continue;
        }
        out << typeName(value.type) << "  " << readable(value) << "  (" << value.data.size()
            << " bytes)\n";
      }
    }
    if (!any) {
      out << "  no keys below the root keys\n";
    }
  }

  Json::Value showJson() override {
    Json::Value keys(Json::objectValue);
    const Tree tree = Tree::load(sim::machineDir());
    for (const sim::registry::Key* key : tree.keys()) {
      Json::Value values(Json::objectValue);
      for (const Value& value : key->values) {
        Json::Value shown(Json::objectValue);
        if (!value.damage.empty()) {
          shown["damaged"] = value.damage;
          values[value.name] = shown;
          continue;
        }
        shown["type"] = value.type;
        shown["size"] = static_cast<Json::UInt>(value.data.size());
        shown["data"] = jsonData(value);
        values[value.name] = shown;
      }
      keys[key->path] = values;
    }
    return keys;
  }

 private:
  static void set(const std::string& path, Value value) {
    sim::MachineLock lock;
    Tree tree = Tree::load(sim::machineDir());
    bool created = false;
    tree.create(path, created).setValue(std::move(value));
    tree.save();
  }

  static void deleteValue(const std::string& path, const std::string& name) {
    sim::MachineLock lock;
    Tree tree = Tree::load(sim::machineDir());
    sim::registry::Key* key = tree.find(path);
    if (key == nullptr) {
      throw std::runtime_error("no key " + path);
    }
    if (!key->removeValue(name)) {
      throw std::runtime_error("no value " + name + " in " + path);
    }
    tree.save();
  }

  static void deleteKey(const std::string& path) {
    sim::MachineLock lock;
    Tree tree = Tree::load(sim::machineDir());
    if (tree.find(path) == nullptr) {
      throw std::runtime_error("no key " + path);
    }
    tree.remove(path);
    tree.save();
  }
};

}  // namespace

std::unique_ptr<SimArea> makeRegistryArea() { return std::make_unique<RegistryArea>(); }

}  // namespace simtool
