// What the parser tolerated: the damage, limits and oddities that it went on from. Each byte source keeps a list of its
// own, without a lock. It is off until somebody asks for it, and then costs one branch where something is wrong anyway.
//
//   CMkvFileRoot root(reader, true);
//   root.tolerated.Collect();
//   if (root.Open() != S_OK) return;
//   for (const Tolerance& note : root.tolerated.Notes()) Use(note.position);
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vantor {

// What was tolerated. A note's position is where the element, or what is in its place, starts, and its bytes are those
// that were passed over, unless the line says otherwise.
enum class Tolerated : std::uint8_t {
  // The walk over elements.
  kDamageSkipped,        // a header in a Segment cannot be read; the scan behind it found the next element
  kUnreadableHeader,     // a header cannot be read, and the walk ends there; bytes: the rest of the parent
  kChildPastParent,      // an element runs past its parent, whose end counts; bytes: those past it
  kMisleadingSeekEntry,  // position: where the entry leads, to nothing or to something else than it says; no bytes
  // Values.
  kUnreadableValue,     // a number or an identifier cannot be read: the field keeps its default
  kIntegerTooLong,      // an unsigned integer of more than 8 bytes: the last 8 count; bytes: the others
  kPayloadOutOfBounds,  // a text or a payload runs past the end of the file, or is too large to be kept
  kInvalidText,         // a text with bytes that are not UTF-8, which became U+FFFD
  // Clusters and blocks.
  kUnusableClusterTime,    // a Cluster without a time, or whose time cannot be read; no bytes
  kUnreadableBlockHeader,  // part of track number, time and flags cannot be read and counts as 0
  kRejectedBlock,          // a block whose lacing is damaged, or which ends within its header
  kLaceRemainder,          // position: the payload behind the lace's head; bytes: those that equal frames leave over
  kFrameCutOff,            // position: of the frame; bytes: those missing at the end of the file
  kFrameTooLarge,          // position: of the frame, which was not read
  // Reading.
  kReadFailed,     // the reader refused; position and bytes: what it was asked for
  kWorkExhausted,  // the source may not read any more; position and bytes: what was to be read
  // Records that are over their limit and not kept. Neighbours of one kind are noted as one.
  kTrackOverLimit,
  kSeekEntryOverLimit,
  kCueOverLimit,  // also the made-up point of a Cluster
  kEncodingOverLimit,
  kChapterOverLimit,
  kAttachedFileOverLimit,
  kSegmentPassedOver,  // over the limit, or behind a Segment that has told its UID
};
inline constexpr std::size_t kToleratedKinds = static_cast<std::size_t>(Tolerated::kSegmentPassedOver) + 1;

// The kind in a few words, for people: "damaged header skipped".
const char* ToleratedText(Tolerated kind);

struct Tolerance {
  Tolerated kind;
  std::uint64_t position;  // absolute, bytes
  std::uint64_t bytes;

  bool operator==(const Tolerance&) const = default;
};

class ToleranceList {
 public:
  static constexpr std::size_t kUsualLimit = 256;

  // Starts over and keeps the first `limit` notes from now on; none with 0. The room for them is taken here, so that
  // noting allocates nothing.
  void Collect(std::size_t limit = kUsualLimit);
  bool IsCollecting() const { return limit_ != 0; }

  void Note(Tolerated kind, std::uint64_t position, std::uint64_t bytes) noexcept {
    if (limit_ != 0) [[unlikely]] {
      Add({kind, position, bytes});
    }
  }

  // In the order in which they were made. What is met again, by a second walk over the same place, is noted once.
  const std::vector<Tolerance>& Notes() const { return notes_; }
  // How many came after the list was full, repetitions included.
  std::uint64_t Omitted() const { return omitted_; }
  // Whether there was one of this kind, kept or not.
  bool WasMet(Tolerated kind) const { return (met_ >> static_cast<unsigned>(kind) & 1U) != 0; }

 private:
  void Add(const Tolerance& note) noexcept;

  std::vector<Tolerance> notes_;
  std::size_t limit_ = 0;
  std::uint64_t omitted_ = 0;
  std::uint64_t met_ = 0;  // a bit for each kind
  static_assert(kToleratedKinds <= 64);
};

}  // namespace vantor
