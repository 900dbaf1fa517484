// The history command: a table for people, JSON for scripts.
#include "tools/peer/history_command.h"

#include <json/value.h>
#include <json/writer.h>

#include <cstdio>
#include <ctime>
#include <iostream>

#include "tools/peer/peer_error.h"
#include "tools/peer/run_output.h"
#include "tools/peer/store_steps.h"

namespace peer {
namespace {

std::string utcText(std::int64_t seconds) {
  const std::time_t time = static_cast<std::time_t>(seconds);
  std::tm parts{};
#ifdef _WIN32
  gmtime_s(&parts, &time);
#else
  gmtime_r(&time, &parts);
#endif
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

const char* const kTableHeader = "ID    RECEIVED (UTC)        COMMAND  BYTES     STATE\n";

std::string tableLine(const DocumentRecord& record) {
  char line[128];
  std::snprintf(line, sizeof line, "%-5u %-21s %-8s %-9zu %s\n", record.id,
                utcText(record.receivedAt).c_str(), record.command.c_str(), record.bytes,
                stateName(record.state));
  std::string text = line;
  for (const std::string& note : record.notes) {
    text += "      " + note + "\n";
  }
  return text;
}

// --show ID: the record's line, then the tool's output of each run it took part in.
int showRecord(const DocumentHistory& history, unsigned id) {
  const std::optional<DocumentRecord> record = history.find(id);
  if (!record) {
    throw PeerError("the history holds no record " + std::to_string(id) + " (see `history`)");
  }
  std::cout << kTableHeader << tableLine(*record);
  const auto outputs = runOutputs(history, id);
  if (outputs.empty()) {
    std::cout << "no output of the tool was kept for record " << id << "\n";
  }
  for (const auto& [command, output] : outputs) {
    std::cout << "--- the tool's output during " << command << " ---\n" << output;
    if (!output.empty() && output.back() != '\n') {
      std::cout << "\n";
    }
  }
  std::cout.flush();
  return 0;
}

}  // namespace

int runHistory(const PeerOptions& options) {
  LockedStore store(options);
  if (options.showRecord) {
    return showRecord(store.history, *options.showRecord);
  }
  const std::vector<DocumentRecord> records = store.history.list();
  if (options.json) {
    Json::Value list(Json::arrayValue);
    for (const DocumentRecord& record : records) {
      Json::Value item;
      item["id"] = record.id;
      item["received"] = utcText(record.receivedAt);
      item["command"] = record.command;
      item["bytes"] = Json::UInt64{record.bytes};
      item["state"] = stateName(record.state);
      Json::Value& notes = item["notes"] = Json::Value(Json::arrayValue);
      for (const std::string& note : record.notes) {
        notes.append(note);
      }
      list.append(item);
    }
    std::cout << list.toStyledString();
    return 0;
  }
  if (records.empty()) {
    std::cout << "no documents in " << store.history.recordsDirectory().u8string() << std::endl;
    return 0;
  }
  std::cout << kTableHeader;
  for (const DocumentRecord& record : records) {
    std::cout << tableLine(record);
  }
  std::cout.flush();
  return 0;
}

}  // namespace peer
