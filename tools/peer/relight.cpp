// Building the relight document from the machine's display devices.
#include "tools/peer/relight.h"

#include <json/value.h>

#include <vector>

#include "blanking/gamma/gamma_displays.h"
#include "blanking/gamma/windows_gamma_blanker.h"
#include "tools/peer/document_check.h"
#include "tools/peer/peer_error.h"

namespace peer {

std::string relightDocument() {
  std::vector<GammaDisplay> displays;
  for (const DISPLAY_DEVICEA& device : enumerateDisplayDevices()) {
    displays.push_back(linearDisplay(displayDeviceName(device)));
  }
  if (displays.empty()) {
    throw PeerError("the machine lists no display device: there is nothing to light");
  }
  Json::Value root;
  root["GammaBlanking"] = gammaDisplaysToJson(displays);
  return root.toStyledString();
}

}  // namespace peer
