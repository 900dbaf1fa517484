// The way back when no kept document can help: a document that lights every display.
#pragma once

#include <string>

namespace peer {

// A display state document in which every display device the machine lists, by the same rule
// the tool lists them, has the linear ramp as its saved ramp; written by the tool's own writer.
// Throws PeerError when the machine lists none.
std::string relightDocument();

}  // namespace peer
