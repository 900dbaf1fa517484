// The display devices of the machine: listing them, a device context for one, and whether its
// monitor is on.
#pragma once

#include <string>
#include <vector>

#include "blanking/gamma/gamma_display.h"
#include "common/owned_handles.h"
#include "logging/logger.h"
#include "platform/displays.h"

// A device context of the display, released by DeleteDC when dropped. Empty when CreateDCA
// gives none.
velmo::DeviceContext openDeviceContext(const std::string& displayName);

// True when the first monitor of the display device is listed and on.
bool isDisplayActive(const GammaDisplay& display);

// The display devices in listing order, without mirroring drivers.
std::vector<DISPLAY_DEVICEA> enumerateDisplayDevices();

// DeviceName of the device up to its terminator: a display's name here and in the document.
std::string displayDeviceName(const DISPLAY_DEVICEA& device);

// One record per display device. Unless restoreOnly, each display that gives a device context
// has its initial gamma saved.
std::vector<GammaDisplay> buildDisplayList(velmo::logging::LoggerBase& logger, bool restoreOnly);
