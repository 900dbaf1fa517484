// The peer's store steps, shared by blank, unblank, receive and send.
#include "tools/peer/store_steps.h"

#include <chrono>
#include <iostream>

#include "tools/peer/commands.h"
#include "tools/peer/document_check.h"
#include "tools/peer/file_io.h"
#include "tools/peer/peer_error.h"

namespace peer {
namespace {

// Long enough for another peer's whole blank or unblank with its default limits.
constexpr std::chrono::seconds kLockPatience{120};

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

void rescue(const DocumentHistory& history, const std::string& document) {
  std::filesystem::path store = history.recordsDirectory().parent_path();
  const std::filesystem::path rescued =
      store.parent_path() / (store.filename().u8string() + "-rescued") /
      ("document-" + std::to_string(std::chrono::duration_cast<std::chrono::seconds>(
                                        std::chrono::system_clock::now().time_since_epoch())
                                        .count()) +
       "-" + std::to_string(document.size()) + ".json");
  try {
    writeFileDurably(rescued, document);
    printStatus("the document was written to " + rescued.u8string() +
                " instead; `kestrine-peer send --in` that file serves it to a restore");
  } catch (const PeerError& e) {
    printStatus("the document cannot be written anywhere either (" + std::string(e.what()) +
                "); here it is whole, between the two marker lines: keep it, and serve it with "
                "`kestrine-peer send --in FILE`");
    std::cout << "-----BEGIN KESTRINE DISPLAY STATE DOCUMENT-----\n"
              << document << "\n-----END KESTRINE DISPLAY STATE DOCUMENT-----" << std::endl;
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
                                           const std::string& command) {
  try {
    const DocumentRecord record = history.add(document, command);
    if (record.state == RecordState::Damaged) {
      printStatus("received " + std::to_string(document.size()) + " bytes that are no complete "
                  "document: kept as " + recordName(record) + " (damaged), never served unless "
                  "asked for with --from " + std::to_string(record.id));
    } else {
      printStatus("received " + std::to_string(document.size()) + " bytes, held as " +
                  recordName(record) + " in " + history.recordsDirectory().u8string() +
                  " until a restore has used it");
      nameUnsavedDisplays(document);
    }
    return record;
  } catch (const PeerError& e) {
    printStatus("cannot store the " + std::to_string(document.size()) + "-byte document that "
                "arrived: " + e.what());
    rescue(history, document);
    return std::nullopt;
  }
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

void reportServed(DocumentHistory& history, const Serving& serving) {
  if (serving.record.state == RecordState::Held) {
    try {
      history.markServed(serving.record.id);
    } catch (const PeerError& e) {
      printStatus("cannot mark " + recordName(serving.record) + " served (" + e.what() +
                  "); it stays held");
    }
  }
  printStatus("sent " + std::to_string(serving.document.size()) + " bytes of " +
              recordName(serving.record) + "; it stays in the history: should a display still be "
              "dark, `kestrine-peer unblank --from " + std::to_string(serving.record.id) +
              "` serves it again");
}

}  // namespace peer
