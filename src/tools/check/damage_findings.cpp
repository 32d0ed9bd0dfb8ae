#include "tools/check/damage_findings.h"

#include <algorithm>

#include "parser/element.h"

namespace vantor::tools {
namespace {

struct Places {
  std::uint64_t count = 0;
  std::uint64_t bytes = 0;
  std::uint64_t first = 0;

  void Add(const Tolerance& note) {
    if (count++ == 0) first = note.position;
    bytes += note.bytes;
  }
};

bool IsDamage(const Tolerance& note, const CMkvFileRoot& root) {
  switch (note.kind) {
    case Tolerated::kDamageSkipped:
    case Tolerated::kUnreadableHeader:
      return true;
    case Tolerated::kChildPastParent:
      // Not the Segment itself, of a file that is cut short.
      return note.position >= root.segment.dataStart;
    default:
      return false;
  }
}

// Whether the end of the file is in the way: a header of which it holds a part only, or an element that runs past a
// parent which lasts to there.
bool IsCutOff(const Tolerance& note, CMkvFileRoot& root) {
  constexpr std::uint64_t kLongestHeader = 12;
  if (note.kind == Tolerated::kUnreadableHeader) return note.position + kLongestHeader > root.length;
  if (note.kind != Tolerated::kChildPastParent) return false;
  const MkvElement element = MkvElement::At(root, nullptr, note.position);
  return element && element.DataEnd() - note.bytes == root.length;
}

}  // namespace

void AppendDamage(CMkvFileRoot& root, const DamageNotes& noted, Findings& findings) {
  std::optional<std::uint64_t> cut = noted.cut;
  Places damaged;
  for (const Tolerance& note : noted.notes) {
    if (!IsDamage(note, root)) continue;
    if (!IsCutOff(note, root)) {
      damaged.Add(note);
    } else if (!cut) {
      cut = note.position;
    }
  }
  const bool isCutKnown = std::any_of(findings.begin(), findings.end(),
                                      [](const Finding& finding) { return finding.kind == FindingKind::kCutShort; });
  if (cut && !isCutKnown) {
    findings.push_back(MakeFinding(FindingKind::kCutShort, *cut, {}, "an element lasts longer than the file"));
  }
  if (damaged.count > 0) {
    findings.push_back(MakeFinding(FindingKind::kDamage, damaged.first, {},
                                   CountText(damaged.count, "place is", "places are", noted.isAll),
                                   CountText(damaged.bytes, "byte is", "bytes are", noted.isAll)));
  }
}

}  // namespace vantor::tools
