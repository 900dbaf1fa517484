// The gamma part of the display state document: the value of "GammaBlanking".
#include <json/value.h>

#include "blanking/gamma/windows_gamma_blanker.h"

namespace {

using velmo::logging::DEBUG;
using velmo::logging::logAt;

constexpr Json::ArrayIndex kChannelWords = 256;

Json::Value channelToJson(const std::array<WORD, 256>& channel) {
  Json::Value words(Json::arrayValue);
  for (const WORD word : channel) {
    words.append(Json::Value(static_cast<Json::UInt>(word)));
  }
  return words;
}

bool hasChannel(const Json::Value& gammas, const char* key) {
  return gammas.isMember(key) && gammas[key].size() == kChannelWords;
}

// Words keep their low 16 bits; asUInt throws for a value that is not a number it can convert.
WORD wordAt(const Json::Value& words, Json::ArrayIndex index) {
  return static_cast<WORD>(words[index].asUInt() & 0xFFFFu);
}

void readRamp(const Json::Value& gammas, GammaRamp& ramp) {
  const Json::Value& red = gammas["red"];
  const Json::Value& green = gammas["green"];
  const Json::Value& blue = gammas["blue"];
  for (Json::ArrayIndex i = 0; i < kChannelWords; ++i) {
    ramp.red[i] = wordAt(red, i);
    ramp.green[i] = wordAt(green, i);
    ramp.blue[i] = wordAt(blue, i);
  }
}

}  // namespace

Json::Value WindowsGammaBlanker::toJson() const { return gammaDisplaysToJson(displays); }

Json::Value gammaDisplaysToJson(const std::vector<GammaDisplay>& displays) {
  Json::Value result;
  for (const GammaDisplay& display : displays) {
    Json::Value gammas(Json::objectValue);
    gammas["red"] = channelToJson(display.initialGammas.red);
    gammas["green"] = channelToJson(display.initialGammas.green);
    gammas["blue"] = channelToJson(display.initialGammas.blue);
    Json::Value element(Json::objectValue);
    element["displayName"] = display.displayName;
    element["initialGammas"] = std::move(gammas);
    element["initialGammasSaved"] = display.initialGammasSaved;
    result.append(std::move(element));
  }
  return result;
}

void WindowsGammaBlanker::fromJson(const Json::Value& savedState) {
  if (savedState.isNull() || !savedState.isArray() || savedState.size() == 0) {
    return;
  }
  for (Json::ArrayIndex index = 0; index < savedState.size(); ++index) {
    const Json::Value& element = savedState[index];
    GammaDisplay* display = findDisplay(element["displayName"].asString());
    if (!display) {
      logAt(*logger, DEBUG, logger->defaultResultCode,
            "Could not read json entry for gamma blanking: could not find corresponding display");
      continue;
    }
    const Json::Value& gammas = element["initialGammas"];
    if (!hasChannel(gammas, "red") || !hasChannel(gammas, "green") ||
        !hasChannel(gammas, "blue")) {
      logAt(*logger, DEBUG, logger->defaultResultCode, "Failed to read json gamma entry");
      continue;
    }
    readRamp(gammas, display->initialGammas);
    display->initialGammasSaved = element["initialGammasSaved"].asBool();
  }
}
