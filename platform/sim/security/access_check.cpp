// Sim only: the access check of security descriptors in their text form (access_check.h).
#include "platform/sim/security/access_check.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace sim {
namespace {

constexpr DWORD kRead = 0x80000000;     // GENERIC_READ
constexpr DWORD kWrite = 0x40000000;    // GENERIC_WRITE
constexpr DWORD kExecute = 0x20000000;  // GENERIC_EXECUTE
constexpr DWORD kAll = kRead | kWrite | kExecute;

struct Entry {
  bool allow = false;
  DWORD rights = 0;
  std::string trustee;  // an alias (OW, SY, BA, WD) or a SID
};

std::optional<DWORD> rightsOf(const std::string& text) {
  if (text == "GA") return kAll;
  if (text == "GR") return kRead;
  if (text == "GW") return kWrite;
  if (text == "GX") return kExecute;
  return std::nullopt;
}

bool knownTrustee(const std::string& text) {
  return text == "OW" || text == "SY" || text == "BA" || text == "WD" || text.rfind("S-1-", 0) == 0;
}

// "(A;;GA;;;OW)": type, flags (none), rights, object, inherited object (none), trustee.
std::optional<Entry> parseEntry(const std::string& text) {
  std::vector<std::string> fields(1);
  for (const char c : text) {
    if (c == ';') {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  if (fields.size() != 6 || (fields[0] != "A" && fields[0] != "D") || !fields[1].empty() ||
      !fields[3].empty() || !fields[4].empty() || !knownTrustee(fields[5])) {
    return std::nullopt;
  }
  const std::optional<DWORD> rights = rightsOf(fields[2]);
  if (!rights) {
    return std::nullopt;
  }
  return Entry{fields[0] == "A", *rights, fields[5]};
}

std::optional<std::vector<Entry>> parseDescriptor(const std::string& text) {
  std::size_t at = 0;
  if (text.rfind("D:P", 0) == 0) {
    at = 3;
  } else if (text.rfind("D:", 0) == 0) {
    at = 2;
  } else {
    return std::nullopt;
  }
  std::vector<Entry> entries;
  while (at < text.size()) {
    const std::size_t close = text.find(')', at);
    if (text[at] != '(' || close == std::string::npos) {
      return std::nullopt;
    }
    const std::optional<Entry> entry = parseEntry(text.substr(at + 1, close - at - 1));
    if (!entry) {
      return std::nullopt;
    }
    entries.push_back(*entry);
    at = close + 1;
  }
  return entries;
}

bool applies(const Entry& entry, const std::string& ownerSid, const std::vector<std::string>& sids) {
  const auto has = [&](const std::string& sid) { return std::find(sids.begin(), sids.end(), sid) != sids.end(); };
  if (entry.trustee == "WD") return true;
  if (entry.trustee == "OW") return !sids.empty() && sids.front() == ownerSid;
  if (entry.trustee == "SY") return has(kSystemSid);
  if (entry.trustee == "BA") return has(kAdministratorsSid);
  return has(entry.trustee);
}

}  // namespace

std::vector<std::string> callerSids() {
  std::vector<std::string> sids;
  const char* user = std::getenv("KESTRINE_SIM_USER");
  std::string text = user && *user ? user : "S-1-5-21-1-1-1-" + std::to_string(1000 + ::getuid());
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t plus = std::min(text.find('+', at), text.size());
    sids.push_back(text.substr(at, plus - at));
    at = plus + 1;
  }
  return sids;
}

bool validSecurityText(const std::string& text) { return parseDescriptor(text).has_value(); }

bool accessAllowed(const std::string& text, const std::string& ownerSid,
                   const std::vector<std::string>& sids, DWORD desiredAccess) {
  const std::optional<std::vector<Entry>> entries = parseDescriptor(text);
  if (!entries) {
    return false;
  }
  const DWORD wanted = desiredAccess & kAll;
  DWORD granted = 0;
  for (const Entry& entry : *entries) {
    if (!applies(entry, ownerSid, sids)) {
      continue;
    }
    if (!entry.allow && (entry.rights & wanted & ~granted) != 0) {
      return false;
    }
    if (entry.allow) {
      granted |= entry.rights;
    }
  }
  return (wanted & ~granted) == 0;
}

}  // namespace sim
