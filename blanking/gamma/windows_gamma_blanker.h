// Gamma blanking of every display device: saves each display's initial gamma, sets the all-zero
// ramp, puts the initial gamma back on request, and carries the initial gammas in the display
// state document. Not thread-safe: its owner serialises all calls.
#pragma once

#include <json/value.h>

#include <memory>
#include <vector>

#include "blanking/gamma/gamma_display.h"
#include "blanking/gamma/gamma_ramp.h"
#include "common/owned_handles.h"
#include "logging/logger.h"

// The "GammaBlanking" value of the document for these displays: one element per display, or null
// without any.
Json::Value gammaDisplaysToJson(const std::vector<GammaDisplay>& displays);

class WindowsGammaBlanker {
 public:
  // Lists the displays and, unless restoreOnly, saves their ramps (up to 2 s a display); then
  // lays the document's "GammaBlanking" value (or null) over them. Throws std::invalid_argument
  // for a null logger, and what the document's reader throws for values of a wrong type.
  WindowsGammaBlanker(std::unique_ptr<velmo::logging::LoggerBase> logger,
                      const Json::Value& savedState, bool restoreOnly);

  // One pass that sets the blanking ramp on every display that gives a device context, saving
  // an unsaved display first. True when no display failed.
  bool blank();
  // One pass that writes each display's initial gamma back and validates it, up to
  // kGammaRestoreAttempts times a display. True when no display failed.
  bool restore();

  // The "GammaBlanking" value of the document: one element per display, or null without any.
  Json::Value toJson() const;
  // Takes the initial gammas of the displays the document names; other entries are logged and
  // skipped. A null value or one that is not an array is ignored.
  void fromJson(const Json::Value& savedState);

  const std::vector<GammaDisplay>& getDisplays() const { return displays; }

 private:
  // The work of a pass on one display that gave a device context. True when it succeeded.
  using DisplayStep = bool (WindowsGammaBlanker::*)(GammaDisplay&, HDC);

  // One pass over all displays: `step` on each that gives a device context, and the summary
  // line at the end if any display failed.
  bool runPass(const char* action, DisplayStep step, const char* summary);
  // A device context for this pass, or empty after reporting a display without one. `success`
  // goes false when the display should have given one.
  velmo::DeviceContext openForPass(GammaDisplay& display, const char* action, bool& success);
  bool blankDisplay(GammaDisplay& display, HDC deviceContext);
  bool restoreDisplay(GammaDisplay& display, HDC deviceContext);
  GammaDisplay* findDisplay(const std::string& displayName);

  std::unique_ptr<velmo::logging::LoggerBase> logger;
  const bool restoreOnly;
  GammaRamp blankingGamma;
  std::vector<GammaDisplay> displays;
};
