// The peer's history keeps every document, holds only the newest good one, survives failed
// writes without leftovers, and its lock keeps a second writer out.
#include "tools/peer/document_history.h"

#include <gtest/gtest.h>
#include <json/reader.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/pipes_files.h"
#include "platform/sim/core/test_api.h"
#include "tests/support/sim_test.h"
#include "tools/peer/document_check.h"
#include "tools/peer/file_io.h"
#include "tools/peer/peer_error.h"
#include "tools/peer/store_lock.h"

namespace {

using State = peer::RecordState;

const std::string kGood = R"({"GammaBlanking":null})";

class DocumentHistoryTest : public testing_support::SimTest {
 protected:
  peer::DocumentHistory history(unsigned keep = 20) const { return {simRoot / "store", keep}; }

  std::vector<State> states() const {
    std::vector<State> result;
    for (const peer::DocumentRecord& record : history().list()) result.push_back(record.state);
    return result;
  }

  // How many files in the records directory are not records: what a failed write left behind.
  std::ptrdiff_t leftovers() const {
    std::filesystem::directory_iterator files(history().recordsDirectory());
    return std::count_if(begin(files), end(files), [](const auto& f) { return f.path().extension() != ".record"; });
  }
};

TEST_F(DocumentHistoryTest, OnlyTheNewestGoodDocumentIsHeldAndNoneIsLost) {
  auto store = history();
  store.markServed(store.add(kGood, "blank").id);
  store.add(kGood + " ", "blank");                 // held, then superseded by the next
  store.add(kGood + "  ", "receive");
  store.add("{\"GammaBlan", "blank");              // cut short: kept, but neither held nor superseding
  EXPECT_EQ(states(), (std::vector<State>{State::Served, State::Superseded, State::Held, State::Damaged}));
  EXPECT_EQ(store.load(store.held()->id), kGood + "  ");
  EXPECT_EQ(store.find(3)->command, "receive");
}

TEST_F(DocumentHistoryTest, PruningKeepsTheNewestAndTheHeldOne) {
  auto store = history(2);
  store.add(kGood, "blank");                        // held throughout: damaged ones never supersede
  for (const char* text : {"not json 1", "not json 2", "not json 3"}) store.add(text, "blank");
  const auto kept = store.list();
  ASSERT_EQ(kept.size(), 2u);
  EXPECT_EQ(kept[0].id, 1u);  // the held one
  EXPECT_EQ(kept[1].id, 4u);  // the newest
}

// Every step of writing a record may fail; each leaves the history as it was and no file behind.
class FailedWriteTest : public DocumentHistoryTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(FailedWriteTest, LeavesTheHistoryAsItWas) {
  auto store = history();
  store.add(kGood, "blank");
  // Fails with `error` when this case's step is `name`, else lets the call through.
  const auto fail = [&](const char* name, DWORD error) -> std::optional<BOOL> {
    return GetParam() == std::string(name) ? (sim::setLastError(error), std::optional<BOOL>(FALSE)) : std::nullopt;
  };
  sim::test::ScopedHook write(&platform::WriteFile, "WriteFile", [&](HANDLE, LPCVOID, DWORD, LPDWORD, LPOVERLAPPED) {
    return fail("WriteFile", ERROR_DISK_FULL);
  });
  sim::test::ScopedHook move(&platform::MoveFileExW, "MoveFileExW",
                             [&](LPCWSTR, LPCWSTR, DWORD) { return fail("MoveFileExW", ERROR_ACCESS_DENIED); });
  EXPECT_THROW(store.add(kGood + " ", "blank"), peer::PeerError);
  EXPECT_THROW(store.probe(1048576), peer::PeerError);
  EXPECT_EQ(states(), std::vector<State>{State::Held});
  EXPECT_EQ(leftovers(), 0);
}

INSTANTIATE_TEST_SUITE_P(Steps, FailedWriteTest, ::testing::Values("WriteFile", "MoveFileExW"));

TEST_F(DocumentHistoryTest, TheSingleDocumentOfAnEarlierPeerBecomesTheFirstRecord) {
  peer::writeFileDurably(simRoot / "store" / "document.json", kGood);
  peer::writeFileDurably(simRoot / "store" / "document.state", "held\n");
  EXPECT_EQ(states(), std::vector<State>{State::Held});
  EXPECT_EQ(history().load(1), kGood);
  EXPECT_FALSE(std::filesystem::exists(simRoot / "store" / "document.json"));
}

TEST_F(DocumentHistoryTest, ASecondLockWaitsItsPatienceOutAndFails) {
  peer::StoreLock first(simRoot / "store", std::chrono::milliseconds(0));
  EXPECT_THROW(peer::StoreLock(simRoot / "store", std::chrono::milliseconds(50)), peer::PeerError);
}

TEST(DocumentCheckTest, UnsavedDisplaysAreNamedAndGetTheLinearRampInTheCopyOnly) {
  const std::string document = R"({"GammaBlanking":[
      {"displayName":"A","initialGammas":{"red":[1]},"initialGammasSaved":true},
      {"displayName":"B","initialGammas":{"red":[0]},"initialGammasSaved":false}]})";
  EXPECT_EQ(peer::unsavedDisplays(document), std::vector<std::string>{"B"});
  const std::string copy = peer::withLinearRampForUnsaved(document);
  EXPECT_TRUE(peer::unsavedDisplays(copy).empty());
  Json::Value root;
  ASSERT_TRUE(Json::Reader().parse(copy, root));
  const Json::Value& lit = root["GammaBlanking"][1]["initialGammas"];
  Json::Value ramp(Json::arrayValue);
  for (int i = 0; i < 256; ++i) ramp.append(i * 255);
  for (const char* channel : {"red", "green", "blue"}) EXPECT_EQ(lit[channel], ramp) << channel;
  EXPECT_EQ(root["GammaBlanking"][0]["initialGammas"]["red"][0].asUInt(), 1u);
}

}  // namespace
