// Hooks, call log and last-error code of the sim.
#include "platform/sim/core/test_api.h"

#include <cstdio>
#include <map>
#include <mutex>

#include "platform/errors.h"
#include "platform/sim/core/handles.h"
#include "platform/sim/core/utf.h"

namespace sim {
namespace {

thread_local DWORD lastError = 0;

struct Registry {
  std::mutex mutex;
  std::map<test::OperationKey, std::shared_ptr<void>> hooks;
  std::vector<test::Call> calls;
};

Registry& registry() {
  static Registry instance;
  return instance;
}

}  // namespace

void setLastError(DWORD code) { lastError = code; }

namespace detail {

std::atomic<int> activeHooks{0};
std::atomic<bool> callLogEnabled{false};

std::shared_ptr<void> findHook(test::OperationKey op) {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  const auto it = r.hooks.find(op);
  return it == r.hooks.end() ? nullptr : it->second;
}

void recordCall(const char* name, std::string arguments) {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  r.calls.push_back(test::Call{name, std::move(arguments)});
}

std::string describe(const char* text) {
  return text ? "\"" + std::string(text) + "\"" : "null";
}

std::string describe(const WCHAR* text) {
  if (!text) {
    return "null";
  }
  std::size_t size = 0;
  while (text[size]) {
    ++size;
  }
  return "\"" + utf16ToUtf8(text, size) + "\"";
}

std::string describePointer(const void* pointer) {
  if (!pointer) {
    return "null";
  }
  char text[32];
  std::snprintf(text, sizeof text, "%p", pointer);
  return text;
}

}  // namespace detail

namespace test {

void recordCalls(bool enabled) { sim::detail::callLogEnabled.store(enabled); }

std::vector<Call> calls() {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  return r.calls;
}

std::vector<Call> callsOf(const std::string& name) {
  std::vector<Call> matching;
  for (Call& call : calls()) {
    if (call.name == name) {
      matching.push_back(std::move(call));
    }
  }
  return matching;
}

void clearCalls() {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  r.calls.clear();
}

std::size_t openHandleCount() { return sim::openHandleCount(); }

void clearHooks() {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  r.hooks.clear();
  sim::detail::activeHooks.store(0);
}

void removeHook(OperationKey op) {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  if (r.hooks.erase(op) > 0) {
    sim::detail::activeHooks.fetch_sub(1);
  }
}

namespace detail {
void storeHook(OperationKey op, std::shared_ptr<void> hook) {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  if (r.hooks.insert_or_assign(op, std::move(hook)).second) {
    sim::detail::activeHooks.fetch_add(1);
  }
}
}  // namespace detail

}  // namespace test
}  // namespace sim

namespace platform {

DWORD GetLastError() { return sim::lastError; }
void SetLastError(DWORD errorCode) { sim::lastError = errorCode; }

}  // namespace platform
