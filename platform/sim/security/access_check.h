// Sim only: who a process of the sim runs as, and whether a security descriptor in its text form
// admits that caller. The text form understood is the one programs of this system write: a
// discretionary list "D:" (optionally protected, "D:P") of allow (A) and deny (D) entries with
// the rights GA, GR, GW or GX for OW (the object's owner), SY, BA, WD or a literal SID.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"

namespace sim {

constexpr char kSystemSid[] = "S-1-5-18";
constexpr char kAdministratorsSid[] = "S-1-5-32-544";

// The SIDs of the calling process: its user first, then its groups. $KESTRINE_SIM_USER sets them
// ("SID" or "SID+GROUP+..."; S-1-5-18 is SYSTEM, group S-1-5-32-544 makes an administrator); by
// default the process runs as a plain user whose SID is made from the host user id.
std::vector<std::string> callerSids();

// The descriptor Windows gives a named pipe created without one: full access for its owner,
// SYSTEM and Administrators, read access for everyone.
constexpr char kDefaultPipeSecurity[] = "D:(A;;GA;;;OW)(A;;GA;;;SY)(A;;GA;;;BA)(A;;GR;;;WD)";

// Whether `text` is a descriptor the sim understands.
bool validSecurityText(const std::string& text);

// Whether the descriptor admits a caller with `sids` for `desiredAccess` (GENERIC_* bits) on an
// object owned by `ownerSid`: entries in order, a matching deny of any wanted right refuses, and
// the wanted rights must all be allowed. An unreadable descriptor admits no one.
bool accessAllowed(const std::string& text, const std::string& ownerSid,
                   const std::vector<std::string>& sids, DWORD desiredAccess);

}  // namespace sim
