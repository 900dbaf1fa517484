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
#include "tools/peer/document_history.h"
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

  peer::DocumentHistory store() const { return peer::DocumentHistory(simRoot / "peer", 20); }

  RecordingLogger logger;
};

// A complete JSON document of exactly `size` bytes.
std::string document(std::size_t size) {
  std::string text = "{\"GammaBlanking\":\"";
  while (text.size() < size - 2) {
    text += static_cast<char>('a' + text.size() % 26);
  }
  return text + "\"}";
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
    EXPECT_NE(result.output.find("received " + std::to_string(sent.size()) + " bytes, held as #1"),
              std::string::npos)
        << result.output;
  }
  EXPECT_EQ(store().load(1), sent);
  EXPECT_EQ(store().held()->id, 1u);

  auto peer = startPeer({"send"});
  ASSERT_TRUE(waitForPipe());
  const std::string received = connect()->receive();
  const auto result = peer->wait();
  ASSERT_EQ(result.status, 0) << result.error;
  EXPECT_EQ(received.size(), sent.size());
  EXPECT_TRUE(received == sent);
  EXPECT_FALSE(logger.contains("too much data"));
  EXPECT_EQ(store().list().at(0).state, peer::RecordState::Served);
}

INSTANTIATE_TEST_SUITE_P(Sizes, RoundTripTest,
                         ::testing::Values(std::size_t{1025}, std::size_t{1048576}));

// receive follows blank's rules: a held document is never buried without --force, and a client
// that sends nothing stores nothing.
TEST_F(PeerTransferTest, ReceiveNeitherReplacesAHeldDocumentNorStoresAnEmptyOne) {
  const auto run = [&](std::vector<std::string> args, const std::string& sent) {
    auto peer = startPeer(args);
    if (waitForPipe("KestrinePipe", std::chrono::seconds(2))) {
      connect()->send(sent);
    }
    return peer->wait();
  };
  EXPECT_EQ(run({"receive"}, "").status, 2);
  EXPECT_TRUE(store().list().empty());
  EXPECT_EQ(run({"receive"}, document(100)).status, 0);
  const auto refused = run({"receive"}, document(200));
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.error.find("is held and no restore has used it yet"), std::string::npos);
  EXPECT_EQ(run({"receive", "--force"}, document(300)).status, 0);
  ASSERT_EQ(store().list().size(), 2u);
  EXPECT_EQ(store().list()[0].state, peer::RecordState::Superseded);
  EXPECT_EQ(store().load(store().held()->id), document(300));
}

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
  EXPECT_TRUE(store().list().empty());

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
  EXPECT_NE(result.error.find("there is nothing to restore"), std::string::npos) << result.error;
}

}  // namespace
