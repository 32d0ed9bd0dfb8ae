// The published names of the filter graph's events.
//
//   for (const NameRow& row : EventNameRows()) if (row.code == EC_COMPLETE) return row.text;   // "EC_COMPLETE"
//
// LookupEventName (diag/result_names.h) finds one.
#pragma once

#include <cstdint>
#include <span>

namespace vantor {

struct NameRow {
  std::uint32_t code;
  const char* text;
};

// In ascending order of the codes.
std::span<const NameRow> EventNameRows();

}  // namespace vantor
