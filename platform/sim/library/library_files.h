// Storage of the sim's library files: where they are found and the signature record each holds.
// A library file carries its record in place of code; the loader and the crypt32 operations
// act through this storage.
//
// A library file is a JSON document:
//   {
//     "kestrineSimLibrary": 1,
//     "trust": {"status": "0x00000000", "lastError": "0x00000000"},
//     "signers": [{"subject": "...", "issuer": "...", "serialNumber": "33 00 00 01",
//                  "opus": {"programName": "...",
//                           "moreInfo": {"choice": 1, "text": "https://..."},
//                           "publisherInfo": {"choice": 3, "text": "..."}}}],
//     "exports": ["GetNumberOfPhysicalMonitorsFromHMONITOR", ...]
//   }
// "trust" is what WinVerifyTrust answers for the file (its status and the last error with it).
// "signers" is the embedded signature, first signer first; without signers the file has none.
// "serialNumber" lists the bytes of the serial number blob in blob order. "opus" and each of
// its members may be missing; a link's choice is 1 (URL), 2 (moniker) or 3 (file).
// Files live in root()/machine/System32 (created with the default libraries on first use) and
// in the directory of the running executable.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/core/faults.h"
#include "platform/sim/core/machine.h"
#include "platform/types.h"

namespace sim {

struct SimLink {
  DWORD choice = 1;  // SPC_URL_LINK_CHOICE, SPC_MONIKER_LINK_CHOICE or SPC_FILE_LINK_CHOICE
  std::string text;  // the URL, the file, or the moniker's serialized data
};

struct SimOpus {
  std::optional<std::string> programName;
  std::optional<SimLink> moreInfo;
  std::optional<SimLink> publisherInfo;
};

struct SimSigner {
  std::string subject;
  std::string issuer;
  std::vector<BYTE> serialNumber;  // blob order
  std::optional<SimOpus> opus;     // the signer's SPC_SP_OPUS_INFO attribute
};

struct SimLibrary {
  LONG trustStatus = 0;       // WinVerifyTrust's status for the file
  DWORD trustLastError = 0;   // the last error that comes with it
  std::vector<SimSigner> signers;
  std::vector<std::string> exports;
};

// A code as the record and kestrine-sim write it: "0x" and eight hexadecimal digits.
std::string hexCode(DWORD value);

// A library's faults in the sim's fault grammar: "untrusted CODE", WinVerifyTrust gives CODE for
// the file, with CODE as the last error. The record keeps them in its "trust" field.
constexpr const char* kUntrusted = "untrusted";
const std::vector<FaultKind>& libraryFaultKinds();
FaultSet libraryFaults(const SimLibrary& library);
// A fault that is set already keeps its stored last error; with none set the file is trusted.
void setLibraryFaults(SimLibrary& library, const FaultSet& faults);

// The default "dxva2.dll": trusted, signed by "Microsoft Windows", with the eight Monitor
// Configuration exports.
SimLibrary defaultDxva2Library();
// The library that the default machine has under that name (case-insensitive), if any.
std::optional<SimLibrary> defaultLibrary(const std::string& name);

// The opus attribute's value as the sim stores it in a signature (where Windows has DER).
// decodeOpus throws std::runtime_error for bytes that are not one.
std::string encodeOpus(const SimOpus& opus);
SimOpus decodeOpus(const std::string& bytes);

std::string encodeLibrary(const SimLibrary& library);
// Throws std::runtime_error for a text that is not a library record.
SimLibrary decodeLibrary(const std::string& text);

// The machine's System32, created with the default libraries on first use. The second form is
// for a caller that holds the machine lock already.
std::filesystem::path system32Dir();
std::filesystem::path system32Dir(const MachineLock& held);
// The directory of the running executable.
std::filesystem::path applicationDir();

// A path as the W functions take it (UTF-16, terminated) as a file system path; a full path is
// spelt as the host stores its entries, since Windows compares names without regard to case.
std::filesystem::path pathFromWide(LPCWSTR path);

enum class LibraryFileState { Missing, NotALibrary, Library };
// Reads a file as a library; `library` is set only for LibraryFileState::Library.
LibraryFileState readLibraryFile(const std::filesystem::path& file, SimLibrary& library);

// The library files in System32, by name.
std::vector<std::string> system32LibraryNames();
// Writes a library file into System32 under that name, replacing one that is there.
void installSystem32Library(const std::string& name, const SimLibrary& library);
// Read-modify-write of a library in System32 under the machine lock. False when there is no
// such library; then `change` is not called and nothing is written.
bool updateSystem32Library(const std::string& name, const std::function<void(SimLibrary&)>& change);
// Removes a library file from System32. False when there was none.
bool removeSystem32Library(const std::string& name);
// Puts the default machine's library of that name back. False when it has none of that name.
bool restoreSystem32Library(const std::string& name);

}  // namespace sim
