// Where the peer keeps the display state document between a save and a restore:
//   <directory>/document.json   the document, replaced durably on each store
//   <directory>/document.state  "held" after a store, "served" once it was sent to a client
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace peer {

class DocumentStore {
 public:
  enum class State { Empty, Held, Served };

  explicit DocumentStore(std::filesystem::path directory);

  std::filesystem::path documentPath() const;

  // Stores the document durably and marks it held: received and not yet served.
  void store(const std::string& document);
  std::optional<std::string> load() const;
  void markServed();
  State state() const;

 private:
  std::filesystem::path statePath() const;

  std::filesystem::path directory;
};

const char* stateName(DocumentStore::State state);

}  // namespace peer
