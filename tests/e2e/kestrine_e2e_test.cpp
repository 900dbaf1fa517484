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

  // With KESTRINE_E2E_DOCUMENTS set, every document of the peer's history that is not marked
  // damaged is kept there at the end of a test, for the check against the document's schema
  // (e2e_documents_schema).
  void TearDown() override {
    const char* keep = std::getenv("KESTRINE_E2E_DOCUMENTS");
    const auto records = simRoot / "peer" / "records";
    if (keep != nullptr && std::filesystem::is_directory(records)) {
      const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
      std::string name = std::string(test->test_suite_name()) + "." + test->name();
      std::replace(name.begin(), name.end(), '/', '_');
      std::filesystem::create_directories(keep);
      for (const auto& entry : std::filesystem::directory_iterator(records)) {
        std::ifstream in(entry.path());
        std::string header;
        if (entry.path().extension() != ".record" || !std::getline(in, header) ||
            header.find(" damaged ") != std::string::npos) {
          continue;
        }
        std::ofstream(std::filesystem::path(keep) / (name + "." + entry.path().stem().string() + ".json"))
            << in.rdbuf();
      }
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

  ProcessResult peer(std::vector<std::string> args) {
    args.insert(args.begin(), kPeer);
    return runProcess(args, environment);
  }

  // The document of the peer's history record `id`: its file without the header line.
  std::string recordDocument(unsigned id) const {
    std::ifstream in(simRoot / "peer" / "records" / (std::to_string(id) + ".record"));
    std::string header;
    std::getline(in, header);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  }

  // An executable shell script in the sim root, to stand in for the tool.
  std::string script(const std::string& name, const std::string& body) const {
    const std::filesystem::path path = simRoot / name;
    std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path.string();
  }

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

  Json::Value document;
  ASSERT_TRUE(Json::Reader().parse(recordDocument(1), document));
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

// The tool reports a failed restore only in its log: the document stays in the history, and
// `unblank --from` brings back the display that the failed restore left dark.
TEST_F(KestrineEndToEnd, PeerHistoryBringsBackADisplayThatAFailedRestoreLeftDark) {
  ASSERT_EQ(sim({"display", "1", "ramp", "linear"}).status, 0);
  const Ramp before = readRamp(kDisplay1);
  ASSERT_EQ(peer({"blank"}).status, 0);
  EXPECT_TRUE(isDark(readRamp(kDisplay1)));

  // While the held document has not been used, a second save would record dark displays; a save
  // that fails never adds a held document, even with --force.
  const ProcessResult again = peer({"blank"});
  EXPECT_EQ(again.status, 2);
  EXPECT_NE(again.error.find("no restore has used it yet"), std::string::npos) << again.error;
  EXPECT_EQ(again.output.find("started"), std::string::npos) << "the tool must not run";
  EXPECT_EQ(peer({"blank", "--force", "--tool-arg", "--bogus"}).status, 1);

  ASSERT_EQ(sim({"display", "1", "fault", "set-fails", "5"}).status, 0);
  EXPECT_EQ(peer({"unblank"}).status, 0) << "the tool's status says the action ran, no more";
  EXPECT_TRUE(isDark(readRamp(kDisplay1)));
  ASSERT_EQ(sim({"display", "1", "fault", "clear"}).status, 0);
  Json::Value history;
  ASSERT_TRUE(Json::Reader().parse(peer({"history", "--json"}).output, history));
  ASSERT_EQ(history.size(), 1u);
  EXPECT_EQ(history[0]["state"].asString(), "served");
  EXPECT_EQ(peer({"unblank"}).status, 2) << "nothing is held any more";

  const ProcessResult from = peer({"unblank", "--from", "1"});
  EXPECT_EQ(from.status, 0) << from.output << from.error;
  EXPECT_EQ(readRamp(kDisplay1), before);
}

TEST_F(KestrineEndToEnd, TwoPeersBlankingAtOnceHoldOneWholeDocument) {
  ChildProcess first({kPeer, "blank", "--instances", "2"}, environment);
  ChildProcess second({kPeer, "blank", "--instances", "2"}, environment);
  const std::vector<ProcessResult> results{first.wait(), second.wait()};
  EXPECT_EQ(results[0].status + results[1].status, 2) << "one holds, the other refuses";
  Json::Value history;
  ASSERT_TRUE(Json::Reader().parse(peer({"history", "--json"}).output, history));
  ASSERT_EQ(history.size(), 1u);
  EXPECT_EQ(history[0]["state"].asString(), "held");
  Json::Value document;
  ASSERT_TRUE(Json::Reader().parse(recordDocument(1), document));
  for (const Json::Value& display : document["GammaBlanking"]) {
    EXPECT_TRUE(display["initialGammasSaved"].asBool());
    EXPECT_EQ(display["initialGammas"]["red"][255].asUInt(), 65535u) << "the identity ramp, not dark";
  }
  for (const auto& entry : std::filesystem::directory_iterator(simRoot / "peer" / "records")) {
    EXPECT_EQ(entry.path().extension(), ".record") << entry.path();
  }
}

// A store that cannot take a document stops the save before any display goes dark; one that
// fails after the save leaves the document beside the store.
TEST_F(KestrineEndToEnd, PeerNeverLosesADocumentToAStoreThatRefusesIt) {
  const ProcessResult full = runProcess(
      {"/bin/sh", "-c", "ulimit -f 64; trap '' XFSZ; exec \"$0\" blank", kPeer}, environment);
  EXPECT_EQ(full.status, 2);
  EXPECT_NE(full.error.find("cannot take a document of 1048576 bytes"), std::string::npos) << full.error;
  EXPECT_EQ(full.output.find("started"), std::string::npos);
  EXPECT_FALSE(isDark(readRamp(kDisplay1)));

  const std::string sabotage = script(
      "sabotage", "\"" + kTool + "\" \"$@\"; status=$?\n"
      "rm -r \"$KESTRINE_SIM_ROOT/peer/records\"; touch \"$KESTRINE_SIM_ROOT/peer/records\"\nexit $status");
  const ProcessResult failed = peer({"blank", "--tool", sabotage});
  EXPECT_EQ(failed.status, 2);
  EXPECT_TRUE(isDark(readRamp(kDisplay1)));
  std::vector<std::filesystem::path> rescued;
  for (const auto& entry : std::filesystem::directory_iterator(simRoot / "peer-rescued")) {
    rescued.push_back(entry.path());
  }
  ASSERT_EQ(rescued.size(), 1u) << failed.output;
  EXPECT_NE(failed.output.find("the document was written to " + rescued[0].string()), std::string::npos);
  std::filesystem::remove(simRoot / "peer" / "records");
  auto sender = startPeer({"send", "--in", rescued[0].string()});
  EXPECT_EQ(tool({"--restore"}).status, 0);
  EXPECT_FALSE(isDark(readRamp(kDisplay1)));
}

TEST_F(KestrineEndToEnd, ADocumentSentWholeIsHeldWhateverTheToolsStatus) {
  const ProcessResult blank = peer({"blank", "--tool", script("fails", "\"" + kTool + "\" \"$@\"; exit 3")});
  EXPECT_EQ(blank.status, 3);
  EXPECT_NE(blank.output.find("held as #1"), std::string::npos) << blank.output;
  EXPECT_NE(blank.output.find("ended with status 3 after it had sent the whole document"),
            std::string::npos);
  EXPECT_EQ(peer({"unblank"}).status, 0);
  EXPECT_FALSE(isDark(readRamp(kDisplay1)));
}

// Every wait of blank has a limit and ends with a message that says which.
struct BoundedWaitCase {
  const char* name;
  const char* tool;  // a shell script's body; the tool's arguments are "$@"
  std::vector<std::string> options;
  int status;
  const char* shown;
};

class PeerBoundedWait : public KestrineEndToEnd,
                        public ::testing::WithParamInterface<BoundedWaitCase> {};

TEST_P(PeerBoundedWait, EndsWithAClearMessage) {
  std::vector<std::string> args{"blank", "--tool", script("tool", GetParam().tool)};
  args.insert(args.end(), GetParam().options.begin(), GetParam().options.end());
  const ProcessResult run = peer(args);
  EXPECT_EQ(run.status, GetParam().status);
  EXPECT_NE(run.output.find(GetParam().shown), std::string::npos) << run.output;
  EXPECT_EQ(peer({"history", "--json"}).output, "[]\n");
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PeerBoundedWait,
    ::testing::Values(
        BoundedWaitCase{"toolEndsWithoutConnecting", "exit 4", {}, 4,
                        "the tool ended with status 4 without connecting"},
        BoundedWaitCase{"toolNeverConnects", "exec sleep 30", {"--connect-timeout", "0.3"}, 9,
                        "did not connect to \\\\.\\pipe\\KestrinePipe within 0.3 s"},
        BoundedWaitCase{"damagedPipeSettings",
                        "echo x > \"$KESTRINE_SIM_ROOT/pipes/kestrinepipe/settings\"; exec " KESTRINE_EXE " \"$@\"",
                        {}, 255, "the tool ended with status 255 without connecting"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(KestrineEndToEnd, PeerRefusesAPipeThatAnotherProcessServes) {
  auto other = startPeer({"receive", "--store", (simRoot / "other").string()});
  const ProcessResult blank = peer({"blank"});
  EXPECT_EQ(blank.status, 2);
  EXPECT_NE(blank.error.find("another process already serves"), std::string::npos) << blank.error;
  EXPECT_FALSE(isDark(readRamp(kDisplay1)));
}

TEST_F(KestrineEndToEnd, AnUnsavedDisplayIsNamedAndComesBackLinearOnRequest) {
  ASSERT_EQ(sim({"display", "2", "fault", "changing"}).status, 0);
  const ProcessResult blank = peer({"blank"});
  EXPECT_NE(blank.output.find("no saved ramp for \\\\.\\DISPLAY2"), std::string::npos) << blank.output;
  ASSERT_EQ(sim({"display", "2", "fault", "clear"}).status, 0);
  ASSERT_EQ(sim({"display", "2", "ramp", "zero"}).status, 0);
  EXPECT_EQ(peer({"unblank", "--linear-for-unsaved"}).status, 0);
  const Ramp lit = readRamp(kDisplay2);
  for (std::size_t i = 0; i < lit.size(); ++i) {
    ASSERT_EQ(lit[i], 255 * (i % 256)) << i;
  }
  EXPECT_NE(recordDocument(1).find("\"initialGammasSaved\" : false"), std::string::npos)
      << "the stored document stays as it was";
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
