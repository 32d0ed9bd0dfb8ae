// One pass with two views. A BlockWalk meets every block that there is; a FilterPath says of each Segment child whether
// the filter gets there. Where it does, a DeliveryModel for each track number says what becomes of the blocks; where it
// does not, their packets are hidden. What the filter reads without there being a packet, a block in a child that is no
// Cluster, goes to the models alone, since it may be the key frame that others wait for.
#include "tools/file_facts.h"

#include <algorithm>
#include <cstddef>
#include <set>

#include "parser/block.h"
#include "parser/element_ids.h"
#include "parser/element_table.h"
#include "platform/wrapping.h"
#include "tools/check/block_frames.h"
#include "tools/check/block_walk.h"
#include "tools/check/delivery_model.h"
#include "tools/interrupt_watch.h"

namespace vantor::tools {
namespace {

// What the pass may read, as a run of the filter may.
constexpr std::uint64_t kTimesForFacts = 4;
constexpr std::uint64_t kSlackForFacts = 65536;
// Track numbers without an entry that are counted.
constexpr std::size_t kMostNumbers = 1024;
// Entries that the filter does not read: those that are kept and searched for damage, and the others whose numbers are
// kept until it is known whether there are packets of them.
constexpr std::size_t kMostUnread = 1024;
constexpr std::size_t kMostLater = std::size_t{1} << 18;

// What is kept of a Block until its group has been read.
struct KeptBlock {
  std::uint64_t start = 0;
  std::uint64_t track = 0;
  std::int64_t relativeTime = 0;
  std::size_t count = 0;  // as the filter reads it
  std::size_t whole = 0;
  std::uint64_t bytes = 0;
  bool isTooLarge = false;
};

class FactsReader {
 public:
  FactsReader(CMkvFileRoot& root, const TrackPins& tracks, std::int64_t stop, FactsListener* listener)
      : root_(root),
        file_(root),
        quiet_(root),
        records_(*root.GetSegment()),
        path_(root),
        listener_(listener),
        index_(
            records_, listener == nullptr ? IndexCheck::Told() : [this](const IndexedPlace& place) {
              listener_->OnIndexed(place, TimeOf(place.ticks));
            }) {
    file_.allowance = root.AllowanceOf(kTimesForFacts, kSlackForFacts);
    quiet_.allowance = file_.allowance;
    file_.payloadRoom = KeepingRoom(root.AllowanceOf(1, CMkvFileRoot::kSlackForKeeping));
    file_.tolerated.Collect();
    quiet_.tolerated.Collect(1);  // to know whether it gave up
    kept_.reserve(1);
    std::map<std::uint64_t, DeliveryModel::Settings> settings;
    for (const TrackPin& track : tracks.tracks) {
      DeliveryModel::Settings& ofNumber = settings[track.entry->TrackNumber.value];
      ofNumber.hasPin = ofNumber.hasPin || track.pin != 0;
      ofNumber.sendsHeaders = ofNumber.sendsHeaders || (track.pin != 0 && track.sendsHeaders);
      ofNumber.hasOnlyKeyFrames = ofNumber.hasOnlyKeyFrames || (track.pin != 0 && track.hasOnlyKeyFrames);
      ofNumber.stop = stop;
    }
    for (const auto& [number, ofNumber] : settings) {
      tracks_.emplace(number, Tracked{{}, DeliveryModel(ofNumber)});
      withEntry_.insert(number);
    }
    entries_ = tracks_.size();
    facts_.isPathKnown = tracks.isAsExpected;
  }

  FileFacts Read() {
    BlockWalk walk(file_);
    for (WalkStep step = walk.Next(); step != WalkStep::kEnd; step = walk.Next()) {
      if (InterruptWatch::Interrupted()) break;
      if (step == WalkStep::kSegment) {
        OnSegment(walk);
      } else if (step == WalkStep::kElement) {
        OnElement(walk);
      } else {
        time_ = isFollowed_ ? filterTime_ : walk.ClusterTime();
        OnBlock(walk.Block());
      }
    }
    return Finish();
  }

 private:
  struct Tracked {
    NumberFacts facts;
    DeliveryModel model;
  };

  void OnSegment(const BlockWalk& walk) {
    if (walk.Segments() == 2) facts_.secondSegment = walk.Segment().start;
    // Within the first one, as far as sizes go, the filter takes it for a child.
    if (walk.IsWithinPrevious()) (void)path_.Arrive(walk.Segment(), false);
  }

  void OnElement(const BlockWalk& walk) {
    const MkvElement& element = walk.Element();
    if (listener_ != nullptr) listener_->OnElement(element, TimeOf(walk.ClusterTime()));
    isFollowed_ = path_.Arrive(element, walk.IsWithinPrevious());
    NoteCut(element);
    isKnown_ = facts_.isPathKnown && path_.IsKnown();
    hidden_ = static_cast<std::size_t>(path_.HiddenBy());
    isInCluster_ = element.id.value == ids::kCluster;
    isIndexed_ = isInCluster_ && walk.Segments() == 1;
    switch (element.id.value) {
      case ids::kCluster:
        ++facts_.clusters;
        if (isFollowed_) (void)ReadClusterTimecode(element, filterTime_);
        if (isIndexed_) index_.OnCluster(element.start);
        return;
      case ids::kCues:
        if (!facts_.cues) facts_.cues = element.start;
        break;
      case ids::kAttachments:
        if (!facts_.attachments) facts_.attachments = element.start;
        break;
      case ids::kTracks:
        OnTracks(element);
        break;
      default:
        break;
    }
    if (!isFollowed_) return;
    // What makes no sense as Clusters' children is no damage: nothing is noted of it.
    MkvElement sibling = element;
    sibling.file = &quiet_;
    OnSibling(sibling);
  }

  void NoteCut(const MkvElement& element) {
    if (!facts_.cut && element.DataEnd() > file_.length) facts_.cut = element.start;
  }

  // Entries that the filter has not read have no pin, whatever they are.
  void OnTracks(const MkvElement& element) {
    // Damage within the entries is noted on the way; what could be read stands.
    MkvTrackList list;
    (void)ReadTracks(element, list, entryRoom_);
    entryRoom_ -= list.size();
    ReadRecord(element, {{0xAE, [&](const MkvElement& entry) {
                            CMkvUInt number;
                            ReadRecord(entry, {{0xD7, number}});
                            OnEntry(entry.start, number.value);
                          }}});
  }

  void OnEntry(std::uint64_t position, std::uint64_t number) {
    if (withEntry_.contains(number) || facts_.unreadTracks.contains(number)) return;
    const UnreadTrack track{CauseOf(position), position};
    if (facts_.unreadTracks.size() < kMostUnread) {
      facts_.unreadTracks.emplace(number, track);
    } else if (later_.size() < kMostLater) {
      later_.emplace_back(number, track);
    } else {
      facts_.hasAllNumbers = false;
    }
  }

  UnreadCause CauseOf(std::uint64_t entry) const {
    const auto& notes = root_.tolerated.Notes();
    const bool isOver = std::any_of(notes.begin(), notes.end(), [&](const Tolerance& note) {
      return note.kind == Tolerated::kTrackOverLimit && note.position <= entry && entry < note.position + note.bytes;
    });
    return isOver ? UnreadCause::kOverLimit : UnreadCause::kElsewhere;
  }

  // Of the entries that were too many to be kept, those of which there are packets matter.
  void SettleLaterEntries() {
    std::stable_sort(later_.begin(), later_.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    later_.erase(std::unique(later_.begin(), later_.end(),
                             [](const auto& left, const auto& right) { return left.first == right.first; }),
                 later_.end());
    for (const auto& [ofTrack, track] : later_) {
      const auto tracked = tracks_.find(ofTrack);
      if (tracked != tracks_.end() && tracked->second.facts.packets > 0) {
        facts_.unreadTracks.emplace(ofTrack, track);
      } else {
        ++facts_.moreUnreadTracks[static_cast<std::size_t>(track.cause)];
      }
    }
  }

  // A child of the Segment that is no Cluster and that the filter walks like one: its time first.
  void OnSibling(const MkvElement& element) {
    bool hasBlock = false;
    bool hasTime = false;
    for (MkvElement child = element.FirstChild(); child && !hasTime; child.MoveNext()) {
      hasBlock = hasBlock || IsBlock(child);
      if (child.id.value != ids::kTimecode) continue;
      CMkvUInt ticks;
      if (ticks.Read(child) == S_OK) filterTime_ = static_cast<std::int64_t>(ticks.value);
      hasTime = true;
    }
    if (!hasBlock && !hasTime) return;
    time_ = filterTime_;
    for (MkvElement child = element.FirstChild(); child; child.MoveNext()) {
      if (IsBlock(child)) OnBlock(child);
    }
  }

  void OnBlock(const MkvElement& element) {
    NoteCut(element);
    kept_.clear();
    isRejected_ = false;
    filterFrames_ = 0;
    last_ = KeptBlock();
    duration_ = CMkvUInt();
    if (element.id.value == ids::kSimpleBlock) {
      Keep(element);
      isKey_ = frames_.IsKey();
    } else {
      CMkvInt reference;
      ReadRecord(element, {
                              {ids::kBlock, [&](const MkvElement& child) { Keep(child); }},
                              {0x9B, duration_},
                              {0xFB, reference},
                          });
      isKey_ = !reference.present;
    }
    Account();
  }

  void Keep(const MkvElement& element) {
    ReadBlockFrames(element, frames_);
    KeptBlock& block = last_;
    block.start = frames_.start;
    block.track = frames_.track;
    block.relativeTime = frames_.relativeTime;
    block.count = frames_.count;
    block.whole = isInCluster_ ? frames_.whole : 0;
    block.bytes = frames_.bytes;
    block.isTooLarge = frames_.count == 1 && frames_.bytes > MkvBlock::kLargestFrame;
    isRejected_ = isRejected_ || !frames_.isReadByFilter;
    if (frames_.count == 0 && isInCluster_ && facts_.damagedBlocks++ == 0) facts_.damagedBlock = block.start;
    filterFrames_ += frames_.count;
    if (kept_.size() < MkvBlock::kMostFrames) {
      kept_.push_back(block);
    } else {
      // More Blocks than the filter takes frames.
      isRejected_ = true;
      Count(block, block.whole, 0, &NumberFacts::rejected);
    }
  }

  // The last Block of a group says whose it is, and all its frames go there.
  void Account() {
    if (kept_.empty()) return;
    const std::uint64_t owner = last_.track;
    isRejected_ = isRejected_ || filterFrames_ > MkvBlock::kMostFrames;
    std::size_t delivered = 0;
    Loss NumberFacts::*fate = &NumberFacts::rejected;
    if (isFollowed_ && isKnown_ && !isRejected_) {
      if (Tracked* const tracked = Find(owner)) {
        const bool wasWaiting = tracked->model.IsWaiting();
        delivered = tracked->model.Take({StartOf(last_), isKey_, filterFrames_});
        if (wasWaiting && !tracked->model.IsWaiting()) tracked->facts.firstKey = StartOf(last_);
        fate = LossOf(tracked->model.LastFate());
      }
    }
    std::size_t frame = 0;
    for (const KeptBlock& block : kept_) {
      const std::size_t out = std::min(block.whole, delivered - std::min(frame, delivered));
      const bool isOwn = block.track == owner;
      Count(block, block.whole, isOwn && !block.isTooLarge ? out : 0,
            block.isTooLarge ? &NumberFacts::tooLarge
            : isOwn          ? fate
                             : &NumberFacts::rejected);
      frame += block.count;
    }
  }

  static Loss NumberFacts::*LossOf(DeliveryModel::Fate fate) {
    switch (fate) {
      case DeliveryModel::Fate::kNoPin:
        return &NumberFacts::noPin;
      case DeliveryModel::Fate::kBeforeKeyFrame:
        return &NumberFacts::beforeKeyFrame;
      case DeliveryModel::Fate::kBehindEnd:
        return &NumberFacts::behindEnd;
      case DeliveryModel::Fate::kDelivered:
        break;
    }
    return &NumberFacts::rejected;
  }

  // So many packets are in the block, and so many of them come out; the others are lost in that way.
  void Count(const KeptBlock& block, std::size_t packets, std::size_t delivered, Loss NumberFacts::*fate) {
    if (packets == 0) return;
    Tracked* const tracked = Find(block.track);
    if (tracked == nullptr) return;
    NumberFacts& facts = tracked->facts;
    const std::int64_t start = StartOf(block);
    const std::int64_t duration =
        records_.TicksToTime(static_cast<std::int64_t>(duration_.present ? duration_.value : 0));
    const std::int64_t end = WrappingAdd(start, duration);
    facts.lastStart = facts.packets == 0 ? start : std::max(facts.lastStart, start);
    facts.lastEnd = facts.packets == 0 ? end : std::max(facts.lastEnd, end);
    if (facts.packets == 0) facts.position = block.start;
    if (isKey_) facts.lastKey = std::max(facts.lastKey.value_or(start), start);
    facts.packets += packets;
    facts.bytes += block.bytes;
    if (isIndexed_) index_.OnBlock(block.track, WrappingAdd(time_, block.relativeTime));
    const std::uint64_t lost = isKnown_ ? packets - (isFollowed_ ? delivered : 0) : 0;
    if (listener_ != nullptr) {
      listener_->OnPackets({block.track, block.start, start, duration, packets, block.bytes, lost, isKey_});
    }
    if (!isKnown_) return;
    Loss& loss = isFollowed_ ? facts.*fate : facts.hidden[hidden_];
    loss.Add(lost, block.start);
  }

  std::int64_t StartOf(const KeptBlock& block) const { return TimeOf(WrappingAdd(time_, block.relativeTime)); }
  std::int64_t TimeOf(std::int64_t ticks) const {
    return WrappingSubtract(records_.TicksToTime(ticks), root_.startTime);
  }

  Tracked* Find(std::uint64_t number) {
    const auto found = tracks_.find(number);
    if (found != tracks_.end()) return &found->second;
    if (tracks_.size() >= entries_ + kMostNumbers) {
      facts_.hasAllNumbers = false;
      return nullptr;
    }
    return &tracks_.emplace(number, Tracked{{}, DeliveryModel({})}).first->second;
  }

  FileFacts Finish() {
    SettleLaterEntries();
    for (auto& [number, tracked] : tracks_) {
      tracked.facts.isWaiting = tracked.model.IsWaiting();
      facts_.numbers.emplace(number, tracked.facts);
    }
    facts_.isPathKnown = facts_.isPathKnown && path_.IsKnown();
    facts_.index = index_.Finish();
    facts_.notes = file_.tolerated.Notes();
    facts_.hasAllNotes = file_.tolerated.Omitted() == 0;
    facts_.isComplete =
        !file_.tolerated.WasMet(Tolerated::kWorkExhausted) && !quiet_.tolerated.WasMet(Tolerated::kWorkExhausted);
    return std::move(facts_);
  }

  CMkvFileRoot& root_;
  CMkvFileClone file_;
  CMkvFileClone quiet_;  // for what is walked because the filter walks it
  const MkvSegment& records_;
  FilterPath path_;
  FactsListener* const listener_;
  IndexCheck index_;
  FileFacts facts_;
  std::map<std::uint64_t, Tracked> tracks_;
  std::size_t entries_ = 0;            // of the tracks, those with an entry
  std::set<std::uint64_t> withEntry_;  // their numbers
  std::size_t entryRoom_ = kMostUnread;
  std::vector<std::pair<std::uint64_t, UnreadTrack>> later_;

  bool isFollowed_ = false;  // the filter walks the current element
  bool isKnown_ = true;
  bool isInCluster_ = false;
  bool isIndexed_ = false;  // by the index that was read
  std::size_t hidden_ = 0;
  std::int64_t filterTime_ = 0;  // as the filter has it
  std::int64_t time_ = 0;        // for the current block

  BlockFrames frames_;
  std::vector<KeptBlock> kept_;
  KeptBlock last_;
  CMkvUInt duration_;
  bool isKey_ = false;
  bool isRejected_ = false;
  std::size_t filterFrames_ = 0;
};

}  // namespace

FileFacts ReadFacts(CMkvFileRoot& root, const TrackPins& tracks, std::int64_t stop, FactsListener* listener) {
  return FactsReader(root, tracks, stop, listener).Read();
}

}  // namespace vantor::tools
