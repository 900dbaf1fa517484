// The peer's store on records it finds on disk, as a crash or another program could have left
// them: the first byte of the input says whether the document file (bit 7) and the state file
// (bit 6) exist and how many of the following bytes are the state file (bits 0-5); the rest is
// the document. Whatever is found, reading never fails and a store afterwards holds exactly what
// it was given.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz/fuzz_support.h"
#include "tools/peer/document_store.h"

using peer::DocumentStore;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::filesystem::path directory = fuzzing::useTemporarySimRoot() / "store";
  std::filesystem::remove_all(directory);
  std::filesystem::create_directories(directory);
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::uint8_t layout = size > 0 ? data[0] : 0;
  const std::string stateText = input.substr(size > 0 ? 1 : 0, layout & 0x3F);
  const std::string document = input.substr(std::min(size, 1 + stateText.size()));
  const bool withDocument = (layout & 0x80) != 0;
  const bool withState = (layout & 0x40) != 0;
  if (withDocument) {
    std::ofstream(directory / "document.json", std::ios::binary) << document;
  }
  if (withState) {
    std::ofstream(directory / "document.state", std::ios::binary) << stateText;
  }

  DocumentStore store(directory);
  const DocumentStore::State found = store.state();
  FUZZ_CHECK((found == DocumentStore::State::Empty) == !withDocument);
  FUZZ_CHECK(!withDocument || store.load() == document);
  FUZZ_CHECK(!withDocument || (found == DocumentStore::State::Held) == (withState && stateText == "held\n"));
  store.store(input);
  FUZZ_CHECK(store.state() == DocumentStore::State::Held && store.load() == input);
  store.markServed();
  FUZZ_CHECK(store.state() == DocumentStore::State::Served && store.load() == input);
  return 0;
}
