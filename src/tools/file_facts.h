// FileFacts: what is in a file and how far the filter gets with it, gathered in one pass over the headers of all
// blocks. Its size depends on the number of tracks and index entries, not on the file's length.
//
//   FileFacts facts = ReadFacts(root, tracks, summary.stop);
//   for (const auto& [number, track] : facts.numbers) Use(track.packets, track.behindEnd.packets);
//
// A packet is a frame of a Block that lies wholly in the file.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "parser/file_root.h"
#include "parser/tolerance_notes.h"
#include "tools/check/filter_path.h"
#include "tools/check/index_check.h"
#include "tools/track_pins.h"

namespace vantor::tools {

// Packets that do not come out, for one reason.
struct Loss {
  std::uint64_t packets = 0;
  std::uint64_t position = 0;  // of the first one's block

  void Add(std::uint64_t count, std::uint64_t at) {
    if (packets == 0) position = at;
    packets += count;
  }
};

// All blocks of one track number. Times count from the file's first Cluster, 100 ns.
struct NumberFacts {
  std::uint64_t packets = 0;
  std::uint64_t bytes = 0;
  std::uint64_t position = 0;  // of the first block
  std::int64_t lastStart = 0;
  std::int64_t lastEnd = 0;             // as far as blocks tell their durations
  bool isWaiting = false;               // for a key frame, still at the end
  std::int64_t firstKey = 0;            // where waiting ended
  std::optional<std::int64_t> lastKey;  // the latest key frame, as the blocks have it
  Loss noPin;                           // of a track that has none, told with the track
  Loss beforeKeyFrame;
  Loss behindEnd;
  Loss rejected;  // in laces or groups that the filter does not read
  Loss tooLarge;
  std::array<Loss, 3> hidden;  // by Hidden
};

enum class UnreadCause {
  kElsewhere,  // its Tracks element stands where the filter does not look
  kOverLimit,  // there are more entries than the filter reads
};
struct UnreadTrack {
  UnreadCause cause;
  std::uint64_t position;  // of its entry
};

struct FileFacts {
  std::map<std::uint64_t, NumberFacts> numbers;
  std::uint64_t clusters = 0;
  bool isPathKnown = true;  // false: from some place on nobody can say what the filter does
  bool isComplete = true;   // false: the pass gave up, since elements claim each other's bytes
  std::optional<std::uint64_t> secondSegment;
  std::optional<std::uint64_t> cues;  // the first that stands in the file, whether the filter finds it or not
  std::optional<std::uint64_t> attachments;
  // Numbers of entries that the filter does not read: the first ones, and all that have packets.
  std::map<std::uint64_t, UnreadTrack> unreadTracks;
  std::array<std::uint64_t, 2> moreUnreadTracks{};  // entries with other numbers, by UnreadCause
  bool hasAllNumbers = true;                        // false: there were blocks of more track numbers than are counted
  std::optional<std::uint64_t> cut;                 // an element that lasts longer than the file
  std::uint64_t damagedBlocks = 0;                  // whose frames nobody can tell
  std::uint64_t damagedBlock = 0;                   // the first
  IndexFacts index;
  std::vector<Tolerance> notes;  // of this pass
  bool hasAllNotes = true;       // false: there were more than are kept
};

// The packets of one Block, as the pass meets them.
struct MetPackets {
  std::uint64_t track = 0;
  std::uint64_t position = 0;
  std::int64_t start = 0;     // 100 ns from the file's first Cluster
  std::int64_t duration = 0;  // 0: the Block tells none
  std::uint64_t packets = 0;
  std::uint64_t bytes = 0;
  std::uint64_t lost = 0;  // packets that do not come out; 0 where nobody knows
  bool isKey = false;
};

// Told of what the pass meets, in the file's order.
class FactsListener {
 public:
  // A child of a Segment; `time` is that of a Cluster.
  virtual void OnElement(const MkvElement& element, std::int64_t time) = 0;
  virtual void OnPackets(const MetPackets& met) = 0;
  // `time` counts as that of packets.
  virtual void OnIndexed(const IndexedPlace& place, std::int64_t time) = 0;

 protected:
  ~FactsListener() = default;
};

// The file has been opened and notes what it tolerates; `stop` is where the filter ends playing, 100 ns. Where
// interrupts are watched for, the pass ends with one.
FileFacts ReadFacts(CMkvFileRoot& root, const TrackPins& tracks, std::int64_t stop, FactsListener* listener = nullptr);

}  // namespace vantor::tools
