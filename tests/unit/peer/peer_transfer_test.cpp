// The program's pipe client against the built kestrine-peer, each in its own process on one sim
// root: documents go both ways whole, are stored durably, and a dead peer leaves no pipe behind.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "app/pipe_client.h"
#include "common/owned_handles.h"
#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "tests/support/child_process.h"
#include "tests/support/pipe_wait.h"
#include "tests/support/sim_test.h"
#include "tools/peer/document_history.h"
#include "tools/peer/file_io.h"

namespace {

using testing_support::ChildProcess;
using testing_support::ProcessResult;
using testing_support::waitForPipe;

class PeerTransferTest : public testing_support::LoggedSimTest {
 protected:
  std::unique_ptr<ChildProcess> startPeer(std::vector<std::string> args) {
    args.insert(args.begin(), KESTRINE_PEER_PATH);
    return std::make_unique<ChildProcess>(args, std::map<std::string, std::string>{
                                                    {"KESTRINE_SIM_ROOT", simRoot.string()}});
  }

  std::unique_ptr<velmo::KestrinePipeClient> connect() {
    return std::make_unique<velmo::KestrinePipeClient>(subLogger());
  }

  // Runs a receiving peer and sends it `sent`; the client's close ends the document.
  ProcessResult push(const std::vector<std::string>& args, const std::string& sent) {
    auto peer = startPeer(args);
    if (waitForPipe("KestrinePipe", std::chrono::seconds(2))) connect()->send(sent);
    return peer->wait();
  }

  // Runs a sending peer and returns what the client read from it.
  std::string pull(const std::vector<std::string>& args) {
    auto peer = startPeer(args);
    EXPECT_TRUE(waitForPipe());
    const std::string received = connect()->receive();
    const auto result = peer->wait();
    EXPECT_EQ(result.status, 0) << result.error;
    return received;
  }

  peer::DocumentHistory store() const { return peer::DocumentHistory(simRoot / "peer", 20); }
};

// A complete JSON document of exactly `size` bytes.
std::string document(std::size_t size) {
  std::string text = "{\"GammaBlanking\":\"";
  while (text.size() < size - 2) text += static_cast<char>('a' + text.size() % 26);
  return text + "\"}";
}

// Save hands the document to the peer, which stores it; restore gets it back word for word.
class RoundTripTest : public PeerTransferTest, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(RoundTripTest, DocumentGoesToThePeerAndComesBackWhole) {
  const std::string sent = document(GetParam());
  ASSERT_EQ(push({"receive"}, sent).status, 0);
  EXPECT_EQ(store().held()->id, 1u);
  EXPECT_TRUE(pull({"send"}) == sent);
  EXPECT_EQ(store().list().at(0).state, peer::RecordState::Served);
}

INSTANTIATE_TEST_SUITE_P(Sizes, RoundTripTest, ::testing::Values(std::size_t{1025}, std::size_t{1048576}));

// A client that reads part of the document and closes leaves it held: the peer's flush tells it
// the rest was thrown away.
TEST_F(PeerTransferTest, DocumentReadInPartStaysHeld) {
  ASSERT_EQ(push({"receive"}, document(1025)).status, 0);
  auto peer = startPeer({"send"});
  ASSERT_TRUE(waitForPipe());
  const platform::WideString name = velmo::utf8ToWide("\\\\.\\pipe\\KestrinePipe");
  const HANDLE client = platform::CreateFileW(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(client, INVALID_HANDLE_VALUE);
  char half[512];
  DWORD count = 0;
  EXPECT_TRUE(platform::ReadFile(client, half, sizeof half, &count, nullptr));
  platform::CloseHandle(client);
  peer->wait();
  EXPECT_EQ(store().list().at(0).state, peer::RecordState::Held);
}

// A client that connects and sends nothing does not hold the peer past the transfer's limit.
TEST_F(PeerTransferTest, ASilentClientEndsTheReceiveAtItsLimit) {
  auto peer = startPeer({"receive", "--transfer-timeout", "0.3"});
  ASSERT_TRUE(waitForPipe());
  const velmo::KernelHandle client(platform::CreateFileW(velmo::utf8ToWide("\\\\.\\pipe\\KestrinePipe").c_str(),
                                                         GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(client);
  const auto ended = peer->wait();
  EXPECT_EQ(ended.status, 2);
  EXPECT_NE(ended.output.find("the client sent nothing more before the transfer's time ran out"), std::string::npos) << ended.output;
}

// receive follows blank's rules: a held document is never buried without --force, and a client
// that sends nothing stores nothing.
TEST_F(PeerTransferTest, ReceiveNeitherReplacesAHeldDocumentNorStoresAnEmptyOne) {
  EXPECT_EQ(push({"receive"}, "").status, 2);
  EXPECT_TRUE(store().list().empty());
  EXPECT_EQ(push({"receive"}, document(100)).status, 0);
  const auto refused = push({"receive"}, document(200));
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.error.find("is held and no restore has used it yet"), std::string::npos);
  EXPECT_EQ(push({"receive", "--force"}, document(300)).status, 0);
  ASSERT_EQ(store().list().size(), 2u);
  EXPECT_EQ(store().list()[0].state, peer::RecordState::Superseded);
  EXPECT_EQ(store().load(store().held()->id), document(300));
}

// receive --out writes the file; when it cannot (its folder is a file), the document is kept in
// the store instead and the status says so. send --in serves the file back.
TEST_F(PeerTransferTest, ReceiveOutKeepsTheDocumentWhenItsFileCannotBeWritten) {
  const auto outFile = simRoot / "elsewhere" / "saved.json";
  ASSERT_EQ(push({"receive", "--out", outFile.string()}, document(5000)).status, 0);
  EXPECT_EQ(peer::readWholeFile(outFile), document(5000));
  EXPECT_TRUE(store().list().empty());
  EXPECT_EQ(pull({"send", "--in", outFile.string()}), document(5000));

  const auto refused = push({"receive", "--out", (outFile / "below-a-file.json").string()}, document(6000));
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.output.find("cannot write"), std::string::npos) << refused.output;
  ASSERT_TRUE(store().held());
  EXPECT_EQ(store().load(store().held()->id), document(6000));
}

// What the tool could not read is named: receive keeps it as damaged, never held; send --in
// refuses it unless --force.
struct Unreadable {
  const char* name;
  std::string text;
  const char* reason;
};

class UnreadableDocumentTest : public PeerTransferTest, public ::testing::WithParamInterface<Unreadable> {};

TEST_P(UnreadableDocumentTest, IsKeptAsDamagedAndNotSentWithoutForce) {
  const auto received = push({"receive"}, GetParam().text);
  EXPECT_EQ(received.status, 2);
  EXPECT_NE(received.output.find(GetParam().reason), std::string::npos) << received.output;
  ASSERT_EQ(store().list().size(), 1u);
  EXPECT_EQ(store().list()[0].state, peer::RecordState::Damaged);

  const auto file = simRoot / "unreadable.json";
  peer::writeFileDurably(file, GetParam().text);
  const auto refused = startPeer({"send", "--in", file.string()})->wait();
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.error.find(GetParam().reason), std::string::npos) << refused.error;
  EXPECT_TRUE(pull({"send", "--force", "--in", file.string()}) == GetParam().text.substr(0, GetParam().text.find('\0')));
}

const std::string kSmall = R"({"GammaBlanking":null})";

INSTANTIATE_TEST_SUITE_P(Cases, UnreadableDocumentTest, ::testing::Values(
    Unreadable{"byteOrderMark", "\xEF\xBB\xBF" + kSmall, "UTF-8 byte-order mark"},
    Unreadable{"byteOrderMarkAlone", "\xEF\xBB\xBF", "UTF-8 byte-order mark"},
    Unreadable{"utf16", std::string("{\0}\0", 4), "UTF-16"},
    Unreadable{"zeroByte", kSmall + std::string(1, '\0') + " ", "zero byte at offset 22"},
    Unreadable{"nestedTooDeep", std::string(5000, '[') + std::string(5000, ']'), "nested deeper"},
    Unreadable{"overOneMebibyte", document(1048577), "more than the 1048576"},
    Unreadable{"noObject", "[1, 2]", "no object"}),
    [](const auto& info) { return std::string(info.param.name); });

// The peer's pipe admits the peer's own user, SYSTEM and Administrators; another user's client
// is refused with 5 and the peer waits on for its own.
class PipeUserTest : public PeerTransferTest,
                     public ::testing::WithParamInterface<std::pair<const char*, DWORD>> {};

TEST_P(PipeUserTest, OnlyTheOwnerSystemAndAdministratorsAreAdmitted) {
  auto peer = startPeer({"receive", "--connect-timeout", "2"});
  ASSERT_TRUE(waitForPipe());
  ::setenv("KESTRINE_SIM_USER", GetParam().first, 1);
  const platform::WideString name = velmo::utf8ToWide("\\\\.\\pipe\\KestrinePipe");
  const HANDLE client = platform::CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  const DWORD error = platform::GetLastError();
  ::unsetenv("KESTRINE_SIM_USER");
  EXPECT_EQ(client == INVALID_HANDLE_VALUE ? error : DWORD{ERROR_SUCCESS}, GetParam().second);
  if (client != INVALID_HANDLE_VALUE) platform::CloseHandle(client);
  peer->wait();
}

INSTANTIATE_TEST_SUITE_P(Users, PipeUserTest, ::testing::Values(
    std::make_pair("", DWORD{ERROR_SUCCESS}), std::make_pair("S-1-5-18", DWORD{ERROR_SUCCESS}),
    std::make_pair("S-1-5-21-9-9-9-1999+S-1-5-32-544", DWORD{ERROR_SUCCESS}),
    std::make_pair("S-1-5-21-9-9-9-1999", DWORD{ERROR_ACCESS_DENIED})));

TEST_F(PeerTransferTest, SendWithoutAStoredDocumentFails) {
  const auto result = startPeer({"send"})->wait();
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.error.find("there is nothing to restore"), std::string::npos) << result.error;
}

}  // namespace
