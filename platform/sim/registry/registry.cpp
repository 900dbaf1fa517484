// Only the sim's registry operations live here, acting on the machine's registry file.
// Key handles are RegistryKey objects of the handle table; a handle whose key was deleted gives
// ERROR_KEY_DELETED, as on Windows.
#include "platform/registry.h"

#include <optional>

#include "platform/sim/registry/event_object.h"
#include "platform/sim/core/handles.h"
#include "platform/sim/core/machine.h"
#include "platform/sim/registry/registry_store.h"
#include "platform/sim/registry/registry_watch.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/core/utf.h"

namespace {

using sim::registry::Key;
using sim::registry::Tree;

// What a key handle stands for: the key's path and the id it had when it was opened.
struct OpenKey {
  std::string path;
  std::uint64_t id;
};

class KeyObject : public sim::HandleObject {
 public:
  explicit KeyObject(OpenKey key) : key(std::move(key)) {}
  const OpenKey key;
};

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

// The path of the stored key that `hKey` stands for; the error code when the handle is bad or
// its key was deleted.
LSTATUS pathOf(const Tree& tree, HKEY hKey, std::string& path) {
  OpenKey open{sim::registry::kLocalMachine, sim::registry::kLocalMachineId};
  if (hKey == HKEY_CURRENT_USER) {
    open = OpenKey{sim::registry::kCurrentUser, sim::registry::kCurrentUserId};
  } else if (hKey != HKEY_LOCAL_MACHINE) {
    const auto object = sim::lookupHandleAs<KeyObject>(sim::HandleKind::RegistryKey, hKey);
    if (!object) {
      return ERROR_INVALID_HANDLE;
    }
    open = object->key;
  }
  const Key* stored = tree.find(open.path);
  if (stored == nullptr || stored->id != open.id) {
    return ERROR_KEY_DELETED;
  }
  path = open.path;
  return ERROR_SUCCESS;
}

// The same for `subKey` below that key, or the key itself for no subkey. Empty parts ("a\\b",
// "\a") are refused.
LSTATUS subkeyPathOf(const Tree& tree, HKEY hKey, LPCWSTR subKey, std::string& path) {
  if (const LSTATUS status = pathOf(tree, hKey, path); status != ERROR_SUCCESS) {
    return status;
  }
  const std::string sub = text(subKey);
  if (sub.empty()) {
    return ERROR_SUCCESS;
  }
  if (sub.front() == '\\' || sub.back() == '\\' || sub.find("\\\\") != std::string::npos) {
    return ERROR_INVALID_PARAMETER;
  }
  path += "\\" + sub;
  return ERROR_SUCCESS;
}

// Runs `change` with the registry and the path of `subKey` below the key that `hKey` stands for,
// under the machine lock, and saves the registry when the change succeeds.
template <class Change>
LSTATUS changeRegistry(HKEY hKey, LPCWSTR subKey, Change change) {
  sim::MachineLock lock;
  Tree tree = Tree::load(sim::machineDir());
  std::string path;
  if (const LSTATUS status = subkeyPathOf(tree, hKey, subKey, path); status != ERROR_SUCCESS) {
    return status;
  }
  const LSTATUS status = change(tree, path);
  if (status == ERROR_SUCCESS) {
    tree.save();
  }
  return status;
}

HKEY insertKeyHandle(const Key& key) {
  return static_cast<HKEY>(sim::insertHandle(
      sim::HandleKind::RegistryKey, std::make_shared<KeyObject>(OpenKey{key.path, key.id})));
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
  std::string path;
  if (const LSTATUS status = subkeyPathOf(tree, hKey, lpSubKey, path); status != ERROR_SUCCESS) {
    return status;
  }
  const Key* key = tree.find(path);
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
  return changeRegistry(hKey, lpSubKey, [&](Tree& tree, const std::string& path) {
    bool created = false;
    const Key& key = tree.create(path, created);
    if (lpdwDisposition != nullptr) {
      *lpdwDisposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    }
    *phkResult = insertKeyHandle(key);
    return static_cast<LSTATUS>(ERROR_SUCCESS);
  });
}

LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                         LPBYTE lpData, LPDWORD lpcbData) {
  SIM_ENTER(RegQueryValueExW, hKey, lpValueName, lpReserved, lpType, lpData, lpcbData);
  if (lpReserved != nullptr || (lpData != nullptr && lpcbData == nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  const Tree tree = Tree::load(sim::machineDir());
  std::string path;
  if (const LSTATUS status = pathOf(tree, hKey, path); status != ERROR_SUCCESS) {
    return status;
  }
  const sim::registry::Value* value = tree.find(path)->findValue(text(lpValueName));
  if (value == nullptr) {
    return ERROR_FILE_NOT_FOUND;
  }
  if (!value->damage.empty()) {
    return sim::registry::kDamagedValueError;
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
  const std::string data =
      cbData == 0 ? std::string() : std::string(reinterpret_cast<const char*>(lpData), cbData);
  return changeRegistry(hKey, nullptr, [&](Tree& tree, const std::string& path) {
    tree.find(path)->setValue(sim::registry::Value{text(lpValueName), dwType, data, {}});
    return static_cast<LSTATUS>(ERROR_SUCCESS);
  });
}

LSTATUS RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName) {
  SIM_ENTER(RegDeleteValueW, hKey, lpValueName);
  return changeRegistry(hKey, nullptr, [&](Tree& tree, const std::string& path) {
    return static_cast<LSTATUS>(
        tree.find(path)->removeValue(text(lpValueName)) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
  });
}

LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey) {
  SIM_ENTER(RegDeleteKeyW, hKey, lpSubKey);
  if (text(lpSubKey).empty()) {
    return ERROR_INVALID_PARAMETER;
  }
  return changeRegistry(hKey, lpSubKey, [](Tree& tree, const std::string& path) {
    if (tree.find(path) == nullptr) {
      return static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND);
    }
    if (tree.hasSubkeys(path)) {
      return static_cast<LSTATUS>(ERROR_ACCESS_DENIED);
    }
    tree.remove(path);
    return static_cast<LSTATUS>(ERROR_SUCCESS);
  });
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
  // Under the lock the change mark and the fingerprint describe the same registry.
  sim::MachineLock lock;
  const Tree tree = Tree::load(machineDirectory);
  std::string path;
  if (const LSTATUS status = pathOf(tree, hKey, path); status != ERROR_SUCCESS) {
    return status;
  }
  const bool subtree = bWatchSubtree != FALSE;
  sim::addRegistryWatch(sim::RegistryWatch{hKey, machineDirectory, path, subtree, dwNotifyFilter,
                                           sim::registry::readChangeMark(machineDirectory),
                                           tree.fingerprint(path, subtree, dwNotifyFilter),
                                           std::move(event)});
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
