// What the peer reads in a display state document: whether it is whole, which displays it cannot
// bring back, and a copy that brings those back lit.
#pragma once

#include <string>
#include <vector>

namespace peer {

// True for a document that parses as a JSON object: a save cut short does not.
bool isCompleteDocument(const std::string& document);

// The displays whose "initialGammasSaved" is false: the document holds no real ramp for them.
std::vector<std::string> unsavedDisplays(const std::string& document);

// The document with the linear ramp (word i = 255 x i) and "initialGammasSaved" true for every
// unsaved display, so that a restore lights them; the rest as it was.
std::string withLinearRampForUnsaved(const std::string& document);

}  // namespace peer
