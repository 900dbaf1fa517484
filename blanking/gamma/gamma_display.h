// One display device as gamma blanking keeps it: its name and the ramp to go back to.
#pragma once

#include <string>

#include "blanking/gamma/gamma_ramp.h"

struct GammaDisplay {
  // DeviceName of the display device: its identity here and in the document.
  std::string displayName;
  // The ramp to go back to; usable only once initialGammasSaved is set.
  GammaRamp initialGammas{};
  bool initialGammasSaved = false;
  // The display was reported as turned off and has not given a device context since.
  bool offNoticeLogged = false;
};
