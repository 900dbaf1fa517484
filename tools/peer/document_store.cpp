// The peer's document store: the document and its held/served mark, both replaced durably.
#include "tools/peer/document_store.h"

#include <utility>

#include "tools/peer/file_io.h"

namespace peer {
namespace {

constexpr char kHeld[] = "held\n";
constexpr char kServed[] = "served\n";

}  // namespace

DocumentStore::DocumentStore(std::filesystem::path directory) : directory(std::move(directory)) {}

std::filesystem::path DocumentStore::documentPath() const { return directory / "document.json"; }

std::filesystem::path DocumentStore::statePath() const { return directory / "document.state"; }

void DocumentStore::store(const std::string& document) {
  // The mark goes first: a crash in between leaves the old document marked held, which at worst
  // serves it again; the other order could mark a new, unserved document as served.
  writeFileDurably(statePath(), kHeld);
  writeFileDurably(documentPath(), document);
}

std::optional<std::string> DocumentStore::load() const { return readWholeFile(documentPath()); }

void DocumentStore::markServed() { writeFileDurably(statePath(), kServed); }

DocumentStore::State DocumentStore::state() const {
  if (!readWholeFile(documentPath())) {
    return State::Empty;
  }
  return readWholeFile(statePath()) == std::optional<std::string>(kHeld) ? State::Held
                                                                         : State::Served;
}

const char* stateName(DocumentStore::State state) {
  switch (state) {
    case DocumentStore::State::Held:
      return "held";
    case DocumentStore::State::Served:
      return "served";
    case DocumentStore::State::Empty:
      break;
  }
  return "empty";
}

}  // namespace peer
