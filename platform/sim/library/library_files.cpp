// Storage of the simulated library files and their signature records; see library_files.h.
#include "platform/sim/library/library_files.h"

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "platform/sim/core/file_names.h"
#include "platform/sim/monitors/dxva2_exports.h"
#include "platform/sim/core/utf.h"

namespace sim {
namespace fs = std::filesystem;
namespace {

constexpr const char* kSystem32 = "System32";
constexpr const char* kFormatKey = "kestrineSimLibrary";
constexpr const char* kDxva2 = "dxva2.dll";

[[noreturn]] void malformed(const std::string& what) {
  throw std::runtime_error("sim: malformed library record: " + what);
}

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

DWORD parseCode(const Json::Value& value, const std::string& key) {
  if (value.isUInt()) {
    return value.asUInt();
  }
  const std::string text = value.asString();
  const std::optional<unsigned long> code = parseNumber(text, 0xFFFFFFFFul);
  if (!code) {
    malformed(key + " is not a 32-bit code: " + text);
  }
  return static_cast<DWORD>(*code);
}

std::string serialText(const std::vector<BYTE>& bytes) {
  std::string text;
  char pair[4];
  for (BYTE b : bytes) {
    std::snprintf(pair, sizeof pair, "%02X", static_cast<unsigned>(b));
    text += (text.empty() ? "" : " ") + std::string(pair);
  }
  return text;
}

std::vector<BYTE> parseSerial(const std::string& text) {
  std::vector<BYTE> bytes;
  std::istringstream in(text);
  for (std::string pair; in >> pair;) {
    char* end = nullptr;
    const unsigned long b = std::strtoul(pair.c_str(), &end, 16);
    if (pair.size() != 2 || *end != '\0' || b > 0xFF) {
      malformed("serialNumber holds " + pair);
    }
    bytes.push_back(static_cast<BYTE>(b));
  }
  return bytes;
}

Json::Value encodeLink(const SimLink& link) {
  Json::Value value(Json::objectValue);
  value["choice"] = link.choice;
  value["text"] = link.text;
  return value;
}

std::optional<SimLink> decodeLink(const Json::Value& value) {
  if (value.isNull()) {
    return std::nullopt;
  }
  return SimLink{value["choice"].asUInt(), value["text"].asString()};
}

Json::Value opusValue(const SimOpus& opus) {
  Json::Value value(Json::objectValue);
  if (opus.programName) {
    value["programName"] = *opus.programName;
  }
  if (opus.moreInfo) {
    value["moreInfo"] = encodeLink(*opus.moreInfo);
  }
  if (opus.publisherInfo) {
    value["publisherInfo"] = encodeLink(*opus.publisherInfo);
  }
  return value;
}

SimOpus opusFromValue(const Json::Value& value) {
  SimOpus opus;
  if (value.isMember("programName")) {
    opus.programName = value["programName"].asString();
  }
  opus.moreInfo = decodeLink(value["moreInfo"]);
  opus.publisherInfo = decodeLink(value["publisherInfo"]);
  return opus;
}

Json::Value encodeSigner(const SimSigner& signer) {
  Json::Value value(Json::objectValue);
  value["subject"] = signer.subject;
  value["issuer"] = signer.issuer;
  value["serialNumber"] = serialText(signer.serialNumber);
  if (signer.opus) {
    value["opus"] = opusValue(*signer.opus);
  }
  return value;
}

SimSigner decodeSigner(const Json::Value& value) {
  SimSigner signer;
  signer.subject = value["subject"].asString();
  signer.issuer = value["issuer"].asString();
  signer.serialNumber = parseSerial(value["serialNumber"].asString());
  if (const Json::Value& opus = value["opus"]; opus.isObject()) {
    signer.opus = opusFromValue(opus);
  }
  return signer;
}

// Parses a JSON object, or throws std::runtime_error.
Json::Value parseObject(const std::string& text, const std::string& what) {
  Json::Value root;
  Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string errors;
  if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors) || !root.isObject()) {
    malformed("not " + what);
  }
  return root;
}

std::string system32Relative(const std::string& name) { return std::string(kSystem32) + "/" + name; }

// The name a System32 library file has on disk, found without regard to case.
std::optional<std::string> system32FileName(const std::string& name, const MachineLock& held) {
  const std::optional<fs::path> file = findIgnoringCase(system32Dir(held), name);
  if (!file) {
    return std::nullopt;
  }
  return file->filename().string();
}

}  // namespace

std::string hexCode(DWORD value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(value));
  return text;
}

const std::vector<FaultKind>& libraryFaultKinds() {
  static const std::vector<FaultKind> kinds{{kUntrusted, "CODE", 0xFFFFFFFFu, std::nullopt}};
  return kinds;
}

FaultSet libraryFaults(const SimLibrary& library) {
  if (library.trustStatus == 0) {
    return {};
  }
  return {{kUntrusted, static_cast<DWORD>(library.trustStatus)}};
}

void setLibraryFaults(SimLibrary& library, const FaultSet& faults) {
  const DWORD status = faultValue(faults, kUntrusted).value_or(0);
  if (status == 0 || status != static_cast<DWORD>(library.trustStatus)) {
    library.trustStatus = static_cast<LONG>(status);
    library.trustLastError = status;
  }
}

SimLibrary defaultDxva2Library() {
  SimLibrary library;
  SimSigner signer;
  signer.subject = "Microsoft Windows";
  signer.issuer = "Microsoft Windows Production PCA 2011";
  signer.serialNumber = {0x33, 0x00, 0x00, 0x04, 0x61, 0x0B, 0xC9, 0x2A, 0x10, 0x33};
  signer.opus = SimOpus{std::string("Microsoft Windows"),
                        SimLink{1, "http://www.microsoft.com/windows"}, std::nullopt};
  library.signers.push_back(signer);
  library.exports = dxva2ExportNames();
  return library;
}

std::optional<SimLibrary> defaultLibrary(const std::string& name) {
  if (lowerCase(name) == kDxva2) {
    return defaultDxva2Library();
  }
  return std::nullopt;
}

std::string encodeLibrary(const SimLibrary& library) {
  Json::Value root(Json::objectValue);
  root[kFormatKey] = 1;
  root["trust"]["status"] = hexCode(static_cast<DWORD>(library.trustStatus));
  root["trust"]["lastError"] = hexCode(library.trustLastError);
  root["signers"] = Json::Value(Json::arrayValue);
  for (const SimSigner& signer : library.signers) {
    root["signers"].append(encodeSigner(signer));
  }
  root["exports"] = Json::Value(Json::arrayValue);
  for (const std::string& name : library.exports) {
    root["exports"].append(name);
  }
  return root.toStyledString();
}

std::string encodeOpus(const SimOpus& opus) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, opusValue(opus));
}

SimOpus decodeOpus(const std::string& bytes) {
  try {
    return opusFromValue(parseObject(bytes, "an opus attribute"));
  } catch (const Json::Exception& e) {
    malformed(e.what());
  }
}

SimLibrary decodeLibrary(const std::string& text) {
  const Json::Value root = parseObject(text, "a library record");
  if (!root.isMember(kFormatKey)) {
    malformed("not a library record");
  }
  try {
    SimLibrary library;
    library.trustStatus = static_cast<LONG>(parseCode(root["trust"]["status"], "trust.status"));
    library.trustLastError = parseCode(root["trust"]["lastError"], "trust.lastError");
    for (const Json::Value& signer : root["signers"]) {
      library.signers.push_back(decodeSigner(signer));
    }
    for (const Json::Value& name : root["exports"]) {
      library.exports.push_back(name.asString());
    }
    return library;
  } catch (const Json::Exception& e) {
    malformed(e.what());
  }
}

fs::path system32Dir(const MachineLock& held) {
  (void)held;
  const fs::path dir = machineDir() / kSystem32;
  if (!fs::exists(dir)) {
    writeMachineFile(system32Relative(kDxva2), encodeLibrary(defaultDxva2Library()));
  }
  return dir;
}

fs::path system32Dir() {
  const fs::path dir = machineDir() / kSystem32;
  if (fs::exists(dir)) {
    return dir;
  }
  MachineLock lock;
  return system32Dir(lock);
}

fs::path applicationDir() {
  std::error_code ec;
  const fs::path executable = fs::read_symlink("/proc/self/exe", ec);
  return ec ? fs::current_path() : executable.parent_path();
}

fs::path pathFromWide(LPCWSTR path) {
  std::size_t length = 0;
  while (path[length]) {
    ++length;
  }
  const fs::path given(utf16ToUtf8(path, length));
  return given.is_absolute() ? resolveCase(given.lexically_normal()) : given;
}

LibraryFileState readLibraryFile(const fs::path& file, SimLibrary& library) {
  std::error_code ec;
  std::ifstream in(file, std::ios::binary);
  if (fs::is_directory(file, ec) || !in) {
    return LibraryFileState::Missing;
  }
  // A record is a JSON object; anything else (an executable, say) is rejected unread.
  char first = 0;
  if (!(in >> first) || first != '{') {
    return LibraryFileState::NotALibrary;
  }
  in.seekg(0);
  std::ostringstream content;
  content << in.rdbuf();
  try {
    library = decodeLibrary(content.str());
    return LibraryFileState::Library;
  } catch (const std::runtime_error&) {
    return LibraryFileState::NotALibrary;
  }
}

std::vector<std::string> system32LibraryNames() {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(system32Dir())) {
    if (entry.is_regular_file()) {
      names.push_back(entry.path().filename().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

void installSystem32Library(const std::string& name, const SimLibrary& library) {
  MachineLock lock;
  const std::string fileName = system32FileName(name, lock).value_or(name);
  writeMachineFile(system32Relative(fileName), encodeLibrary(library));
}

bool updateSystem32Library(const std::string& name,
                           const std::function<void(SimLibrary&)>& change) {
  MachineLock lock;
  const std::optional<std::string> fileName = system32FileName(name, lock);
  SimLibrary library;
  if (!fileName || readLibraryFile(system32Dir(lock) / *fileName, library) !=
                       LibraryFileState::Library) {
    return false;
  }
  change(library);
  writeMachineFile(system32Relative(*fileName), encodeLibrary(library));
  return true;
}

bool removeSystem32Library(const std::string& name) {
  MachineLock lock;
  const std::optional<std::string> fileName = system32FileName(name, lock);
  if (!fileName) {
    return false;
  }
  removeMachineFile(system32Relative(*fileName));
  return true;
}

bool restoreSystem32Library(const std::string& name) {
  const std::optional<SimLibrary> library = defaultLibrary(name);
  if (!library) {
    return false;
  }
  installSystem32Library(lowerCase(name), *library);
  return true;
}

}  // namespace sim
