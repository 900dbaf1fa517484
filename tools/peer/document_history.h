// Where the peer keeps display state documents: every document it received, newest last, so that
// none is ever thrown away while it may still be the only way back from dark displays.
//   <directory>/records/<id>.record   one record: a header line that ends with its notes (what
//                                     the tool said when it was saved or served, each behind a
//                                     tab), then the document's bytes
// A record is written whole to a temporary file and renamed into place, so its document and its
// state always change together. Only the newest good record can be held: an older record still
// marked held was superseded by a newer one. A new record gets a number no file has yet, and
// its file is created, never put over an existing one. Callers hold the StoreLock.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace peer {

enum class RecordState { Held, Served, Superseded, Damaged };

struct DocumentRecord {
  unsigned id = 0;
  RecordState state = RecordState::Held;
  std::int64_t receivedAt = 0;  // seconds since 1970-01-01 UTC
  std::string command;          // the command that received it: blank or receive
  std::size_t bytes = 0;
  std::vector<std::string> notes;  // oldest first, at most kMostNotes
};

// Notes beyond this many drop the oldest.
constexpr std::size_t kMostNotes = 32;

class DocumentHistory {
 public:
  // `keep`: how many records stay; older ones go, except a held one.
  DocumentHistory(std::filesystem::path directory, unsigned keep);

  // Oldest first, with each record's state as it stands. Throws PeerError when the records
  // directory exists but cannot be listed: that is never taken for an empty store.
  std::vector<DocumentRecord> list() const;
  std::optional<DocumentRecord> find(unsigned id) const;
  // The newest held record, if any.
  std::optional<DocumentRecord> held() const;
  std::string load(unsigned id) const;

  // Proves that a document of `bytes` can be stored: writes and removes a file that large where
  // records go. Throws PeerError with the reason when it cannot.
  void probe(std::size_t bytes) const;

  // Stores a new record and gives it. A document the tool could not read is kept as Damaged,
  // never held. `note`, if not empty, is its first note. Throws PeerError when the record cannot
  // be written.
  DocumentRecord add(const std::string& document, const std::string& command,
                     const std::string& note = "");
  // Marks the record served, with `note` added if it is not empty.
  void markServed(unsigned id, const std::string& note = "");
  // Adds `note` to the record and leaves its state as it is.
  void addNote(unsigned id, const std::string& note);

  std::filesystem::path recordsDirectory() const { return directory / "records"; }

 private:
  std::filesystem::path recordPath(unsigned id) const;
  std::vector<unsigned> recordIds() const;
  void update(unsigned id, const std::string& note, bool served);
  void importOldStore();
  void prune();

  std::filesystem::path directory;
  unsigned keep;
};

const char* stateName(RecordState state);

}  // namespace peer
