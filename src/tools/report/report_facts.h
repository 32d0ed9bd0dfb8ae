// ReportFacts: a file as a picture needs it, gathered into columns of time while the pass over the blocks goes on. Its
// size depends on the number of tracks, not on the file's length.
//
//   const TrackLabels labels = ReadTrackLabels(root);
//   ReportGatherer gatherer(opened, tracks, labels);
//   FindInOpened(session, {}, findings, &gatherer);
//   const ReportFacts facts = gatherer.Finish(summary, findings);
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/check/findings.h"
#include "tools/column_lane.h"
#include "tools/file_facts.h"
#include "tools/listing.h"
#include "tools/opened_file.h"
#include "tools/track_labels.h"
#include "tools/track_pins.h"

namespace vantor::tools {

struct TrackCell {
  std::uint64_t bytes = 0;
  std::uint32_t packets = 0;
  std::uint32_t keys = 0;     // blocks with a key flag
  std::uint32_t lost = 0;     // packets that do not come out
  std::uint32_t preroll = 0;  // packets before the position where playing begins
  bool isCovered = false;     // by a packet that began before

  void Add(const TrackCell& other) {
    bytes += other.bytes;
    packets += other.packets;
    keys += other.keys;
    lost += other.lost;
    preroll += other.preroll;
    isCovered = isCovered || other.isCovered;
  }
};

// Where the Clusters of these times lie in the file.
struct ClusterCell {
  std::uint32_t clusters = 0;
  std::uint64_t lowest = ~std::uint64_t{0};
  std::uint64_t highest = 0;
  std::uint64_t end = 0;  // of the highest

  void Add(const ClusterCell& other) {
    clusters += other.clusters;
    lowest = std::min(lowest, other.lowest);
    if (other.clusters > 0 && other.highest >= highest) end = other.end;
    highest = std::max(highest, other.highest);
  }
};

struct IndexCell {
  std::uint32_t right = 0;
  std::uint32_t wrong = 0;

  void Add(const IndexCell& other) {
    right += other.right;
    wrong += other.wrong;
  }
};

struct ReportTrack {
  std::uint64_t number = 0;
  bool hasEntry = true;  // false: the blocks of all numbers without an entry
  std::string kind;
  std::string codec;
  std::string language;
  std::string name;
  int pin = 0;
  std::int64_t frameDuration = 0;  // 100 ns; 0: unknown

  std::uint64_t blocks = 0;
  std::uint64_t keys = 0;
  std::uint64_t packets = 0;
  std::uint64_t bytes = 0;
  std::uint64_t lost = 0;
  std::uint64_t preroll = 0;
  std::int64_t firstStart = 0;
  std::int64_t lastStart = 0;
  std::int64_t lastEnd = 0;
  std::vector<std::pair<std::int64_t, std::int64_t>> gaps;  // the first ones
  std::uint64_t gapCount = 0;
  ColumnLane<TrackCell> cells;

  // In what regards time between packets: subtitles come when something is said.
  bool IsContinuous() const { return kind == "video" || kind == "audio"; }
};

struct WrongIndexEntry {
  std::int64_t time = 0;
  std::uint64_t position = 0;
  std::uint64_t track = 0;
  bool isPlaceWrong = false;  // false: a Cluster without a block of that time
};

struct ReportChapter {
  std::int64_t start = 0;
  std::string name;
};

struct ReportAttachment {
  std::string name;
  std::string type;
  std::uint64_t size = 0;
  std::uint64_t position = 0;
};

// What lies in a column of the file's bytes.
enum LayoutBit : std::uint8_t {
  kHeaderBytes = 1,
  kClusterBytes = 2,
  kIndexBytes = 4,
  kAttachmentBytes = 8,
  kOtherBytes = 16
};

struct ReportFacts {
  std::string container;
  std::string title;
  std::string writingApp;
  std::uint64_t size = 0;
  std::int64_t duration = 0;  // as the filter announces it, 100 ns
  std::int64_t fileDuration = 0;
  std::int64_t stop = 0;       // where playing ends
  std::int64_t lastStart = 0;  // of all packets
  std::int64_t lastEnd = 0;
  std::vector<ReportTrack> tracks;
  ColumnLane<ClusterCell> clusters;
  std::uint64_t clusterCount = 0;
  ColumnLane<IndexCell> index;
  std::uint64_t indexRight = 0;
  std::uint64_t indexWrong = 0;
  std::vector<WrongIndexEntry> wrongEntries;  // the first ones
  bool hasIndex = false;                      // of its own
  std::vector<ReportChapter> chapters;        // the first ones
  std::uint64_t chapterCount = 0;
  std::vector<ReportAttachment> attachments;  // the first ones
  std::uint64_t attachmentCount = 0;
  std::vector<std::uint8_t> layout;  // LayoutBits
  Findings findings;
  ColumnScale scale;  // of all lanes

  std::int64_t Start() const { return scale.first * (std::int64_t{1} << scale.shift); }
  double ColumnTime() const { return static_cast<double>(std::int64_t{1} << scale.shift); }
  double Length() const { return ColumnTime() * static_cast<double>(scale.Count()); }
  // A packet begins behind the end that the filter announces.
  bool HasRestBehindEnd() const { return stop < lastStart; }
  // The time of the Cluster that the byte lies in.
  std::optional<std::int64_t> TimeOfByte(std::uint64_t position) const;
};

class ReportGatherer final : public FactsListener {
 public:
  // These outlive it.
  ReportGatherer(OpenedFile& file, const TrackPins& tracks, const TrackLabels& labels);

  void OnElement(const MkvElement& element, std::int64_t time) override;
  void OnPackets(const MetPackets& met) override;
  void OnIndexed(const IndexedPlace& place, std::int64_t time) override;

  ReportFacts Finish(const FilterSummary& summary, Findings findings);

 private:
  // What is known of the time between a track's packets.
  struct Pace {
    std::int64_t previous = 0;
    std::int64_t end = 0;
    double mean = 0;  // between two starts
    std::uint64_t count = 0;
  };

  void AddTrack(const TrackPin& pin, const TrackLabels& labels);
  void AddChapters(const MkvChapterAtom& atom);
  void NoteHeaders();
  void ReadLists(const MkvElement& met);
  void NotePace(ReportTrack& track, Pace& pace, const MetPackets& met);
  void NoteCover(ReportTrack& track, const MetPackets& met);
  void FitScale();

  OpenedFile& file_;
  CMkvFileClone quiet_;
  ReportFacts facts_;
  std::map<std::uint64_t, std::size_t> places_;  // of the tracks, by number
  std::vector<Pace> paces_;
  std::optional<std::size_t> others_;  // the place of blocks without an entry
};

}  // namespace vantor::tools
