// The display state document: written by getSavedDisplayStates, read by loadDisplayStates.
#include <json/value.h>

#include <fmt/format.h>

#include <algorithm>
#include <exception>

#include "blanking/display_state_reader.h"
#include "blanking/windows_screen_blanker.h"
#include "common/text_conversion.h"

using velmo::logging::DEBUG;
using velmo::logging::kInheritCategory;
using velmo::logging::kUnexpectedFailure;
using velmo::logging::logError;

namespace {

// szDevice up to its terminator.
platform::WideString deviceName(const MONITORINFOEXW& info) {
  const WCHAR* begin = info.szDevice;
  const WCHAR* end = std::find(begin, begin + CCHDEVICENAME, WCHAR{0});
  return platform::WideString(begin, end);
}

Json::Value monitorToJson(const PhysicalMonitorRecord& record) {
  Json::Value monitor;
  monitor["name"] = velmo::wideToUtf8(deviceName(record.info));
  monitor["description"] = record.description;
  Json::Value& position = monitor["position"];
  position["bottom"] = static_cast<Json::Int>(record.info.rcMonitor.bottom);
  position["left"] = static_cast<Json::Int>(record.info.rcMonitor.left);
  position["top"] = static_cast<Json::Int>(record.info.rcMonitor.top);
  position["right"] = static_cast<Json::Int>(record.info.rcMonitor.right);
  monitor["initialBlankingState"] = static_cast<Json::UInt>(record.initialBlankingState);
  return monitor;
}

// A record with only the fields the document carries; a name longer than the field is cut to
// the 31 units that fit before the terminator.
PhysicalMonitorRecord monitorFromJson(const Json::Value& element) {
  PhysicalMonitorRecord record;
  const platform::WideString name = velmo::utf8ToWide(element["name"].asString());
  const std::size_t units = std::min<std::size_t>(name.size(), CCHDEVICENAME - 1);
  std::copy(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(units), record.info.szDevice);
  record.description = element["description"].asString();
  const Json::Value& position = element["position"];
  record.info.rcMonitor.bottom = static_cast<LONG>(position["bottom"].asUInt());
  record.info.rcMonitor.left = static_cast<LONG>(position["left"].asUInt());
  record.info.rcMonitor.top = static_cast<LONG>(position["top"].asUInt());
  record.info.rcMonitor.right = static_cast<LONG>(position["right"].asUInt());
  record.initialBlankingState = element["initialBlankingState"].asUInt();
  return record;
}

}  // namespace

std::string WindowsScreenBlanker::getSavedDisplayStates() const {
  std::unique_lock<std::mutex> lock(displayStateMutex);
  Json::Value root;
  root["GammaBlanking"] = gammaBlanker ? gammaBlanker->toJson() : Json::Value();
  if ((supportedMethods.load() & DPMSBlanking) != 0) {
    const bool saved = dpmsStatesSavedCondition.wait_for(lock, savedStateLimit,
                                                         [this] { return dpmsStatesSaved; });
    if (!saved) {
      velmo::logging::logAt(
          *logger, DEBUG, logger->defaultResultCode,
          fmt::format("Warning: Timeout waiting {} sec for the display state save",
                      kSavedStateLimit.count()));
    }
    if (dpmsStatesSaved) {
      for (const PhysicalMonitorRecord& record : initialMonitors) {
        root["initialMonitors"].append(monitorToJson(record));
      }
    }
  }
  return root.toStyledString();
}

bool WindowsScreenBlanker::loadDisplayStates(const std::string& document) {
  if (document.empty()) {
    return false;
  }
  std::lock_guard<std::mutex> lock(displayStateMutex);
  Json::Value root;
  // A document nested beyond the parser's limit throws here; that is not caught below and ends
  // the construction.
  if (!readDisplayStateDocument(document, root)) {
    logError(*logger, kUnexpectedFailure, "Failed to parse input");
    return false;
  }
  try {
    if (root.isMember("GammaBlanking")) {
      gammaBlanker = std::make_unique<WindowsGammaBlanker>(
          logger->createCategoryLogger(kInheritCategory), root["GammaBlanking"],
          ScreenBlanker::restoreOnly());
    }
    if (root.isMember("initialMonitors")) {
      const Json::Value& monitors = root["initialMonitors"];
      initialMonitors.clear();
      for (Json::ArrayIndex i = 0; i < monitors.size(); ++i) {
        const Json::Value element = monitors[i];
        initialMonitors.push_back(monitorFromJson(element));
      }
      dpmsStatesSaved = true;
    }
  } catch (const std::exception&) {
    logError(*logger, kUnexpectedFailure, "Failed to parse input");
    return false;
  }
  return gammaBlanker != nullptr || dpmsStatesSaved;
}
