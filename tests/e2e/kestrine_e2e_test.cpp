// End-to-end runs of the built programs on a temporary simulated machine: kestrine against the
// reference peer, checked through the displays, the peer's document and the exit statuses.
#include <gtest/gtest.h>
#include <json/reader.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "common/text_conversion.h"
#include "platform/displays.h"
#include "platform/errors.h"
#include "platform/pipes_files.h"
#include "tests/support/child_process.h"
#include "tests/support/pipe_wait.h"
#include "tests/support/sim_test.h"

namespace {

using testing_support::ChildProcess;
using testing_support::ProcessResult;
using testing_support::runProcess;
using Ramp = std::array<WORD, 768>;

const std::string kTool = KESTRINE_EXE;
const std::string kPeer = KESTRINE_PEER_EXE;
const std::string kSimTool = KESTRINE_SIM_EXE;

class KestrineEndToEnd : public testing_support::SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    environment = {{"KESTRINE_SIM_ROOT", simRoot.string()}};
    ASSERT_EQ(sim({"reset"}).status, 0);
  }

  // With KESTRINE_E2E_DOCUMENTS set, the document the peer holds at the end of a test is kept
  // there, for the check against the document's schema (e2e_documents_schema).
  void TearDown() override {
    const char* keep = std::getenv("KESTRINE_E2E_DOCUMENTS");
    if (keep != nullptr && std::filesystem::exists(storedDocument())) {
      const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
      std::string name = std::string(test->test_suite_name()) + "." + test->name() + ".json";
      std::replace(name.begin(), name.end(), '/', '_');
      std::filesystem::create_directories(keep);
      std::filesystem::copy_file(storedDocument(), std::filesystem::path(keep) / name,
                                 std::filesystem::copy_options::overwrite_existing);
    }
    SimTest::TearDown();
  }

  ProcessResult sim(std::vector<std::string> args) {
    args.insert(args.begin(), kSimTool);
    return runProcess(args, environment);
  }

  ProcessResult tool(std::vector<std::string> args) {
    args.insert(args.begin(), kTool);
    return runProcess(args, environment);
  }

  // Starts the peer and waits until its pipe takes clients.
  std::unique_ptr<ChildProcess> startPeer(std::vector<std::string> args) {
    args.insert(args.begin(), kPeer);
    auto peer = std::make_unique<ChildProcess>(args, environment);
    testing_support::waitForPipe();
    return peer;
  }

  static Ramp readRamp(const std::string& display) {
    Ramp ramp{};
    HDC dc = platform::CreateDCA("DISPLAY", display.c_str(), nullptr, nullptr);
    EXPECT_NE(dc, nullptr);
    EXPECT_NE(platform::GetDeviceGammaRamp(dc, ramp.data()), 0);
    platform::DeleteDC(dc);
    return ramp;
  }

  static bool isDark(const Ramp& ramp) {
    for (const WORD word : ramp) {
      if (word != 0) {
        return false;
      }
    }
    return true;
  }

  std::filesystem::path storedDocument() const { return simRoot / "peer" / "document.json"; }

  std::map<std::string, std::string> environment;
};

const char* const kDisplay1 = "\\\\.\\DISPLAY1";
const char* const kDisplay2 = "\\\\.\\DISPLAY2";

TEST_F(KestrineEndToEnd, SaveDarkensEveryDisplayAndRestoreBringsBackEveryWord) {
  ASSERT_EQ(sim({"display", "1", "ramp", "linear"}).status, 0);
  const Ramp before1 = readRamp(kDisplay1);
  const Ramp before2 = readRamp(kDisplay2);

  auto receiver = startPeer({"receive"});
  const ProcessResult save = tool({"--save"});
  EXPECT_EQ(save.status, 0) << save.error;
  EXPECT_EQ(receiver->wait().status, 0);
  EXPECT_TRUE(isDark(readRamp(kDisplay1)));
  EXPECT_TRUE(isDark(readRamp(kDisplay2)));

  // The successful save logs its steps in this order.
  std::size_t at = 0;
  for (const char* line : {"Got action save", "Windows screen blanking started",
                           "Windows screen blanking ended", "Save action complete",
                           "Kestrine action successful, closing utility"}) {
    const std::size_t found = save.output.find(line, at);
    ASSERT_NE(found, std::string::npos) << line << "\n" << save.output;
    at = found;
  }

  std::ifstream stored(storedDocument());
  Json::Value document;
  ASSERT_TRUE(Json::Reader().parse(stored, document));
  ASSERT_EQ(document["GammaBlanking"].size(), 2u);
  EXPECT_FALSE(document.isMember("initialMonitors"));

  auto sender = startPeer({"send"});
  const ProcessResult restore = tool({"--restore"});
  EXPECT_EQ(restore.status, 0) << restore.error;
  EXPECT_EQ(sender->wait().status, 0);
  EXPECT_EQ(readRamp(kDisplay1), before1);
  EXPECT_EQ(readRamp(kDisplay2), before2);
  EXPECT_NE(restore.output.find("Restore action complete"), std::string::npos);
}

TEST_F(KestrineEndToEnd, WithoutPeerTheRunFailsBeforeTouchingAnyDisplay) {
  for (const char* action : {"--save", "--restore"}) {
    const ProcessResult run = tool({action});
    EXPECT_EQ(run.status, 255) << action;
    EXPECT_NE(run.error.find("general error: Unable to open pipe client with error code 2"),
              std::string::npos)
        << run.error;
    EXPECT_EQ(run.output.find("Got action"), std::string::npos);
    EXPECT_FALSE(isDark(readRamp(kDisplay1)));
  }
}

TEST_F(KestrineEndToEnd, RestoreFromAPeerThatSendsNothingStillEndsWell) {
  const std::filesystem::path empty = simRoot / "empty.json";
  std::ofstream(empty).close();
  auto sender = startPeer({"send", "--in", empty.string()});
  const ProcessResult restore = tool({"--restore"});
  sender->wait();
  EXPECT_EQ(restore.status, 0) << restore.error;
  EXPECT_NE(restore.output.find("Failed to read from pipe due to error 109"), std::string::npos)
      << restore.output;
  // No saved gamma: the restore pass skips both displays and says so.
  EXPECT_NE(restore.error.find("Skipping gamma restoration on display"), std::string::npos);
}

TEST_F(KestrineEndToEnd, RestoreOfADocumentOverOneMebibyteIsCutAndRejected) {
  const std::filesystem::path big = simRoot / "big.json";
  std::ofstream(big) << "{\"GammaBlanking\":\"" << std::string(1048576 + 4096, 'x') << "\"}";
  auto sender = startPeer({"send", "--in", big.string()});
  const ProcessResult restore = tool({"--restore"});
  EXPECT_EQ(restore.status, 0) << restore.error;
  EXPECT_NE(restore.output.find("Receiving too much data from kestrine pipe (more than 1048576 "
                                "chars). Closing named pipe."),
            std::string::npos);
  EXPECT_NE(restore.error.find("Failed to parse input"), std::string::npos);
}

TEST_F(KestrineEndToEnd, DocumentNestedBeyondTheParserLimitEndsTheRestoreWithMinusOne) {
  const std::filesystem::path deep = simRoot / "deep.json";
  std::ofstream(deep) << std::string(5000, '[') << std::string(5000, ']');
  auto sender = startPeer({"send", "--in", deep.string()});
  const ProcessResult restore = tool({"--restore"});
  EXPECT_EQ(restore.status, 255);
  EXPECT_NE(restore.error.find("general error: Exceeded stackLimit in readValue()"),
            std::string::npos)
      << restore.error;
  EXPECT_EQ(restore.output.find("Restore action complete"), std::string::npos);
}

TEST_F(KestrineEndToEnd, PeerBlankHoldsTheDocumentUntilUnblankHasUsedIt) {
  auto peer = [this](std::vector<std::string> args) {
    args.insert(args.begin(), kPeer);
    return runProcess(args, environment);
  };
  const ProcessResult blank = peer({"blank"});
  ASSERT_EQ(blank.status, 0) << blank.output << blank.error;
  EXPECT_TRUE(isDark(readRamp(kDisplay1)));
  std::ifstream first(storedDocument());
  const std::string held((std::istreambuf_iterator<char>(first)), std::istreambuf_iterator<char>());
  ASSERT_FALSE(held.empty());

  // While the held document has not been used, a second save would record dark displays.
  const ProcessResult again = peer({"blank"});
  EXPECT_NE(again.status, 0);
  EXPECT_NE(again.error.find("no restore has used it yet"), std::string::npos) << again.error;
  EXPECT_EQ(again.output.find("started"), std::string::npos) << "the tool must not run";

  // A save that fails never replaces the held document, even with --force.
  const ProcessResult failed = peer({"blank", "--force", "--tool-arg", "--bogus"});
  EXPECT_EQ(failed.status, 1);
  std::ifstream second(storedDocument());
  EXPECT_EQ(std::string((std::istreambuf_iterator<char>(second)), std::istreambuf_iterator<char>()),
            held);

  const ProcessResult unblank = peer({"unblank"});
  EXPECT_EQ(unblank.status, 0) << unblank.output << unblank.error;
  EXPECT_FALSE(isDark(readRamp(kDisplay1)));
  EXPECT_EQ(peer({"blank"}).status, 0) << "after a restore a new blank is allowed";
}

TEST_F(KestrineEndToEnd, PeerUnblankWithoutDocumentRefusesWithoutStartingTheTool) {
  const ProcessResult run = runProcess({kPeer, "unblank"}, environment);
  EXPECT_NE(run.status, 0);
  EXPECT_NE(run.error.find("there is nothing to restore"), std::string::npos) << run.error;
  EXPECT_EQ(run.output.find("started"), std::string::npos);
}

struct CommandLineCase {
  const char* name;
  std::vector<std::string> args;
  int status;
  const char* shown;  // a piece of what TCLAP prints on either stream
};

class CommandLineStatus : public KestrineEndToEnd,
                          public ::testing::WithParamInterface<CommandLineCase> {};

TEST_P(CommandLineStatus, IsTclapsOwn) {
  const ProcessResult run = tool(GetParam().args);
  EXPECT_EQ(run.status, GetParam().status);
  EXPECT_NE((run.output + run.error).find(GetParam().shown), std::string::npos)
      << run.output << run.error;
  EXPECT_EQ(run.output.find("kestrine pipe client"), std::string::npos) << "the pipe was touched";
}

INSTANTIATE_TEST_SUITE_P(
    Cases, CommandLineStatus,
    ::testing::Values(
        CommandLineCase{"noArguments", {}, 1, "PARSE ERROR"},
        CommandLineCase{"onlyLogfile", {"--logfile", "x"}, 1, "PARSE ERROR"},
        CommandLineCase{"saveAndRestore", {"--save", "--restore"}, 1,
                        "Mutually exclusive argument already set!"},
        CommandLineCase{"restoreAndSave", {"-r", "-s"}, 1,
                        "Mutually exclusive argument already set!"},
        CommandLineCase{"unknownArgument", {"--save", "--bogus"}, 1, "PARSE ERROR"},
        CommandLineCase{"help", {"--help"}, 0, "Kestrine tool"},
        CommandLineCase{"version", {"--version"}, 0, "0.1"}),
    [](const auto& info) { return std::string(info.param.name); });

// The program never offers monitor power blanking: a save and a restore leave every monitor's D6
// value as it was, whatever value that is.
TEST_F(KestrineEndToEnd, SaveAndRestoreLeaveTheMonitorsPowerModesAlone) {
  ASSERT_EQ(sim({"monitor", "2", "value", "2"}).status, 0);
  const auto powerModes = [this] {
    Json::Value machine;
    EXPECT_TRUE(Json::Reader().parse(sim({"show", "--json"}).output, machine));
    std::vector<unsigned> modes;
    for (const Json::Value& display : machine["monitor"]) {
      modes.push_back(display["physical"][0]["powerMode"].asUInt());
    }
    return modes;
  };
  ASSERT_EQ(powerModes(), (std::vector<unsigned>{1, 2}));

  auto receiver = startPeer({"receive"});
  EXPECT_EQ(tool({"--save"}).status, 0);
  EXPECT_EQ(receiver->wait().status, 0);
  EXPECT_TRUE(isDark(readRamp(kDisplay1)));
  EXPECT_EQ(powerModes(), (std::vector<unsigned>{1, 2}));

  auto sender = startPeer({"send"});
  EXPECT_EQ(tool({"--restore"}).status, 0);
  EXPECT_EQ(sender->wait().status, 0);
  EXPECT_EQ(powerModes(), (std::vector<unsigned>{1, 2}));
}

}  // namespace
