// Console control events while a document is in flight. From holdConsoleEvents() until the
// command has returned, Ctrl+C and Ctrl+Break are noted instead of ending the peer at once, and
// the closing of the console window waits (as long as Windows allows, about 5 s) for the command
// to finish storing; so an arrived document is stored first, and the peer ends after.
#pragma once

namespace peer {

// Defers the events from now on. Harmless without a console.
void holdConsoleEvents();

// Called once the command has returned: lets a waiting close go on, and says whether Ctrl+C,
// Ctrl+Break or a close came while the events were held.
bool releaseConsoleEvents();

}  // namespace peer
