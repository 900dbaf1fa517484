// The choice of the run's root logger from the --logfile value.
#pragma once

#include <memory>
#include <string>

#include "logging/logger.h"

namespace velmo {

// The terminal for an empty name; otherwise the rotating file logger, or the terminal with one
// error line when that cannot be made. Never null, never throws a failure of the file logger.
std::unique_ptr<logging::LoggerBase> makeLogger(const std::string& fileName);

}  // namespace velmo
