// The peer's history of documents: one file per record, each replaced whole by a rename.
#include "tools/peer/document_history.h"

#include <algorithm>
#include <chrono>
#include <sstream>
#include <system_error>
#include <utility>

#include "tools/peer/document_check.h"
#include "tools/peer/file_io.h"
#include "tools/peer/peer_error.h"

namespace peer {
namespace {

constexpr char kMagic[] = "kestrine-peer-record";
// Record numbers stay below this: nine digits, as recordIds reads them.
constexpr unsigned kLargestId = 1000000000;

struct ParsedRecord {
  DocumentRecord record;
  std::size_t documentOffset = 0;
  std::string document;
};

std::optional<RecordState> stateFromName(const std::string& name) {
  for (const RecordState state : {RecordState::Held, RecordState::Served, RecordState::Damaged}) {
    if (name == stateName(state)) {
      return state;
    }
  }
  return std::nullopt;
}

// The header line: "kestrine-peer-record <id> <state> <receivedAt> <command> <bytes>", then each
// note behind a tab; the document follows the line.
std::optional<ParsedRecord> parseRecord(const std::string& content) {
  const std::size_t end = content.find('\n');
  if (end == std::string::npos) {
    return std::nullopt;
  }
  const std::string line = content.substr(0, end);
  const std::size_t notesStart = std::min(line.find('\t'), line.size());
  std::istringstream header(line.substr(0, notesStart));
  std::string magic;
  std::string state;
  std::string rest;
  ParsedRecord parsed;
  DocumentRecord& record = parsed.record;
  if (!(header >> magic >> record.id >> state >> record.receivedAt >> record.command >>
        record.bytes) ||
      (header >> rest) || magic != kMagic || !stateFromName(state) ||
      content.size() - end - 1 != record.bytes) {
    return std::nullopt;
  }
  for (std::size_t start = notesStart; start < line.size();) {
    const std::size_t next = std::min(line.find('\t', start + 1), line.size());
    record.notes.push_back(line.substr(start + 1, next - start - 1));
    start = next;
  }
  record.state = *stateFromName(state);
  parsed.documentOffset = end + 1;
  return parsed;
}

// The whole file of a record: header line with its notes, then the document.
std::string recordText(const DocumentRecord& record, const std::string& document) {
  std::ostringstream text;
  text << kMagic << ' ' << record.id << ' ' << stateName(record.state) << ' ' << record.receivedAt
       << ' ' << record.command << ' ' << document.size();
  for (const std::string& note : record.notes) {
    text << '\t' << note;
  }
  text << '\n';
  return text.str() + document;
}

// A note as one field of the header line, and the oldest dropped beyond kMostNotes.
void appendNote(DocumentRecord& record, std::string note) {
  if (note.empty()) {
    return;
  }
  std::replace_if(note.begin(), note.end(), [](char c) { return c == '\n' || c == '\r' || c == '\t'; }, ' ');
  record.notes.push_back(std::move(note));
  if (record.notes.size() > kMostNotes) {
    record.notes.erase(record.notes.begin());
  }
}

// The record in `path` under `id`. A record file whose header names another id than its file
// name is not one of ours: reading it under either id would serve or mark the wrong document.
std::optional<ParsedRecord> readRecordAt(const std::filesystem::path& path, unsigned id) {
  const std::optional<std::string> content = readWholeFile(path);
  std::optional<ParsedRecord> parsed = content ? parseRecord(*content) : std::nullopt;
  if (!parsed || parsed->record.id != id) {
    return std::nullopt;
  }
  parsed->document = content->substr(parsed->documentOffset);
  return parsed;
}

ParsedRecord requireRecordAt(const std::filesystem::path& path, unsigned id) {
  std::optional<ParsedRecord> parsed = readRecordAt(path, id);
  if (!parsed) {
    throw PeerError("the record " + path.u8string() + " is missing or damaged");
  }
  return *parsed;
}

}  // namespace

DocumentHistory::DocumentHistory(std::filesystem::path directory, unsigned keep)
    : directory(std::move(directory)), keep(std::max(keep, 1u)) {
  importOldStore();
}

std::filesystem::path DocumentHistory::recordPath(unsigned id) const {
  return recordsDirectory() / (std::to_string(id) + ".record");
}

std::vector<unsigned> DocumentHistory::recordIds() const {
  std::vector<unsigned> ids;
  std::error_code ec;
  if (std::filesystem::status(recordsDirectory(), ec).type() == std::filesystem::file_type::not_found) {
    return ids;  // nothing stored yet
  }
  std::filesystem::directory_iterator entries(recordsDirectory(), ec);
  for (; !ec && entries != std::filesystem::directory_iterator(); entries.increment(ec)) {
    const std::filesystem::directory_entry& entry = *entries;
    const std::filesystem::path name = entry.path().filename();
    const std::string stem = name.stem().u8string();
    // Ids are written by this class and stay below kLargestId; a longer run of digits is another
    // program's file, left alone rather than read past the range of unsigned.
    if (name.extension() == ".record" && !stem.empty() && stem.size() <= 9 &&
        stem.find_first_not_of("0123456789") == std::string::npos) {
      ids.push_back(static_cast<unsigned>(std::stoul(stem)));
    }
  }
  if (ec) {
    throw PeerError("cannot list the records in " + recordsDirectory().u8string() + ": " +
                    ec.message());
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

std::vector<DocumentRecord> DocumentHistory::list() const {
  std::vector<DocumentRecord> records;
  for (const unsigned id : recordIds()) {
    // A record that cannot be read is left where it is for a person to look at.
    if (const std::optional<ParsedRecord> parsed = readRecordAt(recordPath(id), id)) {
      records.push_back(parsed->record);
    }
  }
  // Walking from the newest: once a good document is found, every older held one is superseded.
  bool newerGood = false;
  for (auto record = records.rbegin(); record != records.rend(); ++record) {
    if (record->state == RecordState::Held && newerGood) {
      record->state = RecordState::Superseded;
    }
    newerGood = newerGood || record->state != RecordState::Damaged;
  }
  return records;
}

std::optional<DocumentRecord> DocumentHistory::find(unsigned id) const {
  for (const DocumentRecord& record : list()) {
    if (record.id == id) {
      return record;
    }
  }
  return std::nullopt;
}

std::optional<DocumentRecord> DocumentHistory::held() const {
  for (const DocumentRecord& record : list()) {
    if (record.state == RecordState::Held) {
      return record;
    }
  }
  return std::nullopt;
}

std::string DocumentHistory::load(unsigned id) const {
  return requireRecordAt(recordPath(id), id).document;
}

void DocumentHistory::probe(std::size_t bytes) const {
  const std::filesystem::path path = recordsDirectory() / "probe";
  try {
    writeFileDurably(path, std::string(bytes, ' '));
  } catch (const PeerError& e) {
    throw PeerError("the store " + directory.u8string() + " cannot take a document of " +
                    std::to_string(bytes) + " bytes: " + e.what());
  }
  std::error_code ec;
  std::filesystem::remove(path, ec);
}

DocumentRecord DocumentHistory::add(const std::string& document, const std::string& command,
                                    const std::string& note) {
  const std::vector<unsigned> ids = recordIds();
  DocumentRecord record;
  record.id = ids.empty() ? 1 : ids.back() + 1;
  record.state = isCompleteDocument(document) ? RecordState::Held : RecordState::Damaged;
  record.receivedAt = std::chrono::duration_cast<std::chrono::seconds>(
                          std::chrono::system_clock::now().time_since_epoch())
                          .count();
  record.command = command;
  record.bytes = document.size();
  appendNote(record, note);
  // A file that appeared under the number since the listing keeps it: the record takes the next.
  for (;; ++record.id) {
    if (record.id >= kLargestId) {
      throw PeerError("no free record number in " + recordsDirectory().u8string());
    }
    if (createFileDurably(recordPath(record.id), recordText(record, document))) {
      break;
    }
  }
  try {
    prune();
  } catch (const PeerError&) {
    // The record is stored; old ones go at the next chance.
  }
  return record;
}

void DocumentHistory::markServed(unsigned id, const std::string& note) { update(id, note, true); }

void DocumentHistory::addNote(unsigned id, const std::string& note) { update(id, note, false); }

void DocumentHistory::update(unsigned id, const std::string& note, bool served) {
  ParsedRecord parsed = requireRecordAt(recordPath(id), id);
  if (served) {
    parsed.record.state = RecordState::Served;
  }
  appendNote(parsed.record, note);
  writeFileDurably(recordPath(id), recordText(parsed.record, parsed.document));
}

void DocumentHistory::prune() {
  std::vector<DocumentRecord> records = list();
  std::size_t excess = records.size() > keep ? records.size() - keep : 0;
  for (const DocumentRecord& record : records) {
    if (excess == 0) {
      break;
    }
    if (record.state != RecordState::Held) {
      std::error_code ec;
      std::filesystem::remove(recordPath(record.id), ec);
      --excess;
    }
  }
}

// Earlier peers kept one document.json with a document.state mark beside it: it becomes the
// first record, in the state its mark gave it.
void DocumentHistory::importOldStore() {
  const std::filesystem::path oldDocument = directory / "document.json";
  const std::filesystem::path oldState = directory / "document.state";
  const std::optional<std::string> document = readWholeFile(oldDocument);
  if (!document) {
    return;
  }
  DocumentRecord record = add(*document, "blank");
  if (record.state == RecordState::Held && readWholeFile(oldState) != std::string("held\n")) {
    markServed(record.id);
  }
  std::error_code ec;
  std::filesystem::remove(oldState, ec);
  std::filesystem::remove(oldDocument, ec);
}

const char* stateName(RecordState state) {
  switch (state) {
    case RecordState::Held:
      return "held";
    case RecordState::Served:
      return "served";
    case RecordState::Superseded:
      return "superseded";
    case RecordState::Damaged:
      break;
  }
  return "damaged";
}

}  // namespace peer
