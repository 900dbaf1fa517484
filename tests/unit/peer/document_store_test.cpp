// The peer's store keeps a document whole across a failed replacement and tracks whether it
// has been served.
#include "tools/peer/document_store.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "platform/pipes_files.h"
#include "platform/sim/core/test_api.h"
#include "platform/sim/core/utf.h"
#include "tests/support/sim_test.h"
#include "tools/peer/peer_error.h"

namespace {

using State = peer::DocumentStore::State;

class DocumentStoreTest : public testing_support::SimTest {
 protected:
  peer::DocumentStore store() const { return peer::DocumentStore(simRoot / "store"); }
};

TEST_F(DocumentStoreTest, HeldUntilServedAndHeldAgainAfterTheNextStore) {
  EXPECT_EQ(store().state(), State::Empty);
  EXPECT_EQ(store().load(), std::nullopt);
  store().store("first");
  EXPECT_EQ(store().state(), State::Held);
  store().markServed();
  EXPECT_EQ(store().state(), State::Served);
  EXPECT_EQ(store().load(), "first");
  store().store("second");
  EXPECT_EQ(store().state(), State::Held);
  EXPECT_EQ(store().load(), "second");
}

TEST_F(DocumentStoreTest, FailedReplacementLeavesThePreviousDocument) {
  store().store("old document");
  sim::test::ScopedHook move(&platform::MoveFileExW, "MoveFileExW",
                             [](LPCWSTR, LPCWSTR to, DWORD) -> std::optional<BOOL> {
                               // Only the document's replacement fails, not the state mark's.
                               const std::string target = sim::utf16ToUtf8(
                                   to, std::char_traits<WCHAR>::length(to));
                               if (std::filesystem::path(target).filename() != "document.json") {
                                 return std::nullopt;
                               }
                               sim::setLastError(ERROR_ACCESS_DENIED);
                               return FALSE;
                             });
  EXPECT_THROW(store().store("new document"), peer::PeerError);
  EXPECT_EQ(store().load(), "old document");
}

}  // namespace
