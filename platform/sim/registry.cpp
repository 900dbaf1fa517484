// The sim's registry operations on the machine's registry file (registry_store.h). Key handles
// are RegistryKey objects of the handle table; a handle whose key was deleted gives
// ERROR_KEY_DELETED, as on Windows.
#include "platform/registry.h"

#include <optional>

#include "platform/sim/event_object.h"
#include "platform/sim/handles.h"
#include "platform/sim/machine.h"
#include "platform/sim/registry_store.h"
#include "platform/sim/registry_watch.h"
#include "platform/sim/test_api.h"
#include "platform/sim/utf.h"

namespace {

using sim::registry::Tree;

class KeyObject : public sim::HandleObject {
 public:
  KeyObject(std::string path, std::uint64_t id) : path(std::move(path)), id(id) {}
  const std::string path;
  const std::uint64_t id;
};

// The key a handle stands for: its path and the id it had when it was opened.
struct OpenKey {
  std::string path;
  std::uint64_t id;
};

std::optional<OpenKey> resolve(HKEY key) {
  if (key == HKEY_LOCAL_MACHINE) {
    return OpenKey{sim::registry::kLocalMachine, sim::registry::kLocalMachineId};
  }
  if (key == HKEY_CURRENT_USER) {
    return OpenKey{sim::registry::kCurrentUser, sim::registry::kCurrentUserId};
  }
  const auto object = sim::lookupHandleAs<KeyObject>(sim::HandleKind::RegistryKey, key);
  if (!object) {
    return std::nullopt;
  }
  return OpenKey{object->path, object->id};
}

std::string text(LPCWSTR wide) {
  if (wide == nullptr) {
    return {};
  }
  std::size_t size = 0;
  while (wide[size] != 0) {
    ++size;
  }
  return sim::utf16ToUtf8(wide, size);
}

// `base\sub`, or base itself for no subkey. Empty parts ("a\\b", "\a") are refused.
std::optional<std::string> subkeyPath(const std::string& base, LPCWSTR subKey) {
  const std::string sub = text(subKey);
  if (sub.empty()) {
    return base;
  }
  if (sub.front() == '\\' || sub.back() == '\\' || sub.find("\\\\") != std::string::npos) {
    return std::nullopt;
  }
  return base + "\\" + sub;
}

// The key that `key` stands for in `tree`, or the error code when the handle is bad or its key
// is gone.
LSTATUS findOpenKey(const Tree& tree, HKEY key, OpenKey& found) {
  const auto open = resolve(key);
  if (!open) {
    return ERROR_INVALID_HANDLE;
  }
  const sim::registry::Key* stored = tree.find(open->path);
  if (stored == nullptr || stored->id != open->id) {
    return ERROR_KEY_DELETED;
  }
  found = *open;
  return ERROR_SUCCESS;
}

HKEY insertKeyHandle(const sim::registry::Key& key) {
  return static_cast<HKEY>(sim::insertHandle(sim::HandleKind::RegistryKey,
                                             std::make_shared<KeyObject>(key.path, key.id)));
}

}  // namespace

namespace platform {

LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
                      PHKEY phkResult) {
  SIM_ENTER(RegOpenKeyExW, hKey, lpSubKey, ulOptions, samDesired, phkResult);
  if (phkResult == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  const Tree tree = Tree::load(sim::machineDir());
  OpenKey base;
  if (const LSTATUS status = findOpenKey(tree, hKey, base); status != ERROR_SUCCESS) {
    return status;
  }
  const auto path = subkeyPath(base.path, lpSubKey);
  if (!path) {
    return ERROR_INVALID_PARAMETER;
  }
  const sim::registry::Key* key = tree.find(*path);
  if (key == nullptr) {
    return ERROR_FILE_NOT_FOUND;
  }
  *phkResult = insertKeyHandle(*key);
  return ERROR_SUCCESS;
}

LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass,
                        DWORD dwOptions, REGSAM samDesired,
                        LPSECURITY_ATTRIBUTES lpSecurityAttributes, PHKEY phkResult,
                        LPDWORD lpdwDisposition) {
  SIM_ENTER(RegCreateKeyExW, hKey, lpSubKey, Reserved, lpClass, dwOptions, samDesired,
            lpSecurityAttributes, phkResult, lpdwDisposition);
  if (phkResult == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  sim::MachineLock lock;
  Tree tree = Tree::load(sim::machineDir());
  OpenKey base;
  if (const LSTATUS status = findOpenKey(tree, hKey, base); status != ERROR_SUCCESS) {
    return status;
  }
  const auto path = subkeyPath(base.path, lpSubKey);
  if (!path) {
    return ERROR_INVALID_PARAMETER;
  }
  bool created = false;
  const sim::registry::Key& key = tree.create(*path, created);
  if (created) {
    tree.save();
  }
  if (lpdwDisposition != nullptr) {
    *lpdwDisposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  }
  *phkResult = insertKeyHandle(key);
  return ERROR_SUCCESS;
}

LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                         LPBYTE lpData, LPDWORD lpcbData) {
  SIM_ENTER(RegQueryValueExW, hKey, lpValueName, lpReserved, lpType, lpData, lpcbData);
  if (lpReserved != nullptr || (lpData != nullptr && lpcbData == nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  const Tree tree = Tree::load(sim::machineDir());
  OpenKey open;
  if (const LSTATUS status = findOpenKey(tree, hKey, open); status != ERROR_SUCCESS) {
    return status;
  }
  const sim::registry::Value* value = tree.find(open.path)->findValue(text(lpValueName));
  if (value == nullptr) {
    return ERROR_FILE_NOT_FOUND;
  }
  if (lpType != nullptr) {
    *lpType = value->type;
  }
  if (lpcbData == nullptr) {
    return ERROR_SUCCESS;
  }
  const DWORD size = static_cast<DWORD>(value->data.size());
  const DWORD room = *lpcbData;
  *lpcbData = size;
  if (lpData == nullptr) {
    return ERROR_SUCCESS;
  }
  if (room < size) {
    return ERROR_MORE_DATA;
  }
  value->data.copy(reinterpret_cast<char*>(lpData), size);
  return ERROR_SUCCESS;
}

LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType,
                       const BYTE* lpData, DWORD cbData) {
  SIM_ENTER(RegSetValueExW, hKey, lpValueName, Reserved, dwType, lpData, cbData);
  if (lpData == nullptr && cbData != 0) {
    return ERROR_INVALID_PARAMETER;
  }
  sim::MachineLock lock;
  Tree tree = Tree::load(sim::machineDir());
  OpenKey open;
  if (const LSTATUS status = findOpenKey(tree, hKey, open); status != ERROR_SUCCESS) {
    return status;
  }
  const std::string data =
      cbData == 0 ? std::string() : std::string(reinterpret_cast<const char*>(lpData), cbData);
  tree.find(open.path)->setValue(sim::registry::Value{text(lpValueName), dwType, data});
  tree.save();
  return ERROR_SUCCESS;
}

LSTATUS RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName) {
  SIM_ENTER(RegDeleteValueW, hKey, lpValueName);
  sim::MachineLock lock;
  Tree tree = Tree::load(sim::machineDir());
  OpenKey open;
  if (const LSTATUS status = findOpenKey(tree, hKey, open); status != ERROR_SUCCESS) {
    return status;
  }
  if (!tree.find(open.path)->removeValue(text(lpValueName))) {
    return ERROR_FILE_NOT_FOUND;
  }
  tree.save();
  return ERROR_SUCCESS;
}

LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey) {
  SIM_ENTER(RegDeleteKeyW, hKey, lpSubKey);
  sim::MachineLock lock;
  Tree tree = Tree::load(sim::machineDir());
  OpenKey base;
  if (const LSTATUS status = findOpenKey(tree, hKey, base); status != ERROR_SUCCESS) {
    return status;
  }
  const auto path = subkeyPath(base.path, lpSubKey);
  if (!path || text(lpSubKey).empty()) {
    return ERROR_INVALID_PARAMETER;
  }
  if (tree.find(*path) == nullptr) {
    return ERROR_FILE_NOT_FOUND;
  }
  if (tree.hasSubkeys(*path)) {
    return ERROR_ACCESS_DENIED;
  }
  tree.remove(*path);
  tree.save();
  return ERROR_SUCCESS;
}

LSTATUS RegNotifyChangeKeyValue(HKEY hKey, BOOL bWatchSubtree, DWORD dwNotifyFilter, HANDLE hEvent,
                                BOOL fAsynchronous) {
  SIM_ENTER(RegNotifyChangeKeyValue, hKey, bWatchSubtree, dwNotifyFilter, hEvent, fAsynchronous);
  // Only the asynchronous form is simulated: nothing here blocks in this call.
  if (!fAsynchronous) {
    return ERROR_INVALID_PARAMETER;
  }
  auto event = sim::lookupHandleAs<sim::EventObject>(sim::HandleKind::Kernel, hEvent);
  if (!event) {
    return ERROR_INVALID_HANDLE;
  }
  const auto machineDirectory = sim::machineDir();
  sim::MachineLock lock;
  const Tree tree = Tree::load(machineDirectory);
  OpenKey open;
  if (const LSTATUS status = findOpenKey(tree, hKey, open); status != ERROR_SUCCESS) {
    return status;
  }
  const bool subtree = bWatchSubtree != FALSE;
  sim::addRegistryWatch(
      sim::RegistryWatch{hKey, machineDirectory, open.path, subtree, dwNotifyFilter,
                         sim::registry::readChangeMark(machineDirectory),
                         tree.fingerprint(open.path, subtree, dwNotifyFilter), std::move(event)});
  return ERROR_SUCCESS;
}

LSTATUS RegCloseKey(HKEY hKey) {
  SIM_ENTER(RegCloseKey, hKey);
  if (hKey == HKEY_LOCAL_MACHINE || hKey == HKEY_CURRENT_USER) {
    return ERROR_SUCCESS;
  }
  if (!sim::closeHandle(sim::HandleKind::RegistryKey, hKey)) {
    return ERROR_INVALID_HANDLE;
  }
  sim::cancelRegistryWatches(hKey);
  return ERROR_SUCCESS;
}

}  // namespace platform
