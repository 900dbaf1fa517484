// The peer's store steps, shared by blank, unblank, receive and send.
#include "tools/peer/store_steps.h"

#include <chrono>
#include <exception>
#include <iostream>

#include "tools/peer/commands.h"
#include "tools/peer/document_check.h"
#include "tools/peer/file_io.h"
#include "tools/peer/peer_error.h"

namespace peer {
namespace {

// Long enough for another peer's whole blank or unblank with its default limits.
constexpr std::chrono::seconds kLockPatience{120};
// Rescue files of one second and one size beyond this many are not made.
constexpr unsigned kMostRescueFiles = 1000;

std::string recordName(const DocumentRecord& record) { return "#" + std::to_string(record.id); }

// The document's displays that it holds no ramp for, named so that nobody is surprised by a
// display that stays dark.
void nameUnsavedDisplays(const std::string& document) {
  for (const std::string& display : unsavedDisplays(document)) {
    printStatus("warning: the document holds no saved ramp for " + display +
                " (initialGammasSaved false): that display may be dark now and `kestrine-peer "
                "unblank` will leave it so; `kestrine-peer unblank --linear-for-unsaved` brings it "
                "back with the linear ramp");
  }
}

// A new file in <store>-rescued: document-<seconds>-<bytes>.json, or with -2, -3, ... behind it
// when that name is taken. Throws when none can be made.
std::filesystem::path writeRescueFile(const std::filesystem::path& store, const std::string& document) {
  const std::filesystem::path directory = store.parent_path() / (store.filename().u8string() + "-rescued");
  const std::string stem =
      "document-" +
      std::to_string(std::chrono::duration_cast<std::chrono::seconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count()) +
      "-" + std::to_string(document.size());
  for (unsigned number = 1; number <= kMostRescueFiles; ++number) {
    const std::filesystem::path path =
        directory / (stem + (number == 1 ? std::string() : "-" + std::to_string(number)) + ".json");
    if (createFileDurably(path, document)) {
      return path;
    }
  }
  throw PeerError("every rescue file name of " + stem + " in " + directory.u8string() + " is taken");
}

void printWhole(const std::string& document) {
  std::cout << "-----BEGIN KESTRINE DISPLAY STATE DOCUMENT-----\n"
            << document << "\n-----END KESTRINE DISPLAY STATE DOCUMENT-----" << std::endl;
}

// The second and third way to keep a document. Never throws.
void rescue(const std::filesystem::path& store, const std::string& document) noexcept {
  std::string failure = "unknown failure";
  try {
    const std::filesystem::path rescued = writeRescueFile(store, document);
    printStatus("the document was written to " + rescued.u8string() +
                " instead; `kestrine-peer send --in` that file serves it to a restore");
    return;
  } catch (const std::exception& e) {
    failure = e.what();
  } catch (...) {
  }
  try {
    printStatus("the document cannot be written anywhere either (" + failure + "); here it is "
                "whole, between the two marker lines: keep it, and serve it with `kestrine-peer "
                "send --in FILE`");
    printWhole(document);
  } catch (...) {
    // Standard output is the last place there is.
  }
}

std::string failureText(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
    return "unknown failure";
  }
}

// What keepDocument says once the record is written.
void reportKept(const DocumentHistory& history, const DocumentRecord& record, const std::string& document) {
  if (record.state == RecordState::Damaged) {
    const std::optional<std::string> problem = unreadableReason(document);
    printStatus("received " + std::to_string(document.size()) + " bytes that are no complete "
                "document: kept as " + recordName(record) + " (damaged, as the tool could not read "
                "it: " + problem.value_or("no document") + "), never served unless asked for "
                "with --from " + std::to_string(record.id));
  } else {
    printStatus("received " + std::to_string(document.size()) + " bytes, held as " +
                recordName(record) + " in " + history.recordsDirectory().u8string() +
                " until a restore has used it");
    nameUnsavedDisplays(document);
  }
}
}  // namespace

LockedStore::LockedStore(const PeerOptions& options)
    : lock(options.storeDirectory, kLockPatience), history(options.storeDirectory, options.keep) {}

void refuseIfHeld(const DocumentHistory& history, const PeerOptions& options) {
  const std::optional<DocumentRecord> held = history.held();
  if (held && !options.force) {
    throw PeerError("document " + recordName(*held) + " from an earlier save is held and no "
                    "restore has used it yet: the displays may still be dark, and a new save "
                    "would record them dark. Run `kestrine-peer unblank` first, or give --force "
                    "(the held document then stays in the history as superseded)");
  }
}

std::optional<DocumentRecord> keepDocument(DocumentHistory& history, const std::string& document,
                                           const std::string& command) noexcept {
  std::exception_ptr failure;
  try {
    const DocumentRecord record = history.add(document, command);
    try {
      reportKept(history, record, document);
    } catch (...) {
      // Stored: what cannot be said does not matter any more.
    }
    return record;
  } catch (...) {
    failure = std::current_exception();
  }
  try {
    printStatus("cannot store the " + std::to_string(document.size()) + "-byte document that "
                "arrived: " + failureText(failure));
  } catch (...) {
  }
  rescue(history.recordsDirectory().parent_path(), document);
  return std::nullopt;
}

std::optional<DocumentRecord> keepDocument(const PeerOptions& options, const std::string& document,
                                           const std::string& command) noexcept {
  std::exception_ptr failure;
  try {
    LockedStore store(options);
    return keepDocument(store.history, document, command);
  } catch (...) {
    failure = std::current_exception();
  }
  try {
    printStatus("cannot open the store " + options.storeDirectory.u8string() + " for the " +
                std::to_string(document.size()) + "-byte document that arrived: " +
                failureText(failure));
  } catch (...) {
  }
  rescue(options.storeDirectory, document);
  return std::nullopt;
}

Serving documentToServe(const DocumentHistory& history, const PeerOptions& options) {
  std::optional<DocumentRecord> record;
  if (options.fromRecord) {
    record = history.find(*options.fromRecord);
    if (!record) {
      throw PeerError("the history holds no document #" + std::to_string(*options.fromRecord) +
                      " (see `kestrine-peer history`)");
    }
  } else {
    record = history.held();
    if (!record) {
      throw PeerError(history.list().empty()
                          ? "no document is held: there is nothing to restore (run "
                            "`kestrine-peer blank` first)"
                          : "no document is held: every kept one was served or superseded; give "
                            "--from ID to serve one of them again (see `kestrine-peer history`)");
    }
  }
  Serving serving{*record, history.load(record->id)};
  if (options.linearForUnsaved) {
    for (const std::string& display : unsavedDisplays(serving.document)) {
      printStatus(display + " gets the linear ramp: the document holds no saved ramp for it");
    }
    serving.document = withLinearRampForUnsaved(serving.document);
  }
  return serving;
}

void reportServed(DocumentHistory& history, const Serving& serving, const std::string& note) {
  try {
    if (serving.record.state == RecordState::Held) {
      history.markServed(serving.record.id, note);
    } else {
      history.addNote(serving.record.id, note);
    }
  } catch (const PeerError& e) {
    printStatus("cannot record the serving of " + recordName(serving.record) + " (" + e.what() +
                "); it stays " + stateName(serving.record.state));
  }
  printStatus("sent " + std::to_string(serving.document.size()) + " bytes of " +
              recordName(serving.record) + "; it stays in the history: should a display still be "
              "dark, `kestrine-peer unblank --from " + std::to_string(serving.record.id) +
              "` serves it again");
}

void reportNotRestored(DocumentHistory& history, const Serving& serving, const std::string& note) {
  try {
    history.addNote(serving.record.id, note);
  } catch (const PeerError& e) {
    printStatus("cannot record the restore's verdict in " + recordName(serving.record) + " (" +
                e.what() + ")");
  }
  const std::string again = serving.record.state == RecordState::Held
                                ? "`kestrine-peer unblank`"
                                : "`kestrine-peer unblank --from " + std::to_string(serving.record.id) + "`";
  printStatus(recordName(serving.record) + " stays " + stateName(serving.record.state) +
              ": a display it holds may still be dark. Clear what kept it back (the tool's log "
              "tells what failed), then " + again + " serves it again; when no kept document can "
              "help, `kestrine-peer unblank --relight` lights every display with the linear ramp");
}

}  // namespace peer
