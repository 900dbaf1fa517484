// Only the sim's event operations live here.
// Event handles are kernel objects of the handle table, so CloseHandle closes them.
#include "platform/events.h"

#include "platform/errors.h"
#include "platform/sim/registry/event_object.h"
#include "platform/sim/core/test_api.h"

namespace platform {

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                    LPCWSTR lpName) {
  SIM_ENTER(CreateEventW, lpEventAttributes, bManualReset, bInitialState, lpName);
  if (lpName != nullptr) {
    // Named events are shared between processes on Windows; nothing here uses them.
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return sim::insertHandle(
      sim::HandleKind::Kernel,
      std::make_shared<sim::EventObject>(bManualReset != FALSE, bInitialState != FALSE));
}

BOOL SetEvent(HANDLE hEvent) {
  SIM_ENTER(SetEvent, hEvent);
  const auto event = sim::lookupHandleAs<sim::EventObject>(sim::HandleKind::Kernel, hEvent);
  if (!event) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  event->set();
  return TRUE;
}

DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE* lpHandles, BOOL bWaitAll,
                             DWORD dwMilliseconds) {
  SIM_ENTER(WaitForMultipleObjects, nCount, lpHandles, bWaitAll, dwMilliseconds);
  // Waiting for all of several objects is not simulated: nothing here uses it.
  if (nCount == 0 || nCount > MAXIMUM_WAIT_OBJECTS || lpHandles == nullptr || bWaitAll) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  std::vector<std::shared_ptr<sim::EventObject>> events;
  for (DWORD i = 0; i < nCount; ++i) {
    auto event = sim::lookupHandleAs<sim::EventObject>(sim::HandleKind::Kernel, lpHandles[i]);
    if (!event) {
      SetLastError(ERROR_INVALID_HANDLE);
      return WAIT_FAILED;
    }
    events.push_back(std::move(event));
  }
  std::optional<std::chrono::milliseconds> timeout;
  if (dwMilliseconds != INFINITE) {
    timeout = std::chrono::milliseconds(dwMilliseconds);
  }
  const auto index = sim::waitForAnyEvent(events, timeout);
  return index ? WAIT_OBJECT_0 + static_cast<DWORD>(*index) : WAIT_TIMEOUT;
}

}  // namespace platform
