// The steps the peer's commands take on the store: lock it, refuse to bury a held document, keep
// every document that arrives whatever happens to the store, and pick the document to serve.
#pragma once

#include <optional>
#include <string>

#include "tools/peer/document_history.h"
#include "tools/peer/peer_options.h"
#include "tools/peer/store_lock.h"

namespace peer {

// The largest document the tool reads back; a store that cannot take this much refuses a save.
constexpr std::size_t kLargestDocument = 1048576;

// The store of the options, locked for as long as this object lives.
struct LockedStore {
  explicit LockedStore(const PeerOptions& options);

  StoreLock lock;
  DocumentHistory history;
};

// Throws PeerError when a held document has not been served and --force was not given: a new save
// would record displays that may still be dark.
void refuseIfHeld(const DocumentHistory& history, const PeerOptions& options);

// Stores a document that arrived and says where it went. When the store fails, the document goes
// to <store>-rescued beside the store, or, failing that, whole to standard output. Gives the
// record when the store took it.
std::optional<DocumentRecord> keepDocument(DocumentHistory& history, const std::string& document,
                                           const std::string& command);

// What to serve: the held record, or --from's; with --linear-for-unsaved a copy that lights the
// displays the document cannot bring back. Throws PeerError when there is none.
struct Serving {
  DocumentRecord record;
  std::string document;
};
Serving documentToServe(const DocumentHistory& history, const PeerOptions& options);

// After a served document was confirmed: marks a held record served and says how to serve it again.
void reportServed(DocumentHistory& history, const Serving& serving);

}  // namespace peer
