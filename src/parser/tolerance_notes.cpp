#include "parser/tolerance_notes.h"

#include <algorithm>
#include <array>

namespace vantor {

namespace {

// In the order of the kinds.
constexpr std::array<const char*, kToleratedKinds> kTexts = {
    "damaged header skipped",
    "unreadable header ends a walk",
    "element runs past its parent",
    "seek entry misleads",
    "value cannot be read",
    "integer of more than 8 bytes",
    "payload out of bounds",
    "text is not UTF-8",
    "Cluster without a usable time",
    "block header cannot be read",
    "damaged block rejected",
    "bytes left over by fixed-size lacing",
    "frame cut off by the end of the file",
    "frame too large to be read",
    "read failed",
    "too much read for the file's length",
    "too many tracks",
    "too many seek entries",
    "too many cues",
    "too many content encodings",
    "too many chapters",
    "too many attached files",
    "further Segment passed over",
};

}  // namespace

const char* ToleratedText(Tolerated kind) { return kTexts[static_cast<std::size_t>(kind)]; }

void ToleranceList::Collect(std::size_t limit) {
  notes_.clear();
  notes_.shrink_to_fit();
  limit_ = 0;
  omitted_ = 0;
  met_ = 0;
  notes_.reserve(limit);
  limit_ = limit;
}

void ToleranceList::Add(const Tolerance& note) noexcept {
  met_ |= std::uint64_t{1} << static_cast<unsigned>(note.kind);
  const bool isRecord = note.kind >= Tolerated::kTrackOverLimit;
  if (isRecord && !notes_.empty()) {
    // A hundred thousand empty records must not crowd out everything else.
    Tolerance& last = notes_.back();
    if (last.kind == note.kind && last.position + last.bytes == note.position) {
      last.bytes += note.bytes;
      return;
    }
  }
  if (notes_.size() >= limit_) {
    ++omitted_;
  } else if (std::ranges::find(notes_, note) == notes_.end()) {
    notes_.push_back(note);
  }
}

}  // namespace vantor
