// Reading a display state document the way the tool reads it.
#include "tools/peer/document_check.h"

#include <json/value.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "blanking/display_state_reader.h"
#include "blanking/gamma/gamma_ramp.h"
#include "blanking/gamma/windows_gamma_blanker.h"
#include "tools/peer/peer_error.h"

namespace peer {
namespace {

bool startsWith(const std::string& text, const char* prefix, std::size_t length) {
  return text.size() >= length && text.compare(0, length, prefix, length) == 0;
}

// UTF-16 text: a byte-order mark of either order, or ASCII with a zero byte beside each character.
bool looksLikeUtf16(const std::string& document) {
  return startsWith(document, "\xFF\xFE", 2) || startsWith(document, "\xFE\xFF", 2) ||
         (document.size() >= 2 && (document[0] == '\0') != (document[1] == '\0'));
}

// The reasons that come before parsing: each would make the tool read other bytes than these.
std::optional<std::string> encodingProblem(const std::string& document) {
  if (document.empty()) {
    return std::string("it is empty");
  }
  if (document.size() > kLargestDocument) {
    return "it is " + std::to_string(document.size()) + " bytes, more than the " +
           std::to_string(kLargestDocument) + " (1 MiB) the tool takes";
  }
  if (startsWith(document, "\xEF\xBB\xBF", 3)) {
    return std::string("it begins with a UTF-8 byte-order mark, which the tool's reader refuses");
  }
  if (looksLikeUtf16(document)) {
    return std::string("it is UTF-16 text; the tool reads UTF-8 only");
  }
  const std::size_t zero = document.find('\0');
  if (zero != std::string::npos) {
    return "it holds a zero byte at offset " + std::to_string(zero) +
           "; the tool loses what follows a zero byte";
  }
  return std::nullopt;
}

// The first line of jsoncpp's messages, which name the place.
std::string firstLines(const std::string& errors) {
  std::string text = errors.substr(0, errors.find('\n', errors.find('\n') + 1));
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

// Parses as the tool does; nothing when the tool could not read it.
std::optional<Json::Value> read(const std::string& document, std::string* problem = nullptr) {
  if (std::optional<std::string> encoding = encodingProblem(document)) {
    if (problem) *problem = std::move(*encoding);
    return std::nullopt;
  }
  Json::Value root;
  std::string errors;
  try {
    if (!readDisplayStateDocument(document, root, &errors)) {
      if (problem) *problem = "it is no JSON the tool can parse: " + firstLines(errors);
      return std::nullopt;
    }
  } catch (const std::exception&) {
    if (problem) *problem = "it is nested deeper than the tool's reader goes (the tool would end with -1)";
    return std::nullopt;
  }
  if (!root.isObject()) {
    if (problem) *problem = "its JSON is no object";
    return std::nullopt;
  }
  return root;
}

bool isUnsaved(const Json::Value& display) {
  return display.isObject() && !display["initialGammasSaved"].asBool();
}

// The "GammaBlanking" elements of a readable document, or nothing.
std::optional<Json::Value> readGammaPart(const std::string& document) {
  std::optional<Json::Value> root = read(document);
  if (!root || !(*root)["GammaBlanking"].isArray()) {
    return std::nullopt;
  }
  return (*root)["GammaBlanking"];
}

}  // namespace

std::optional<std::string> unreadableReason(const std::string& document) {
  std::string problem;
  if (read(document, &problem)) {
    return std::nullopt;
  }
  return problem;
}

bool isCompleteDocument(const std::string& document) { return read(document).has_value(); }

GammaDisplay linearDisplay(const std::string& name) {
  GammaDisplay display;
  display.displayName = name;
  setLinearRamp(display.initialGammas);
  display.initialGammasSaved = true;
  return display;
}

std::size_t gammaDisplayCount(const std::string& document) {
  const std::optional<Json::Value> displays = readGammaPart(document);
  return displays ? displays->size() : 0;
}

std::vector<std::string> unsavedDisplays(const std::string& document) {
  std::vector<std::string> names;
  if (const std::optional<Json::Value> displays = readGammaPart(document)) {
    for (const Json::Value& display : *displays) {
      if (isUnsaved(display)) {
        names.push_back(display["displayName"].asString());
      }
    }
  }
  return names;
}

std::string withLinearRampForUnsaved(const std::string& document) {
  std::optional<Json::Value> root = read(document);
  if (!root || !(*root)["GammaBlanking"].isArray()) {
    throw PeerError("the document cannot be read, so no display in it can be given the linear "
                    "ramp");
  }
  for (Json::Value& display : (*root)["GammaBlanking"]) {
    if (isUnsaved(display)) {
      display = gammaDisplaysToJson({linearDisplay(display["displayName"].asString())})[0];
    }
  }
  return root->toStyledString();
}

}  // namespace peer
