// The path of the running conformance executable, for checks that start it as a child.
#pragma once

#include <string>

namespace conformance {
// argv[0] of the check executable. Started with "--conformance-exit=N" it ends with status N,
// with "--conformance-linger" it waits for minutes, with "--conformance-hold=PATH" it holds the
// file PATH open for reading without sharing it and waits for minutes.
extern std::string selfPath;
}  // namespace conformance
