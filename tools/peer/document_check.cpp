// Reading the gamma part of a display state document with jsoncpp.
#include "tools/peer/document_check.h"

#include <memory>
#include <utility>

#include <json/reader.h>
#include <json/value.h>

#include "blanking/gamma/gamma_ramp.h"
#include "tools/peer/peer_error.h"

namespace peer {
namespace {

bool parse(const std::string& document, Json::Value& root) {
  Json::CharReaderBuilder builder;
  std::string errors;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  try {
    return reader->parse(document.data(), document.data() + document.size(), &root, &errors) &&
           root.isObject();
  } catch (const std::exception&) {
    return false;  // nested beyond the parser's limit
  }
}

bool isUnsaved(const Json::Value& display) {
  return display.isObject() && !display["initialGammasSaved"].asBool();
}

}  // namespace

bool isCompleteDocument(const std::string& document) {
  Json::Value root;
  return parse(document, root);
}

std::vector<std::string> unsavedDisplays(const std::string& document) {
  Json::Value root;
  std::vector<std::string> names;
  if (!parse(document, root) || !root["GammaBlanking"].isArray()) {
    return names;
  }
  for (const Json::Value& display : root["GammaBlanking"]) {
    if (isUnsaved(display)) {
      names.push_back(display["displayName"].asString());
    }
  }
  return names;
}

std::string withLinearRampForUnsaved(const std::string& document) {
  Json::Value root;
  if (!parse(document, root) || !root["GammaBlanking"].isArray()) {
    throw PeerError("the document cannot be read, so no display in it can be given the linear "
                    "ramp");
  }
  GammaRamp linear;
  setLinearRamp(linear);
  for (Json::Value& display : root["GammaBlanking"]) {
    if (!isUnsaved(display)) {
      continue;
    }
    Json::Value gammas(Json::objectValue);
    for (const auto& [name, words] : {std::make_pair("red", &linear.red),
                                      std::make_pair("green", &linear.green),
                                      std::make_pair("blue", &linear.blue)}) {
      Json::Value channel(Json::arrayValue);
      for (const WORD word : *words) {
        channel.append(Json::UInt{word});
      }
      gammas[name] = channel;
    }
    display["initialGammas"] = gammas;
    display["initialGammasSaved"] = true;
  }
  return root.toStyledString();
}

}  // namespace peer
