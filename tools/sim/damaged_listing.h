// How kestrine-sim show lists the records of an area that it could not read: each by the name of
// its object and what is wrong with it, in the text and in the JSON form.
#pragma once

#include <json/value.h>

#include <ostream>
#include <vector>

#include "platform/sim/core/damaged_record.h"

namespace simtool {

inline void printDamaged(std::ostream& out, const std::vector<sim::DamagedEntry>& damaged) {
  for (const sim::DamagedEntry& entry : damaged) {
    out << "  " << entry.name << "  DAMAGED RECORD (its calls fail; reset repairs): "
        << entry.problem << "\n";
  }
}

// Appends {nameKey: name, "damaged": problem} for each damaged record.
inline void appendDamaged(Json::Value& list, const std::vector<sim::DamagedEntry>& damaged,
                          const char* nameKey) {
  for (const sim::DamagedEntry& entry : damaged) {
    Json::Value shown;
    shown[nameKey] = entry.name;
    shown["damaged"] = entry.problem;
    list.append(shown);
  }
}

}  // namespace simtool
