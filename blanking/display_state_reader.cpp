// The tool's reader of the display state document.
#include "blanking/display_state_reader.h"

#include <json/reader.h>

bool readDisplayStateDocument(const std::string& document, Json::Value& root, std::string* errors) {
  Json::Reader reader;
  const bool parsed = reader.parse(document, root, true);
  if (!parsed && errors) {
    *errors = reader.getFormattedErrorMessages();
  }
  return parsed;
}
