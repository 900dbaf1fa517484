// The peer's command line: the values TCLAP cannot judge are refused by name, the edges of each
// range are taken, and the tool's log file is found among the arguments passed on to it.
#include "tools/peer/peer_options.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tools/peer/peer_error.h"

namespace {

struct OptionsRow {
  std::vector<const char*> args;
  const char* refusal;  // a part of the UsageError's text, or nullptr: accepted, then `check`
  std::function<bool(const peer::PeerOptions&)> check;
};

class PeerOptionsTest : public ::testing::TestWithParam<OptionsRow> {};

TEST_P(PeerOptionsTest, RefusesByNameOrTakes) {
  std::vector<const char*> argv{"kestrine-peer"};
  argv.insert(argv.end(), GetParam().args.begin(), GetParam().args.end());
  const auto parse = [&] {
    return peer::parsePeerOptions(static_cast<int>(argv.size()), argv.data(),
                                  {"blank", "unblank", "receive", "send", "history"});
  };
  if (!GetParam().refusal) {
    EXPECT_TRUE(GetParam().check(parse()));
    return;
  }
  try {
    parse();
    ADD_FAILURE() << "accepted";
  } catch (const peer::UsageError& e) {
    EXPECT_NE(std::string(e.what()).find(GetParam().refusal), std::string::npos) << e.what();
  }
}

using O = const peer::PeerOptions&;
INSTANTIATE_TEST_SUITE_P(Rows, PeerOptionsTest, ::testing::Values(
    OptionsRow{{"unblank", "--relight", "--from", "3"}, "--relight serves no kept document", {}},
    OptionsRow{{"unblank", "--relight", "--linear-for-unsaved"}, "--relight serves no kept document", {}},
    OptionsRow{{"send", "--relight"}, "--relight belongs to unblank", {}},
    OptionsRow{{"unblank", "--relight"}, nullptr, [](O o) {
      return o.relight && !o.fromRecord && o.maxInstances == 1 && o.keep == 20 && !o.connectTimeout && o.transferTimeout.count() == 60000;
    }},
    OptionsRow{{"blank", "--pipe", "a\\b"}, "--pipe needs a name without backslashes", {}},
    OptionsRow{{"blank", "--pipe", ""}, "--pipe needs a name without backslashes", {}},
    OptionsRow{{"blank", "--instances", "0"}, "--instances must be between 1 and 255", {}},
    OptionsRow{{"blank", "--instances", "256"}, "--instances must be between 1 and 255", {}},
    OptionsRow{{"blank", "--instances", "255"}, nullptr, [](O o) { return o.maxInstances == 255; }},
    OptionsRow{{"history", "--keep", "0"}, "--keep must be at least 1", {}},
    OptionsRow{{"history", "--keep", "1"}, nullptr, [](O o) { return o.keep == 1; }},
    OptionsRow{{"receive", "--out", ""}, "--out needs a file name", {}},
    OptionsRow{{"send", "--connect-timeout", "0"}, "--connect-timeout must be more than 0", {}},
    OptionsRow{{"send", "--transfer-timeout", "86400.5"}, "at most 86400 seconds", {}},
    OptionsRow{{"send", "--transfer-timeout", "86400", "--connect-timeout", "0.25"}, nullptr,
               [](O o) { return o.transferTimeout.count() == 86400000 && o.connectTimeout->count() == 250; }},
    OptionsRow{{"blank", "--tool-arg", "-l", "--tool-arg", "a.txt"}, nullptr,
               [](O o) { return o.toolLogFile == "a.txt" && o.toolArguments.size() == 2; }},
    OptionsRow{{"blank", "--tool-arg", "--logfile=b.txt"}, nullptr, [](O o) { return o.toolLogFile == "b.txt"; }},
    OptionsRow{{"blank", "--tool-arg", "--logfile"}, nullptr, [](O o) { return !o.toolLogFile; }},
    OptionsRow{{"blank", "--tool-arg", "--logfile="}, nullptr, [](O o) { return !o.toolLogFile; }}));

}  // namespace
