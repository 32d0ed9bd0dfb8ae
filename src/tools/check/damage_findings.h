// Damage, and where a file is cut off, from what the parser noted on its way through it.
//
//   AppendDamage(root, {root.tolerated.Notes(), root.tolerated.Omitted() == 0}, findings);
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "parser/file_root.h"
#include "parser/tolerance_notes.h"
#include "tools/check/findings.h"

namespace vantor::tools {

struct DamageNotes {
  std::vector<Tolerance> notes;
  bool isAll = true;                      // there is no more damage than that
  std::optional<std::uint64_t> cut = {};  // an element that lasts longer than the file
};

// Nothing is added that a finding of the same kind tells already, of what the Segment's size alone says.
void AppendDamage(CMkvFileRoot& root, const DamageNotes& noted, Findings& findings);

}  // namespace vantor::tools
