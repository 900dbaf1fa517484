// End-to-end runs of the built programs on a temporary simulated machine: kestrine against the
// reference peer, checked through the displays, the peer's document and the exit statuses.
#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/writer.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
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
        if (entry.path().extension() == ".record" && std::getline(in, header) && header.find(" damaged ") == header.npos) {
          std::ofstream(std::filesystem::path(keep) / (name + "." + entry.path().stem().string() + ".json")) << in.rdbuf();
        }
      }
    }
    SimTest::TearDown();
  }

  ProcessResult run(const std::string& program, std::vector<std::string> args) {
    args.insert(args.begin(), program);
    return runProcess(args, environment);
  }
  ProcessResult sim(std::vector<std::string> args) { return run(kSimTool, std::move(args)); }
  ProcessResult tool(std::vector<std::string> args) { return run(kTool, std::move(args)); }
  ProcessResult peer(std::vector<std::string> args) { return run(kPeer, std::move(args)); }

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
    EXPECT_NE(platform::GetDeviceGammaRamp(dc, ramp.data()), 0);
    platform::DeleteDC(dc);
    return ramp;
  }

  static bool isDark(const Ramp& ramp) {
    return std::all_of(ramp.begin(), ramp.end(), [](WORD word) { return word == 0; });
  }

  static bool shows(const ProcessResult& run, const std::string& text) {
    return (run.output + run.error).find(text) != std::string::npos;
  }

  static Json::Value parse(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(Json::Reader().parse(text, value)) << text;
    return value;
  }

  // The document of the peer's history record `id`: its file without the header line.
  std::string recordDocument(unsigned id) const {
    std::ifstream in(simRoot / "peer" / "records" / (std::to_string(id) + ".record"));
    std::string header;
    std::getline(in, header);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  }

  // A --logfile name for the tool in the sim root's logs folder.
  std::string logFile(const std::string& name) const {
    std::filesystem::create_directories(simRoot / "logs");
    return (simRoot / "logs" / name).string();
  }

  // An executable shell script in the sim root, to stand in for the tool.
  std::string script(const std::string& name, const std::string& body) const {
    const std::filesystem::path path = simRoot / name;
    std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path.string();
  }

  // Every monitor's D6 power mode, in order.
  std::vector<unsigned> powerModes() {
    const Json::Value machine = parse(sim({"show", "--json"}).output);
    std::vector<unsigned> modes;
    for (const Json::Value& display : machine["monitor"]) {
      modes.push_back(display["physical"][0]["powerMode"].asUInt());
    }
    return modes;
  }

  std::map<std::string, std::string> environment;
};

// One row of a table test: what the run gets, its status and a piece of what it prints on either stream.
struct RunCase {
  const char* name;
  std::string input;  // a document, or a shell script's body, as the table says
  std::vector<std::string> args;
  int status;
  const char* shown;
};

// Each table gets a fixture type of its own, so that its rows run only its tests.
template <int kTable>
class Table : public KestrineEndToEnd, public ::testing::WithParamInterface<RunCase> {
 protected:
  void expectEnd(const ProcessResult& run) {
    EXPECT_EQ(run.status, GetParam().status);
    EXPECT_TRUE(shows(run, GetParam().shown)) << run.output << run.error;
  }
};

const auto caseName = [](const auto& info) { return std::string(info.param.name); };

const char* const kDisplay1 = "\\\\.\\DISPLAY1";
const char* const kDisplay2 = "\\\\.\\DISPLAY2";

// The program never offers monitor power blanking: a save and a restore leave every monitor's D6
// value as it was, whatever value that is.
TEST_F(KestrineEndToEnd, SaveDarkensEveryDisplayAndRestoreBringsBackEveryWord) {
  ASSERT_EQ(sim({"display", "1", "ramp", "linear"}).status, 0);
  ASSERT_EQ(sim({"monitor", "2", "value", "2"}).status, 0);
  const std::vector<unsigned> modes{1, 2};
  const Ramp before1 = readRamp(kDisplay1);
  const Ramp before2 = readRamp(kDisplay2);

  auto receiver = startPeer({"receive"});
  const ProcessResult save = tool({"--save"});
  EXPECT_EQ(save.status, 0) << save.error;
  EXPECT_EQ(receiver->wait().status, 0);
  EXPECT_TRUE(isDark(readRamp(kDisplay1)));
  EXPECT_TRUE(isDark(readRamp(kDisplay2)));
  EXPECT_EQ(powerModes(), modes);

  // The successful save logs its steps in this order.
  std::size_t at = 0;
  for (const char* line : {"Got action save", "Windows screen blanking started", "Windows screen blanking ended",
                           "Save action complete", "Kestrine action successful, closing utility"}) {
    at = save.output.find(line, at);
    ASSERT_NE(at, std::string::npos) << line << "\n" << save.output;
  }
  const Json::Value document = parse(recordDocument(1));
  EXPECT_EQ(document["GammaBlanking"].size(), 2u);
  EXPECT_FALSE(document.isMember("initialMonitors"));

  auto sender = startPeer({"send"});
  const ProcessResult restore = tool({"--restore"});
  EXPECT_EQ(restore.status, 0) << restore.error;
  EXPECT_EQ(sender->wait().status, 0);
  EXPECT_NE(save.output.find("Initial gammas successfully saved."), std::string::npos);
  EXPECT_EQ(restore.output.find("Initial gammas successfully saved."), std::string::npos) << "a restore reads no ramp";
  EXPECT_EQ(readRamp(kDisplay1), before1);
  EXPECT_EQ(readRamp(kDisplay2), before2);
  EXPECT_EQ(powerModes(), modes);
}

// A document the peer sends that the tool cannot use: empty, cut at 1 MiB, or nested too deep.
using RestoreOfSentDocument = Table<0>;

TEST_P(RestoreOfSentDocument, EndsAsTheToolsRulesSay) {
  const std::filesystem::path in = simRoot / "sent.json";
  std::ofstream(in) << GetParam().input;
  auto sender = startPeer({"send", "--force", "--in", in.string()});
  const ProcessResult restore = tool({"--restore"});
  sender->wait();
  expectEnd(restore);
  EXPECT_EQ(restore.output.find("Restore action complete") == std::string::npos, GetParam().status != 0);
}

INSTANTIATE_TEST_SUITE_P(Cases, RestoreOfSentDocument, ::testing::Values(
    RunCase{"empty", "", {}, 0, "Failed to read from pipe due to error 109"},
    RunCase{"overOneMebibyte", "{\"GammaBlanking\":\"" + std::string(1048576 + 4096, 'x') + "\"}", {}, 0,
                "Receiving too much data from kestrine pipe (more than 1048576 chars). Closing named pipe."},
    RunCase{"nestedTooDeep", std::string(5000, '[') + std::string(5000, ']'), {}, 255, "Exceeded stackLimit"}),
    caseName);

// A document sent whole is held whatever the tool's status. unblank reads the restore's verdict
// from the tool's log: a display that stays dark ends it with status 3 and a note in the record,
// which stays held; once the fault is gone, unblank brings the display back and notes it.
TEST_F(KestrineEndToEnd, UnblankReportsTheToolsVerdictAndKeepsAFailedDocumentHeld) {
  ASSERT_EQ(sim({"display", "1", "ramp", "linear"}).status, 0);
  const Ramp before = readRamp(kDisplay1);
  EXPECT_EQ(peer({"blank", "--tool", script("fails", "\"" + kTool + "\" \"$@\"; exit 3")}).status, 3);
  EXPECT_TRUE(isDark(readRamp(kDisplay1)));

  // While the held document has not been used, a second save would record dark displays; a save
  // that fails never adds a held document, even with --force.
  EXPECT_EQ(peer({"blank"}).status, 2);
  EXPECT_EQ(peer({"blank", "--force", "--tool-arg", "--bogus"}).status, 1);

  ASSERT_EQ(sim({"display", "1", "fault", "set-fails", "5"}).status, 0);
  const ProcessResult failed = peer({"unblank", "--logfile", logFile("restore")});
  EXPECT_EQ(failed.status, 3);
  EXPECT_TRUE(shows(failed, "restore FAILED, 1 of 2 validated")) << failed.output;
  EXPECT_FALSE(shows(failed, "did not complete")) << "the tool ran to its end";
  EXPECT_TRUE(isDark(readRamp(kDisplay1)));
  ASSERT_EQ(sim({"display", "1", "fault", "clear"}).status, 0);
  EXPECT_EQ(peer({"unblank", "--logfile", logFile("restore")}).status, 0);
  EXPECT_EQ(readRamp(kDisplay1), before);

  const Json::Value history = parse(peer({"history", "--json"}).output);
  ASSERT_EQ(history.size(), 1u);
  EXPECT_EQ(history[0]["state"].asString(), "served");
  ASSERT_EQ(history[0]["notes"].size(), 3u);
  EXPECT_EQ(history[0]["notes"][1].asString(), "served: restore FAILED, 1 of 2 validated");
  EXPECT_EQ(history[0]["notes"][2].asString(), "served: 2 of 2 validated");
  EXPECT_EQ(peer({"unblank"}).status, 2) << "nothing is held any more";
  EXPECT_EQ(peer({"unblank", "--from", "1", "--logfile", logFile("again")}).status, 0);
  EXPECT_EQ(parse(peer({"history", "--json"}).output)[0]["notes"].size(), 4u) << "serving it again is noted";
}

// With every kept document lost, relight serves each display the machine lists the linear ramp.
TEST_F(KestrineEndToEnd, RelightLightsEveryDisplayLinearWhenTheDocumentIsLost) {
  ASSERT_EQ(sim({"reset", "--displays", "3"}).status, 0);
  ASSERT_EQ(peer({"blank", "--logfile", logFile("save")}).status, 0);
  std::filesystem::remove_all(simRoot / "peer");
  const ProcessResult relit = peer({"unblank", "--relight", "--logfile", logFile("relight")});
  EXPECT_EQ(relit.status, 0);
  EXPECT_TRUE(shows(relit, "3 of 3 validated")) << relit.output;
  EXPECT_TRUE(shows(relit, "NOT as it was"));
  for (const char* display : {"\\\\.\\DISPLAY1", "\\\\.\\DISPLAY2", "\\\\.\\DISPLAY3"}) {
    const Ramp lit = readRamp(display);
    for (std::size_t i = 0; i < lit.size(); ++i) ASSERT_EQ(lit[i], 255 * (i % 256)) << display << " " << i;
  }
}

// A store that cannot take a document stops the save before any display goes dark; one that
// fails once the save has begun (its records directory replaced by a file, so that it cannot even
// be listed) leaves the document beside the store, and is never read as an empty store.
TEST_F(KestrineEndToEnd, PeerNeverLosesADocumentToAStoreThatRefusesIt) {
  const ProcessResult full = run("/bin/sh", {"-c", "ulimit -f 64; trap '' XFSZ; exec \"$0\" blank", kPeer});
  EXPECT_EQ(full.status, 2);
  EXPECT_TRUE(shows(full, "cannot take a document of 1048576 bytes")) << full.error;
  EXPECT_FALSE(isDark(readRamp(kDisplay1)));

  const std::string sabotage = script(
      "sabotage", "rm -r \"$KESTRINE_SIM_ROOT/peer/records\"; touch \"$KESTRINE_SIM_ROOT/peer/records\"\n"
      "exec \"" + kTool + "\" \"$@\"");
  const ProcessResult failed = peer({"blank", "--tool", sabotage});
  EXPECT_EQ(failed.status, 2);
  EXPECT_TRUE(shows(failed, "cannot list the records")) << failed.output;
  EXPECT_TRUE(isDark(readRamp(kDisplay1)));
  EXPECT_EQ(peer({"history"}).status, 2) << "a store that cannot be listed is not empty";
  std::vector<std::filesystem::path> rescued(std::filesystem::directory_iterator(simRoot / "peer-rescued"), {});
  ASSERT_EQ(rescued.size(), 1u) << failed.output;
  EXPECT_TRUE(shows(failed, "the document was written to " + rescued[0].string()));
  std::filesystem::remove(simRoot / "peer" / "records");
  auto sender = startPeer({"send", "--in", rescued[0].string()});
  EXPECT_EQ(tool({"--restore"}).status, 0);
  EXPECT_FALSE(isDark(readRamp(kDisplay1)));
}

// Every wait of blank has a limit and ends with a message that says which; a blank that cannot
// start, because another process serves the pipe, says so. The input is the tool's script (its
// arguments are "$@"); without one, another peer serves the pipe and blank runs the real tool.
using PeerBoundedWait = Table<1>;

TEST_P(PeerBoundedWait, EndsWithAClearMessage) {
  auto other = GetParam().input.empty() ? startPeer({"receive", "--store", (simRoot / "other").string()}) : nullptr;
  std::vector<std::string> args{"blank", "--tool", GetParam().input.empty() ? kTool : script("tool", GetParam().input)};
  args.insert(args.end(), GetParam().args.begin(), GetParam().args.end());
  expectEnd(peer(args));
  EXPECT_FALSE(isDark(readRamp(kDisplay1)));
  EXPECT_EQ(peer({"history", "--json"}).output, "[]\n");
}

INSTANTIATE_TEST_SUITE_P(Cases, PeerBoundedWait, ::testing::Values(
    RunCase{"toolEndsWithoutConnecting", "exit 4", {}, 4, "the tool ended with status 4 without connecting"},
    RunCase{"toolNeverConnects", "exec sleep 30", {"--connect-timeout", "0.3"}, 9, "KestrinePipe within 0.3 s"},
    RunCase{"terminationNeverCompletes", "mkdir -p \"$KESTRINE_SIM_ROOT/processes\"; echo terminate-pending 600000 > "
            "\"$KESTRINE_SIM_ROOT/processes/faults\"; exec sleep 30", {"--connect-timeout", "0.3"}, 2, "still running 5 s after it was terminated"},
    RunCase{"damagedPipeSettings", "echo x > \"$KESTRINE_SIM_ROOT/pipes/kestrinepipe/settings\"; exec " KESTRINE_EXE " \"$@\"",
            {}, 255, "the tool ended with status 255 without connecting"},
    RunCase{"pipeServedByAnotherProcess", "", {}, 2, "another process already serves"}),
    caseName);

TEST_F(KestrineEndToEnd, AnUnsavedDisplayIsNamedAndComesBackLinearOnRequest) {
  const Ramp before1 = readRamp(kDisplay1);
  ASSERT_EQ(sim({"display", "2", "fault", "changing"}).status, 0);
  EXPECT_TRUE(shows(peer({"blank"}), "no saved ramp for \\\\.\\DISPLAY2"));
  ASSERT_EQ(sim({"display", "2", "fault", "clear"}).status, 0);
  ASSERT_EQ(sim({"display", "2", "ramp", "zero"}).status, 0);
  EXPECT_EQ(peer({"unblank", "--linear-for-unsaved", "--logfile", logFile("restore")}).status, 0);
  const Ramp lit = readRamp(kDisplay2);
  for (std::size_t i = 0; i < lit.size(); ++i) {
    ASSERT_EQ(lit[i], 255 * (i % 256)) << i;
  }
  EXPECT_EQ(readRamp(kDisplay1), before1) << "a saved display gets its own ramp";
  EXPECT_NE(recordDocument(1).find("\"initialGammasSaved\" : false"), std::string::npos) << "the document stays";
}

// TCLAP's own statuses for the command line, and -1 when no peer serves the pipe; no run here
// darkens a display.
using CommandLineStatus = Table<2>;

TEST_P(CommandLineStatus, IsAsDocumented) {
  const ProcessResult run = tool(GetParam().args);
  expectEnd(run);
  EXPECT_EQ(run.output.find("Got action"), std::string::npos);
  EXPECT_FALSE(isDark(readRamp(kDisplay1)));
}

INSTANTIATE_TEST_SUITE_P(Cases, CommandLineStatus, ::testing::Values(
    RunCase{"noArguments", "", {}, 1, "PARSE ERROR"},
    RunCase{"restoreAndSave", "", {"-r", "-s"}, 1, "Mutually exclusive argument already set!"},
    RunCase{"unknownArgument", "", {"--save", "--bogus"}, 1, "PARSE ERROR"},
    RunCase{"help", "", {"--help"}, 0, "Kestrine tool"},
    RunCase{"version", "", {"--version"}, 0, "0.1"},
    RunCase{"restoreWithoutPeer", "", {"--restore"}, 255, "general error: Unable to open pipe client with error code 2"}),
    caseName);

}  // namespace

// Whether any process but this test still runs on this machine (its environment names the root).
bool machineHasProcesses(const std::filesystem::path& root) {
  const std::string marker = "KESTRINE_SIM_ROOT=" + root.string();
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename().string();
    if (name.find_first_not_of("0123456789") != std::string::npos || std::stoi(name) == ::getpid()) {
      continue;
    }
    std::ifstream in(entry.path() / "environ");
    std::string variable;
    while (std::getline(in, variable, '\0')) {
      if (variable == marker) {
        return true;
      }
    }
  }
  return false;
}

// The peer ended from outside at moments of a save: whatever the moment, a display that is dark
// has its document held, and nothing of the save runs on. Killed, the peer takes the tool with
// it (the tool needs about 200 ms to blank here, so timed kills land before it blanks; the chaos
// rounds kill at random moments); Ctrl+C (SIGINT) and a closed console (SIGHUP) wait for the store.
struct PeerEndCase {
  const char* name;
  int signal;
  int afterMilliseconds;  // when the signal goes, counted from the pipe's opening; or -1: once
                          // display 1 is dark, -2: once a record is stored
};

class PeerEndedDuringSave : public KestrineEndToEnd, public ::testing::WithParamInterface<PeerEndCase> {};

TEST_P(PeerEndedDuringSave, NeverLeavesADarkDisplayWithoutItsDocument) {
  auto blank = startPeer({"blank"});
  const int moment = GetParam().afterMilliseconds;
  // The store lock of the running blank keeps `history` out: the record file itself tells.
  const auto recordHeld = [&] {
    std::ifstream in(simRoot / "peer" / "records" / "1.record");
    std::string header;
    return std::getline(in, header) && header.find(" held ") != std::string::npos;
  };
  if (moment >= 0) std::this_thread::sleep_for(std::chrono::milliseconds(moment));  // the moment of the kill
  ASSERT_TRUE(moment >= 0 || testing_support::eventually([&] { return moment == -1 ? isDark(readRamp(kDisplay1)) : recordHeld(); }));
  blank->signal(GetParam().signal);
  blank->wait();
  ASSERT_TRUE(testing_support::eventually([&] { return !machineHasProcesses(simRoot); }))
      << "the tool outlived its peer";
  const bool held = recordHeld();
  for (const char* display : {kDisplay1, kDisplay2}) {
    EXPECT_TRUE(!isDark(readRamp(display)) || held) << display << " is dark with no document";
  }
  EXPECT_TRUE(moment >= 0 || held) << "an arrived document is stored before the peer ends";
}

INSTANTIATE_TEST_SUITE_P(Cases, PeerEndedDuringSave, ::testing::Values(
    PeerEndCase{"killedAfter30ms", SIGKILL, 30},
    PeerEndCase{"killedAfter90ms", SIGKILL, 90},
    PeerEndCase{"killedAfter160ms", SIGKILL, 160},
    PeerEndCase{"killedOnceStored", SIGKILL, -2},
    PeerEndCase{"ctrlCOnceDark", SIGINT, -1},
    PeerEndCase{"consoleClosedOnceDark", SIGHUP, -1}),
    caseName);

// A client that reaches the pipe before the tool, with a well-formed document of another
// machine, is refused unread; the tool, started by a wrapper script as its child (so in the job,
// not the process the peer started), is heard: its document is the one held and served back.
TEST_F(KestrineEndToEnd, OnlyTheStartedToolIsHeard) {
  ASSERT_EQ(peer({"blank"}).status, 0);
  Json::Value other = parse(recordDocument(1));
  ASSERT_EQ(peer({"unblank"}).status, 0);
  other["GammaBlanking"][0]["initialGammas"]["red"][255] = 1234;
  const std::string stray = Json::writeString(Json::StreamWriterBuilder(), other);

  const std::string gate = (simRoot / "go").string();
  const auto sendStray = [&] {
    HANDLE client = platform::CreateFileW(velmo::utf8ToWide("\\\\.\\pipe\\KestrinePipe").c_str(),
                                          GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(client, INVALID_HANDLE_VALUE);
    // The peer may refuse the client before it writes: then the write fails, as it should.
    DWORD written = 0;
    platform::WriteFile(client, stray.data(), static_cast<DWORD>(stray.size()), &written, nullptr);
    platform::CloseHandle(client);
  };
  auto blank = startPeer({"blank", "--tool", script("late", "until [ -e \"" + gate + "\" ]; do sleep 0.01; done; \"" + kTool + "\" \"$@\"")});
  sendStray();
  std::ofstream(gate).put('\n');
  const ProcessResult held = blank->wait();
  EXPECT_EQ(held.status, 0) << held.output;
  EXPECT_TRUE(shows(held, "refused a client of \\\\.\\pipe\\KestrinePipe (process " + std::to_string(::getpid()) + ")")) << held.output;
  EXPECT_EQ(parse(recordDocument(2))["GammaBlanking"][0]["initialGammas"]["red"][255].asUInt(), 65535u);
  ASSERT_EQ(peer({"unblank"}).status, 0);
  EXPECT_EQ(readRamp(kDisplay1)[255], 65535u);
  // After the refused client, a tool that never connects ends the wait at its limit.
  auto unserved = startPeer({"blank", "--connect-timeout", "2", "--tool", script("never", "exec sleep 30")});
  sendStray();
  const ProcessResult waited = unserved->wait();
  EXPECT_EQ(waited.status, 9) << waited.output;
  EXPECT_TRUE(shows(waited, "KestrinePipe within 2 s")) << waited.output;
}

// Against a client that never reads, every send ends at --transfer-timeout with a clear message
// and status 2, and a record it was serving stays held. (`timeout` bounds a peer that waits on.)
using SendToAClientThatNeverReads = Table<2>;

TEST_P(SendToAClientThatNeverReads, EndsAtTheTransferTimeout) {
  Json::Value large;
  large["padding"] = std::string(900 * 1024, 'x');  // more than the pipe's buffers hold
  const std::string document = Json::writeString(Json::StreamWriterBuilder(), large);
  const std::filesystem::path file = simRoot / "large.json";
  std::ofstream(file, std::ios::binary) << document;
  const platform::WideString pipe = velmo::utf8ToWide("\\\\.\\pipe\\KestrinePipe");
  if (GetParam().input == "record") {
    auto receiver = startPeer({"receive"});
    HANDLE sender = platform::CreateFileW(pipe.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    DWORD written = 0;
    EXPECT_NE(platform::WriteFile(sender, document.data(), static_cast<DWORD>(document.size()), &written, nullptr), 0);
    platform::CloseHandle(sender);
    ASSERT_EQ(receiver->wait().status, 0);
  }
  std::vector<std::string> args{"/usr/bin/timeout", "20", kPeer, "send", "--transfer-timeout", "0.5"};
  args.insert(args.end(), GetParam().args.begin(), GetParam().args.end());
  if (GetParam().input == "file") {
    args.insert(args.end(), {"--in", file.string()});
  }
  ChildProcess send(args, environment);
  ASSERT_TRUE(testing_support::waitForPipe());
  HANDLE client = platform::CreateFileW(pipe.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  const ProcessResult ended = send.wait();
  platform::CloseHandle(client);
  expectEnd(ended);
  if (GetParam().input == "record") {
    EXPECT_NE(peer({"history", "--json"}).output.find("\"held\""), std::string::npos);
    // Padding, not a display state document: kept away from the documents' schema check.
    std::filesystem::remove_all(simRoot / "peer");
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, SendToAClientThatNeverReads, ::testing::Values(
    RunCase{"fromFile", "file", {}, 2, "when the transfer's time ran out"},
    RunCase{"heldRecord", "record", {}, 2, "when the transfer's time ran out"}),
    caseName);

// The tool's output reaches the peer: relayed as it comes (unless --quiet) and kept in the
// history beside the record, shown by history --show.
TEST_F(KestrineEndToEnd, TheToolsOutputIsRelayedAndKeptWithItsRecord) {
  const ProcessResult loud = peer({"blank"});
  ASSERT_EQ(loud.status, 0);
  EXPECT_TRUE(shows(loud, "[tool] ")) << loud.output;
  EXPECT_FALSE(shows(loud, "GdiIcmGammaRange")) << "no display refused its dark ramp";
  const ProcessResult quiet = peer({"unblank", "--quiet"});
  ASSERT_EQ(quiet.status, 0);
  EXPECT_FALSE(shows(quiet, "[tool] ")) << quiet.output;
  // A run that ended mid-line leaves its output without the last line feed.
  const auto blankOutput = simRoot / "peer" / "outputs" / "1.blank.output";
  std::filesystem::resize_file(blankOutput, std::filesystem::file_size(blankOutput) - 1);
  const ProcessResult shown = peer({"history", "--show", "1"});
  EXPECT_EQ(shown.status, 0);
  for (const char* text : {"blank    18", "--- the tool's output during blank ---", "Request to blank succeeded",
                           "\n--- the tool's output during unblank ---", "Restore action complete"}) {
    EXPECT_TRUE(shows(shown, text)) << text << "\n" << shown.output;
  }
}
