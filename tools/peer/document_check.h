// What the peer reads in a display state document: whether the tool can read it, which displays
// it cannot bring back, and a copy that brings those back lit.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "blanking/gamma/gamma_display.h"

namespace peer {

// The largest document the tool reads back; a store that cannot take this much refuses a save.
constexpr std::size_t kLargestDocument = 1048576;

// Why the tool could not read `document`, judged with the tool's own reader: empty, more than
// kLargestDocument bytes, a byte-order mark, UTF-16, a zero byte, nesting the reader refuses, no
// JSON, or JSON that is no object. Nothing when the tool can read it.
std::optional<std::string> unreadableReason(const std::string& document);

// True for a document the tool can read: a save cut short is not one.
bool isCompleteDocument(const std::string& document);

// How many displays the document's "GammaBlanking" names.
std::size_t gammaDisplayCount(const std::string& document);

// A display record that a restore brings back lit: the linear ramp (word i = 255 x i), saved.
GammaDisplay linearDisplay(const std::string& name);

// The displays whose "initialGammasSaved" is false: the document holds no real ramp for them.
std::vector<std::string> unsavedDisplays(const std::string& document);

// The document with the linear ramp (word i = 255 x i) and "initialGammasSaved" true for every
// unsaved display, so that a restore lights them; the rest as it was.
std::string withLinearRampForUnsaved(const std::string& document);

}  // namespace peer
