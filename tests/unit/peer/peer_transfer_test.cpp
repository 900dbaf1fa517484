// The program's pipe client against the built kestrine-peer, each in its own process on one sim
// root: documents go both ways whole, are stored durably, and a dead peer leaves no pipe behind.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "app/pipe_client.h"
#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "tests/support/child_process.h"
#include "tests/support/recording_logger.h"
#include "tests/support/pipe_wait.h"
#include "tests/support/sim_test.h"
#include "tools/peer/document_store.h"
#include "tools/peer/file_io.h"

namespace {

using testing_support::ChildProcess;
using testing_support::waitForPipe;
using testing_support::RecordingLogger;

class PeerTransferTest : public testing_support::SimTest {
 protected:
  std::unique_ptr<ChildProcess> startPeer(std::vector<std::string> args) {
    args.insert(args.begin(), KESTRINE_PEER_PATH);
    return std::make_unique<ChildProcess>(args, std::map<std::string, std::string>{
                                                    {"KESTRINE_SIM_ROOT", simRoot.string()}});
  }

  std::unique_ptr<velmo::KestrinePipeClient> connect() {
    auto sub = logger.createCategoryLogger(velmo::logging::kInheritCategory);
    return std::make_unique<velmo::KestrinePipeClient>(std::move(sub));
  }

  peer::DocumentStore store() const { return peer::DocumentStore(simRoot / "peer"); }

  RecordingLogger logger;
};

std::string document(std::size_t size) {
  std::string text = "{\"GammaBlanking\":[";
  while (text.size() < size) {
    text += std::to_string(text.size() % 65536) + ",";
  }
  text.resize(size);
  return text;
}

// Save hands the document to the peer, which stores it; restore gets it back word for word.
class RoundTripTest : public PeerTransferTest, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(RoundTripTest, DocumentGoesToThePeerAndComesBackWhole) {
  const std::string sent = document(GetParam());
  {
    auto peer = startPeer({"receive"});
    ASSERT_TRUE(waitForPipe());
    connect()->send(sent);  // the client closes when it goes, which ends the document
    const auto result = peer->wait();
    ASSERT_EQ(result.status, 0) << result.error;
    EXPECT_NE(result.output.find("received " + std::to_string(sent.size()) + " bytes, stored in " +
                                 store().documentPath().string()),
              std::string::npos)
        << result.output;
  }
  EXPECT_EQ(store().load(), sent);
  EXPECT_EQ(store().state(), peer::DocumentStore::State::Held);

  auto peer = startPeer({"send"});
  ASSERT_TRUE(waitForPipe());
  const std::string received = connect()->receive();
  const auto result = peer->wait();
  ASSERT_EQ(result.status, 0) << result.error;
  EXPECT_EQ(received.size(), sent.size());
  EXPECT_TRUE(received == sent);
  EXPECT_FALSE(logger.contains("too much data"));
  EXPECT_EQ(logger.contains("Failed to read from pipe due to error 109"), sent.empty());
  EXPECT_EQ(store().state(), peer::DocumentStore::State::Served);
}

INSTANTIATE_TEST_SUITE_P(Sizes, RoundTripTest,
                         ::testing::Values(std::size_t{0}, std::size_t{1025},
                                           std::size_t{1048576}));

TEST_F(PeerTransferTest, ExplicitFilesReplaceTheStore) {
  const auto outFile = simRoot / "elsewhere" / "saved.json";
  const std::string sent = document(5000);
  {
    auto peer = startPeer({"receive", "--out", outFile.string()});
    ASSERT_TRUE(waitForPipe());
    connect()->send(sent);
    ASSERT_EQ(peer->wait().status, 0);
  }
  EXPECT_EQ(peer::readWholeFile(outFile), sent);
  EXPECT_EQ(store().state(), peer::DocumentStore::State::Empty);

  auto peer = startPeer({"send", "--in", outFile.string()});
  ASSERT_TRUE(waitForPipe());
  EXPECT_EQ(connect()->receive(), sent);
  EXPECT_EQ(peer->wait().status, 0);
}

TEST_F(PeerTransferTest, PipeOfAKilledPeerIsGone) {
  {
    auto peer = startPeer({"receive"});
    ASSERT_TRUE(waitForPipe());
  }  // killed with SIGKILL: it never closes its instance
  try {
    connect();
    FAIL() << "expected no pipe";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Unable to open pipe client with error code 2");
  }
}

TEST_F(PeerTransferTest, SendWithoutAStoredDocumentFails) {
  const auto result = testing_support::runProcess(
      {KESTRINE_PEER_PATH, "send"}, {{"KESTRINE_SIM_ROOT", simRoot.string()}});
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.error.find("no document to send"), std::string::npos) << result.error;
}

}  // namespace
