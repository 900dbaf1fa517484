// kestrine-sim's library area: the library files in the machine's System32 with their signature
// records, and the changes a test or a person makes to one of them.
#include <json/reader.h>
#include <json/value.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "platform/sim/core/file_names.h"
#include "platform/sim/library/library_files.h"
#include "platform/trust.h"
#include "tools/sim/arguments.h"
#include "tools/sim/fault_verb.h"
#include "tools/sim/library_area.h"

namespace simtool {
namespace {

// A 32-bit code given as hexadecimal (0x...), unsigned or signed decimal.
DWORD parseCode(const std::string& text) {
  char* end = nullptr;
  const long long value = std::strtoll(text.c_str(), &end, 0);
  if (text.empty() || *end != '\0' || value < -2147483648LL || value > 0xFFFFFFFFLL) {
    throw UsageError("not a 32-bit code: " + text);
  }
  return static_cast<DWORD>(value);
}

std::string linkText(const std::optional<sim::SimLink>& link) {
  if (!link) {
    return "none";
  }
  static const char* const kChoices[] = {"?", "url", "moniker", "file"};
  return std::string(link->choice <= 3 ? kChoices[link->choice] : "?") + " " + link->text;
}

std::string serialText(const std::vector<BYTE>& bytes) {
  std::string text;
  for (BYTE b : bytes) {
    char pair[4];
    std::snprintf(pair, sizeof pair, "%02X ", static_cast<unsigned>(b));
    text += pair;
  }
  return text.empty() ? "(empty)" : text.substr(0, text.size() - 1);
}

void describe(std::ostream& out, const std::string& name, const sim::SimLibrary& library) {
  out << name << "\n  trust: " << sim::hexCode(static_cast<DWORD>(library.trustStatus))
      << (library.trustStatus == 0 ? " (trusted)" : " (not trusted)") << ", last error "
      << sim::hexCode(library.trustLastError) << "\n";
  if (library.signers.empty()) {
    out << "  no embedded signature\n";
  }
  for (std::size_t i = 0; i < library.signers.size(); ++i) {
    const sim::SimSigner& signer = library.signers[i];
    out << "  signer " << i + 1 << ": subject \"" << signer.subject << "\", issuer \""
        << signer.issuer << "\", serial number " << serialText(signer.serialNumber) << "\n";
    if (!signer.opus) {
      out << "    no opus attribute\n";
      continue;
    }
    out << "    opus: program "
        << (signer.opus->programName ? "\"" + *signer.opus->programName + "\"" : "none")
        << ", more info " << linkText(signer.opus->moreInfo) << ", publisher info "
        << linkText(signer.opus->publisherInfo) << "\n";
  }
  out << "  exports:";
  for (const std::string& function : library.exports) {
    out << " " << function;
  }
  out << (library.exports.empty() ? " none\n" : "\n");
}

std::optional<sim::SimLibrary> readSystem32Library(const std::string& name) {
  const std::optional<std::filesystem::path> file = sim::findIgnoringCase(sim::system32Dir(), name);
  sim::SimLibrary library;
  if (!file || sim::readLibraryFile(*file, library) != sim::LibraryFileState::Library) {
    return std::nullopt;
  }
  return library;
}

// `library NAME VERB values...` takes from `least` to `most` values.
void expectLibraryValues(const std::vector<std::string>& args, std::size_t least, std::size_t most) {
  expectValues("library " + args[1], std::vector<std::string>(args.begin() + 2, args.end()), least,
               most);
}

// The change that a command word stands for. Arguments are checked here, before anything is
// read or written; what depends on the record is checked inside the change, which throws
// before the record is written back.
std::function<void(sim::SimLibrary&)> changeFor(const std::vector<std::string>& args) {
  const std::string& verb = args[1];
  if (verb == "unsigned") {
    expectLibraryValues(args, 0, 0);
    return [](sim::SimLibrary& library) {
      library.trustStatus = TRUST_E_NOSIGNATURE;
      library.trustLastError = static_cast<DWORD>(TRUST_E_NOSIGNATURE);
      library.signers.clear();
    };
  }
  if (verb == "untrusted") {
    expectLibraryValues(args, 1, 2);
    const DWORD status = parseCode(args[2]);
    const DWORD lastError = args.size() == 4 ? parseCode(args[3]) : status;
    if (status == 0) {
      throw UsageError("status 0 means trusted; use: kestrine-sim library NAME restore");
    }
    return [status, lastError](sim::SimLibrary& library) {
      library.trustStatus = static_cast<LONG>(status);
      library.trustLastError = lastError;
    };
  }
  if (verb == "subject") {
    expectLibraryValues(args, 1, 1);
    const std::string subject = args[2];
    return [subject, name = args[0]](sim::SimLibrary& library) {
      if (library.signers.empty()) {
        throw UsageError(name + " has no embedded signature");
      }
      library.signers.front().subject = subject;
    };
  }
  if (verb == "no-opus") {
    expectLibraryValues(args, 0, 0);
    return [](sim::SimLibrary& library) {
      for (sim::SimSigner& signer : library.signers) {
        signer.opus.reset();
      }
    };
  }
  if (verb == "remove-export") {
    expectLibraryValues(args, 1, 1);
    return [function = args[2], name = args[0]](sim::SimLibrary& library) {
      std::vector<std::string>& exports = library.exports;
      const auto it = std::find(exports.begin(), exports.end(), function);
      if (it == exports.end()) {
        throw UsageError(name + " does not export " + function);
      }
      exports.erase(it);
    };
  }
  throw UsageError("unknown library command: " + verb);
}

// The usage lines of the area.
std::string libraryUsage() {
  return "       kestrine-sim library                      the libraries in System32\n"
         "       kestrine-sim library NAME                 NAME's signature and exports\n"
         "       kestrine-sim library NAME unsigned        no signature at all\n"
         "       kestrine-sim library NAME untrusted STATUS [LAST-ERROR]\n"
         "                                                 WinVerifyTrust gives STATUS\n"
         "       kestrine-sim library NAME subject TEXT    the first signer's subject\n"
         "       kestrine-sim library NAME no-opus         no opus attribute\n"
         "       kestrine-sim library NAME remove-export FUNCTION\n"
         + faultUsage("library NAME", sim::libraryFaultKinds()) +
         "       kestrine-sim library NAME remove          the file is deleted\n"
         "       kestrine-sim library NAME restore         the default machine's file\n";
}

class LibraryArea : public SimArea {
 public:
  LibraryArea() : SimArea("library", libraryUsage()) {}

  int run(const std::vector<std::string>& args, std::ostream& out) override {
    const std::string& name = args[0];
    if (args.size() == 1) {
      const std::optional<sim::SimLibrary> library = readSystem32Library(name);
      if (!library) {
        throw UsageError("no library " + name + " in System32");
      }
      describe(out, name, *library);
      return 0;
    }
    if (args[1] == "restore" || args[1] == "remove") {
      expectLibraryValues(args, 0, 0);
      const bool done = args[1] == "restore" ? sim::restoreSystem32Library(name)
                                             : sim::removeSystem32Library(name);
      if (!done) {
        throw UsageError(args[1] == "restore" ? "the default machine has no library " + name
                                              : "no library " + name + " in System32");
      }
      return 0;
    }
    if (args[1] == "fault") {
      return fault(name, std::vector<std::string>(args.begin() + 2, args.end()), out);
    }
    if (!sim::updateSystem32Library(name, changeFor(args))) {
      throw UsageError("no library " + name + " in System32");
    }
    return 0;
  }

  void show(std::ostream& out, const std::map<std::string, std::string>& options) override {
    (void)options;
    out << "Libraries in " << sim::system32Dir().string() << "\n";
    for (const std::string& name : sim::system32LibraryNames()) {
      if (const std::optional<sim::SimLibrary> library = readSystem32Library(name)) {
        describe(out, name, *library);
      } else {
        out << name << "\n  not a library\n";
      }
    }
  }

  Json::Value showJson() override {
    Json::Value libraries(Json::objectValue);
    for (const std::string& name : sim::system32LibraryNames()) {
      Json::Value record;
      if (const std::optional<sim::SimLibrary> library = readSystem32Library(name)) {
        std::istringstream(sim::encodeLibrary(*library)) >> record;
      }
      libraries[name] = record;
    }
    return libraries;
  }

 private:
  static int fault(const std::string& name, const std::vector<std::string>& words,
                   std::ostream& out) {
    const FaultCommand command = parseFaultCommand(sim::libraryFaultKinds(), words);
    if (command.action == FaultCommand::Action::List) {
      const std::optional<sim::SimLibrary> library = readSystem32Library(name);
      if (!library) {
        throw UsageError("no library " + name + " in System32");
      }
      out << faultListText(sim::libraryFaultKinds(), sim::libraryFaults(*library)) << "\n";
      return 0;
    }
    const bool found = sim::updateSystem32Library(name, [&command](sim::SimLibrary& library) {
      sim::FaultSet faults = sim::libraryFaults(library);
      applyFaultCommand(command, faults);
      sim::setLibraryFaults(library, faults);
    });
    if (!found) {
      throw UsageError("no library " + name + " in System32");
    }
    return 0;
  }
};

}  // namespace

std::unique_ptr<SimArea> makeLibraryArea() { return std::make_unique<LibraryArea>(); }

}  // namespace simtool
