// The peer's history on record files as a crash or another program could have left them: the
// input, cut at its zero bytes, gives up to six files records/1.record, records/2.record, ...
// Whatever is found, listing never fails, at most one record is held, and a new document is
// stored and served byte for byte without touching any record that was there before.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "fuzz/fuzz_support.h"
#include "tools/peer/document_check.h"
#include "tools/peer/document_history.h"

using peer::DocumentHistory;
using peer::RecordState;

namespace {

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::filesystem::path directory = fuzzing::useTemporarySimRoot() / "store";
  std::filesystem::remove_all(directory);
  std::filesystem::create_directories(directory / "records");
  const std::string input(reinterpret_cast<const char*>(data), size);

  std::map<std::filesystem::path, std::string> planted;
  for (std::size_t start = 0, id = 1; start < input.size() && id <= 6; ++id) {
    const std::size_t end = std::min(input.find('\0', start), input.size());
    const auto path = directory / "records" / (std::to_string(id) + ".record");
    planted[path] = input.substr(start, end - start);
    std::ofstream(path, std::ios::binary) << planted[path];
    start = end + 1;
  }

  DocumentHistory history(directory, 20);
  const auto records = history.list();
  FUZZ_CHECK(std::count_if(records.begin(), records.end(), [](const peer::DocumentRecord& r) {
               return r.state == RecordState::Held;
             }) <= 1);

  const peer::DocumentRecord added = history.add(input, "receive");
  FUZZ_CHECK(history.load(added.id) == input);
  FUZZ_CHECK((added.state == RecordState::Held) == peer::isCompleteDocument(input));
  FUZZ_CHECK(added.state != RecordState::Held || history.held()->id == added.id);
  history.markServed(added.id);
  FUZZ_CHECK(history.load(added.id) == input && history.find(added.id)->state == RecordState::Served);
  for (const auto& [path, content] : planted) FUZZ_CHECK(contentOf(path) == content);
  return 0;
}
