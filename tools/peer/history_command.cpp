// The history command: a table for people, JSON for scripts.
#include "tools/peer/history_command.h"

#include <json/value.h>
#include <json/writer.h>

#include <ctime>
#include <iostream>

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

}  // namespace

int runHistory(const PeerOptions& options) {
  LockedStore store(options);
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
  std::cout << "ID    RECEIVED (UTC)        COMMAND  BYTES     STATE\n";
  for (const DocumentRecord& record : records) {
    char line[128];
    std::snprintf(line, sizeof line, "%-5u %-21s %-8s %-9zu %s\n", record.id,
                  utcText(record.receivedAt).c_str(), record.command.c_str(), record.bytes,
                  stateName(record.state));
    std::cout << line;
    for (const std::string& note : record.notes) {
      std::cout << "      " << note << '\n';
    }
  }
  std::cout.flush();
  return 0;
}

}  // namespace peer
