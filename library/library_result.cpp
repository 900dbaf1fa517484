#include "library/library_result.h"

namespace velmo {

void logFailure(logging::BasicLogger& logger, const LibraryResult& result) {
  logging::logError(logger, static_cast<std::int32_t>(result.errorCode), result.message);
}

}  // namespace velmo
