// The peer's store on records it finds on disk: the input is split at its first byte into the
// document file and the state file, as a crash or another program could have left them. Whatever
// is found, reading never fails and a store afterwards holds exactly what it was given.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz/fuzz_support.h"
#include "tools/peer/document_store.h"

namespace {

using peer::DocumentStore;

void writeRaw(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
}

const std::filesystem::path& storeDirectory() {
  static const std::filesystem::path directory = fuzzing::useTemporarySimRoot() / "store";
  return directory;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::filesystem::path& directory = storeDirectory();
  std::filesystem::remove_all(directory);
  std::filesystem::create_directories(directory);
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t split = size == 0 ? 0 : std::min<std::size_t>(data[0], size - 1) + 1;
  const std::string stateText = input.substr(size == 0 ? 0 : 1, split == 0 ? 0 : split - 1);
  const std::string document = input.substr(split);
  const bool withDocument = size % 2 == 0;
  if (withDocument) {
    writeRaw(directory / "document.json", document);
  }
  if (size % 3 != 0) {
    writeRaw(directory / "document.state", stateText);
  }

  DocumentStore store(directory);
  const DocumentStore::State found = store.state();
  FUZZ_CHECK((found == DocumentStore::State::Empty) == !withDocument);
  if (withDocument) {
    FUZZ_CHECK(store.load() == document);
    FUZZ_CHECK((found == DocumentStore::State::Held) == (size % 3 != 0 && stateText == "held\n"));
  }

  store.store(input);
  FUZZ_CHECK(store.state() == DocumentStore::State::Held && store.load() == input);
  store.markServed();
  FUZZ_CHECK(store.state() == DocumentStore::State::Served && store.load() == input);
  return 0;
}
