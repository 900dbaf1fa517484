// How the tool reads a display state document it received: one parser and one set of jsoncpp
// settings, for the restore and for whoever has to judge beforehand whether the tool can read a
// document.
#pragma once

#include <json/value.h>

#include <string>

// Parses `document` as the restore does: jsoncpp's Reader with all its features (comments
// allowed, any value at the root, what follows the first value ignored). False when the text does
// not parse, with jsoncpp's messages in `errors` if given. A document nested deeper than the
// parser's stack limit throws jsoncpp's exception, as it does in the restore.
bool readDisplayStateDocument(const std::string& document, Json::Value& root,
                              std::string* errors = nullptr);
