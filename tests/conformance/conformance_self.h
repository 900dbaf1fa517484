// What a check knows of where it runs: its own executable, for checks that start it as a child,
// and whether Wine stands in for Windows, for checks that name one of Wine's departures.
#pragma once

#include <string>

namespace conformance {
// argv[0] of the check executable. Started with "--conformance-exit=N" it ends with status N,
// with "--conformance-linger" it waits for minutes, with "--conformance-hold=PATH" it holds the
// file PATH open for reading without sharing it and waits for minutes; runAsChild knows the other
// roles.
extern std::string selfPath;

// The roles of a child started by the process checks (processes_conformance_test.cpp): runs the
// one `flag` names and gives true, or gives false for no such role.
bool runAsChild(const std::string& flag);

// True under Wine, where a check names what departs from Windows.
bool runningUnderWine();
}  // namespace conformance
