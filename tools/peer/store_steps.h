// The steps the peer's commands take on the store: lock it, refuse to bury a held document, keep
// every document that arrives whatever happens to the store, and pick the document to serve.
#pragma once

#include <optional>
#include <string>

#include "tools/peer/document_check.h"
#include "tools/peer/document_history.h"
#include "tools/peer/peer_options.h"
#include "tools/peer/store_lock.h"

namespace peer {

// The store of the options, locked for as long as this object lives.
struct LockedStore {
  explicit LockedStore(const PeerOptions& options);

  StoreLock lock;
  DocumentHistory history;
};

// Throws PeerError when a held document has not been served and --force was not given: a new save
// would record displays that may still be dark.
void refuseIfHeld(const DocumentHistory& history, const PeerOptions& options);

// Stores a document that arrived, before anything is printed, and then says where it went: a new
// record of the history; when that fails in any way, a new file in <store>-rescued beside the
// store; when that fails too, the document whole on standard output. Never throws. Gives the
// record when the store took it.
std::optional<DocumentRecord> keepDocument(DocumentHistory& history, const std::string& document,
                                           const std::string& command) noexcept;

// The same for a command that does not hold the store yet: locks it first. A store that cannot be
// locked or opened sends the document straight on to the rescue.
std::optional<DocumentRecord> keepDocument(const PeerOptions& options, const std::string& document,
                                           const std::string& command) noexcept;

// What to serve: the held record, or --from's; with --linear-for-unsaved a copy that lights the
// displays the document cannot bring back. Throws PeerError when there is none.
struct Serving {
  DocumentRecord record;
  std::string document;
};
Serving documentToServe(const DocumentHistory& history, const PeerOptions& options);

// After a served document brought every display back, or was confirmed by a client the peer did
// not start: marks a held record served, adds `note` to it and says how to serve it again.
void reportServed(DocumentHistory& history, const Serving& serving, const std::string& note);

// After a restore that did not bring every display back: adds `note` to the record, which stays
// as it was (a held one stays held), and says what to do next.
void reportNotRestored(DocumentHistory& history, const Serving& serving, const std::string& note);

}  // namespace peer
