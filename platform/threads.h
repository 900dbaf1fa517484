// Only thread operations live here: the id of the calling thread, as the system numbers it.
#pragma once

#include "platform/types.h"

namespace platform {

DWORD GetCurrentThreadId();

}  // namespace platform
