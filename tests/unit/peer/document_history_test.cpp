// The peer's history keeps every document, holds only the newest good one, survives failed
// writes without leftovers, and its lock keeps a second writer out.
#include "tools/peer/document_history.h"

#include <gtest/gtest.h>
#include <json/reader.h>

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

using peer::RecordState;

const std::string kGood = R"({"GammaBlanking":null})";

class DocumentHistoryTest : public testing_support::SimTest {
 protected:
  peer::DocumentHistory history(unsigned keep = 20) const {
    return peer::DocumentHistory(simRoot / "store", keep);
  }

  std::vector<RecordState> states() const {
    std::vector<RecordState> result;
    for (const peer::DocumentRecord& record : history().list()) {
      result.push_back(record.state);
    }
    return result;
  }

  std::vector<std::string> leftovers() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(history().recordsDirectory())) {
      if (entry.path().extension() != ".record") {
        names.push_back(entry.path().filename().string());
      }
    }
    return names;
  }
};

TEST_F(DocumentHistoryTest, OnlyTheNewestGoodDocumentIsHeldAndNoneIsLost) {
  auto store = history();
  const auto first = store.add(kGood, "blank");
  store.markServed(first.id);
  store.add(kGood + " ", "blank");                 // held, then superseded by the next
  const auto third = store.add(kGood + "  ", "receive");
  store.add("{\"GammaBlan", "blank");              // cut short: kept, but neither held nor superseding
  EXPECT_EQ(states(), (std::vector<RecordState>{RecordState::Served, RecordState::Superseded,
                                                RecordState::Held, RecordState::Damaged}));
  EXPECT_EQ(store.held()->id, third.id);
  EXPECT_EQ(store.load(third.id), kGood + "  ");
  EXPECT_EQ(store.load(4), "{\"GammaBlan");
  EXPECT_EQ(store.find(third.id)->command, "receive");
}

TEST_F(DocumentHistoryTest, PruningKeepsTheNewestAndTheHeldOne) {
  auto store = history(2);
  store.add(kGood, "blank");                        // held throughout: damaged ones never supersede
  for (int i = 0; i < 3; ++i) {
    store.add("not json " + std::to_string(i), "blank");
  }
  std::vector<unsigned> ids;
  for (const auto& record : store.list()) {
    ids.push_back(record.id);
  }
  EXPECT_EQ(ids, (std::vector<unsigned>{1, 4}));
  EXPECT_EQ(store.held()->id, 1u);
}

// Every step of writing a record may fail; each leaves the history as it was and no file behind.
class FailedWriteTest : public DocumentHistoryTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(FailedWriteTest, LeavesTheHistoryAsItWas) {
  auto store = history();
  store.add(kGood, "blank");
  const std::string step = GetParam();
  sim::test::ScopedHook write(&platform::WriteFile, "WriteFile",
                              [&](HANDLE, LPCVOID, DWORD, LPDWORD, LPOVERLAPPED) -> std::optional<BOOL> {
                                if (step != "WriteFile") return std::nullopt;
                                sim::setLastError(ERROR_DISK_FULL);
                                return FALSE;
                              });
  sim::test::ScopedHook move(&platform::MoveFileExW, "MoveFileExW",
                             [&](LPCWSTR, LPCWSTR, DWORD) -> std::optional<BOOL> {
                               if (step != "MoveFileExW") return std::nullopt;
                               sim::setLastError(ERROR_ACCESS_DENIED);
                               return FALSE;
                             });
  EXPECT_THROW(store.add(kGood + " ", "blank"), peer::PeerError);
  EXPECT_THROW(store.probe(1048576), peer::PeerError);
  EXPECT_EQ(states(), std::vector<RecordState>{RecordState::Held});
  EXPECT_TRUE(leftovers().empty());
}

INSTANTIATE_TEST_SUITE_P(Steps, FailedWriteTest, ::testing::Values("WriteFile", "MoveFileExW"));

TEST_F(DocumentHistoryTest, TheSingleDocumentOfAnEarlierPeerBecomesTheFirstRecord) {
  peer::writeFileDurably(simRoot / "store" / "document.json", kGood);
  peer::writeFileDurably(simRoot / "store" / "document.state", "held\n");
  EXPECT_EQ(states(), std::vector<RecordState>{RecordState::Held});
  EXPECT_EQ(history().load(1), kGood);
  EXPECT_FALSE(std::filesystem::exists(simRoot / "store" / "document.json"));
}

TEST_F(DocumentHistoryTest, ASecondLockWaitsItsPatienceOutAndFails) {
  peer::StoreLock first(simRoot / "store", std::chrono::milliseconds(0));
  try {
    peer::StoreLock second(simRoot / "store", std::chrono::milliseconds(50));
    FAIL() << "two holders of one store lock";
  } catch (const peer::PeerError& e) {
    EXPECT_NE(std::string(e.what()).find("another kestrine-peer"), std::string::npos) << e.what();
  }
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
  for (const char* channel : {"red", "green", "blue"}) {
    ASSERT_EQ(lit[channel].size(), 256u);
    EXPECT_EQ(lit[channel][255].asUInt(), 255u * 255u);
    EXPECT_EQ(lit[channel][1].asUInt(), 255u);
  }
  EXPECT_EQ(root["GammaBlanking"][0]["initialGammas"]["red"][0].asUInt(), 1u);
  EXPECT_FALSE(peer::isCompleteDocument(document.substr(0, 40)));
}

}  // namespace
