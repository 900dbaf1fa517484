// What a check knows of where it runs: its own executable, for checks that start it as a child,
// and whether Wine stands in for Windows, for checks that name one of Wine's departures.
#pragma once

#include <string>

namespace conformance {
// argv[0] of the check executable. Started with "--conformance-exit=N" it ends with status N,
// with "--conformance-linger" it waits for minutes, with "--conformance-hold=PATH" it holds the
// file PATH open for reading without sharing it and waits for minutes.
extern std::string selfPath;
// Wine's ntdll exports wine_get_version; that of Windows does not, and the sim has none.
bool runningUnderWine();
}  // namespace conformance
