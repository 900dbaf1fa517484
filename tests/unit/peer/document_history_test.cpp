// The peer's history keeps every document, holds only the newest good one, survives failed
// writes without leftovers, and its lock keeps a second writer out.
#include "tools/peer/document_history.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "common/owned_handles.h"
#include "common/text_conversion.h"
#include "platform/pipes_files.h"
#include "platform/sim/core/test_api.h"
#include "tests/support/sim_test.h"
#include "tools/peer/file_io.h"
#include "tools/peer/peer_error.h"
#include "tools/peer/run_output.h"
#include "tools/peer/store_lock.h"
#include "tools/peer/store_steps.h"

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
  sim::test::ScopedHook write(&platform::WriteFile, [&](HANDLE, LPCVOID, DWORD, LPDWORD, LPOVERLAPPED) {
    return fail("WriteFile", ERROR_DISK_FULL);
  });
  sim::test::ScopedHook move(&platform::MoveFileExW, [&](LPCWSTR, LPCWSTR, DWORD) { return fail("MoveFileExW", ERROR_ACCESS_DENIED); });
  EXPECT_THROW(store.add(kGood + " ", "blank"), peer::PeerError);
  EXPECT_THROW(store.probe(1048576), peer::PeerError);
  EXPECT_EQ(states(), std::vector<State>{State::Held});
  EXPECT_EQ(leftovers(), 0);
}

INSTANTIATE_TEST_SUITE_P(Steps, FailedWriteTest, ::testing::Values("WriteFile", "MoveFileExW"));

// A record file that appears under the next number between the listing and the rename keeps it:
// the new record takes the number after, and notes travel with the record.
TEST_F(DocumentHistoryTest, ARecordNeverReplacesAFileThatAppearedUnderItsNumber) {
  auto store = history();
  const auto planted = store.recordsDirectory() / "1.record";
  sim::test::ScopedHook move(&platform::MoveFileExW, [&](LPCWSTR, LPCWSTR, DWORD flags) {
    if (!(flags & MOVEFILE_REPLACE_EXISTING) && !std::filesystem::exists(planted)) std::ofstream(planted) << "another writer";
    return std::optional<BOOL>();
  });
  const peer::DocumentRecord added = store.add(kGood, "blank", "saved: first");
  EXPECT_EQ(added.id, 2u);
  EXPECT_EQ(peer::readWholeFile(planted), std::string("another writer"));
  store.markServed(added.id, "served: 2 of 2 validated");
  EXPECT_EQ(store.find(2)->notes, (std::vector<std::string>{"saved: first", "served: 2 of 2 validated"}));
  EXPECT_EQ(store.load(2), kGood);
}

// Past the last nine-digit number a record would take a name no listing reads.
TEST_F(DocumentHistoryTest, NoRecordIsWrittenPastTheLastNumber) {
  auto store = history();
  store.add(kGood, "blank");
  peer::writeFileDurably(store.recordsDirectory() / "1234567890.record", "another program's file");
  EXPECT_EQ(store.add(kGood, "blank").id, 2u) << "ten digits are not a record's name";
  std::filesystem::rename(store.recordsDirectory() / "2.record", store.recordsDirectory() / "999999999.record");
  EXPECT_THROW(store.add(kGood, "blank"), peer::PeerError);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(store.recordsDirectory()), {}), 3);
  EXPECT_EQ(store.list().size(), 1u) << "a record whose header names another number is not ours";
}

// A run's kept output goes when its record is pruned, nine-digit numbers too.
TEST_F(DocumentHistoryTest, ARunOutputGoesWithItsPrunedRecord) {
  auto store = history(1);
  peer::writeFileDurably(store.recordsDirectory() / "123456788.record", "another program's file");
  for (int run = 0; run < 2; ++run) peer::keepRunOutput(store, store.add(kGood, "blank").id, "blank", "output");
  EXPECT_TRUE(peer::runOutputs(store, 123456789).empty());
  EXPECT_EQ(peer::runOutputs(store, 123456790).size(), 1u);
}

// Another program may hold a record for a moment (an indexer, a backup): the store tries again
// and goes on. One that keeps it, by an open without sharing or by making it read-only, makes
// the step fail with a message that names the record and why, and nothing is lost.
TEST_F(DocumentHistoryTest, AHeldOrReadOnlyRecordIsTriedAgainThenNamed) {
  auto store = history();
  const unsigned id = store.add(kGood, "blank").id;
  const auto record = store.recordsDirectory() / (std::to_string(id) + ".record");
  const auto failsNamingIt = [&](const std::function<void()>& step) {
    try {
      step();
      ADD_FAILURE() << "expected a failure";
    } catch (const peer::PeerError& e) {
      EXPECT_NE(std::string(e.what()).find(record.u8string() + " (another program holds it"), std::string::npos)
          << e.what();
    }
  };
  {
    int refusals = 3;  // fewer than the tries
    sim::test::ScopedHook held(&platform::CreateFileW, [&](LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) {
                                 if (refusals-- <= 0) return std::optional<HANDLE>();
                                 sim::setLastError(ERROR_SHARING_VIOLATION);
                                 return std::optional<HANDLE>(INVALID_HANDLE_VALUE);
                               });
    EXPECT_EQ(store.load(id), kGood);
  }
  {
    const velmo::KernelHandle holder(platform::CreateFileW(velmo::utf8ToWide(record.u8string()).c_str(), GENERIC_READ,
                                                           0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(holder);
    failsNamingIt([&] { store.load(id); });
  }
  std::filesystem::permissions(record, std::filesystem::perms::owner_write, std::filesystem::perm_options::remove);
  failsNamingIt([&] { store.markServed(id); });
  EXPECT_EQ(states(), std::vector<State>{State::Held});
  EXPECT_EQ(leftovers(), 0);
}

TEST_F(DocumentHistoryTest, AListingThatFailsIsAnErrorNotAnEmptyStore) {
  std::filesystem::create_directories(simRoot / "store");
  std::ofstream(history().recordsDirectory()) << "not a directory";
  EXPECT_THROW(history().list(), peer::PeerError);
  EXPECT_THROW(history().add(kGood, "blank"), peer::PeerError);
}

// Whatever the store throws, the document goes on: to a new rescue file (never over an earlier
// one of the same size), or, when that fails too, whole to standard output.
struct StoreFailure {
  const char* name;
  std::function<std::optional<BOOL>()> fail;
  bool rescueFailsToo;
};

class KeepDocumentTest : public DocumentHistoryTest, public ::testing::WithParamInterface<StoreFailure> {};

TEST_P(KeepDocumentTest, EndsInTheRescueOrOnStandardOutput) {
  auto store = history();
  sim::test::ScopedHook move(&platform::MoveFileExW, [&](LPCWSTR, LPCWSTR target, DWORD) {
    const bool rescue = velmo::wideToUtf8(target).find("-rescued") != std::string::npos;
    return !rescue || GetParam().rescueFailsToo ? GetParam().fail() : std::nullopt;
  });
  testing::internal::CaptureStdout();
  EXPECT_FALSE(peer::keepDocument(store, kGood, "blank"));
  EXPECT_FALSE(peer::keepDocument(store, kGood, "blank"));
  const std::string printed = testing::internal::GetCapturedStdout();
  const auto rescued = simRoot / "store-rescued";
  if (GetParam().rescueFailsToo) {
    EXPECT_FALSE(std::filesystem::exists(rescued) && !std::filesystem::is_empty(rescued));
    EXPECT_NE(printed.find("-----BEGIN KESTRINE DISPLAY STATE DOCUMENT-----\n" + kGood + "\n-----END"), std::string::npos);
  } else {
    std::vector<std::filesystem::path> files(std::filesystem::directory_iterator(rescued), {});
    ASSERT_EQ(files.size(), 2u) << printed;
    for (const auto& file : files) EXPECT_EQ(peer::readWholeFile(file), kGood);
  }
  EXPECT_TRUE(store.list().empty());
}

INSTANTIATE_TEST_SUITE_P(Failures, KeepDocumentTest, ::testing::Values(
    StoreFailure{"diskFull", [] { sim::setLastError(ERROR_DISK_FULL); return std::optional<BOOL>(FALSE); }, false},
    StoreFailure{"filesystemError", []() -> std::optional<BOOL> {
      throw std::filesystem::filesystem_error("gone", std::make_error_code(std::errc::io_error)); }, false},
    StoreFailure{"outOfMemory", []() -> std::optional<BOOL> { throw std::bad_alloc(); }, true},
    StoreFailure{"diskFullEverywhere", [] { sim::setLastError(ERROR_DISK_FULL); return std::optional<BOOL>(FALSE); }, true}),
    [](const auto& info) { return std::string(info.param.name); });

// Rescue names are tried up to the thousandth, each created, never replacing one that is there.
TEST_F(DocumentHistoryTest, TheThousandthRescueNameIsTheLastTried) {
  auto store = history();
  std::vector<std::string> tried;
  sim::test::ScopedHook move(&platform::MoveFileExW, [&](LPCWSTR, LPCWSTR target, DWORD flags) {
    tried.push_back(velmo::wideToUtf8(target));
    const bool last = tried.back().find("-1000.json") != std::string::npos;
    sim::setLastError(tried.size() == 1 ? ERROR_DISK_FULL : ERROR_ALREADY_EXISTS);
    return last && !(flags & MOVEFILE_REPLACE_EXISTING) ? std::nullopt : std::optional<BOOL>(FALSE);
  });
  EXPECT_FALSE(peer::keepDocument(store, kGood, "blank"));
  EXPECT_EQ(tried.size(), 1u + 1000u) << "the record, then every rescue name";
}

TEST_F(DocumentHistoryTest, TheSingleDocumentOfAnEarlierPeerBecomesTheFirstRecord) {
  peer::writeFileDurably(simRoot / "store" / "document.json", kGood);
  peer::writeFileDurably(simRoot / "store" / "document.state", "held\n");
  EXPECT_EQ(states(), std::vector<State>{State::Held});
  EXPECT_EQ(history().load(1), kGood);
  EXPECT_FALSE(std::filesystem::exists(simRoot / "store" / "document.json"));
  EXPECT_FALSE(std::filesystem::exists(simRoot / "store" / "document.state"));
}

TEST_F(DocumentHistoryTest, ASecondLockWaitsItsPatienceOutAndFails) {
  peer::StoreLock first(simRoot / "store", std::chrono::milliseconds(0));
  EXPECT_THROW(peer::StoreLock(simRoot / "store", std::chrono::milliseconds(50)), peer::PeerError);
}

}  // namespace
