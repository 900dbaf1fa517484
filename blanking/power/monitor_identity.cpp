// Comparing physical monitor records by their display's name and rectangle.
#include "blanking/power/monitor_identity.h"

#include <algorithm>

#include "common/text_conversion.h"

namespace velmo {
namespace power {
namespace {

platform::WideString deviceName(const MONITORINFOEXW& info) {
  const WCHAR* begin = info.szDevice;
  return platform::WideString(begin, std::find(begin, begin + CCHDEVICENAME, WCHAR{0}));
}

bool sameRectangle(const RECT& first, const RECT& second) {
  return first.left == second.left && first.top == second.top && first.right == second.right &&
         first.bottom == second.bottom;
}

}  // namespace

bool isSameMonitor(const PhysicalMonitorRecord& first, const PhysicalMonitorRecord& second) {
  return sameRectangle(first.info.rcMonitor, second.info.rcMonitor) &&
         deviceName(first.info) == deviceName(second.info);
}

std::string deviceNameText(const PhysicalMonitorRecord& record) {
  return wideToUtf8(deviceName(record.info));
}

}  // namespace power
}  // namespace velmo
