#include "tools/check/block_findings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <string>

#include "platform/wrapping.h"
#include "tools/check/damage_findings.h"
#include "tools/check/header_findings.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

std::string Lost(std::uint64_t lost, std::uint64_t packets) {
  if (lost == 0) return {};
  if (lost == packets) return fmt::format("; {} packet{} lost, all there are", lost, lost == 1 ? " is" : "s are");
  return fmt::format("; {} of {} packets {} lost", lost, packets, lost == 1 ? "is" : "are");
}

class BlockFindings {
 public:
  BlockFindings(const CheckedFile& checked, Findings& findings)
      : checked_(checked), facts_(checked.facts), findings_(findings) {}

  void Append() {
    AppendTracks();
    AppendIndex();
    AppendTimes();
    AppendStructure();
    AppendBlockDamage();
  }

 private:
  template <typename... Values>
  void Add(FindingKind kind, std::optional<std::uint64_t> position, std::optional<std::uint64_t> track,
           const Values&... values) {
    findings_.push_back(MakeFinding(kind, position, track, values...));
  }

  // ---- Tracks ----

  void AppendTracks() {
    std::set<std::uint64_t> withPin;
    std::set<std::uint64_t> comesOutPlain;
    for (const TrackPin& track : checked_.tracks.tracks) {
      if (track.pin == 0) continue;
      withPin.insert(track.entry->TrackNumber.value);
      if (track.frames == FrameState::kPlain) comesOutPlain.insert(track.entry->TrackNumber.value);
    }
    std::set<std::uint64_t> seen;
    for (const TrackPin& track : checked_.tracks.tracks) {
      const std::uint64_t number = track.entry->TrackNumber.value;
      const NumberFacts& facts = facts_.numbers.at(number);
      // One pin that delivers the payload is enough for all entries of its number.
      const bool isLost = !comesOutPlain.contains(number) && (track.pin != 0 || !withPin.contains(number));
      AppendTrackFinding(track, Lost(isLost ? facts.packets : 0, facts.packets), findings_);
      if (!seen.insert(number).second) continue;
      if (facts.packets == 0 && facts_.isComplete) Add(FindingKind::kTrackEmpty, {}, number);
      if (withPin.contains(number)) AppendLosses(number, facts);
    }
    AppendUnreadTracks();
  }

  // One by one where packets are lost, the others in a note for each cause: a file can have any number of them.
  void AppendUnreadTracks() {
    std::array<Repeats, 2> lost;
    std::array<IdleTracks, 2> idle;
    for (std::size_t cause = 0; cause < idle.size(); ++cause) idle[cause].count = facts_.moreUnreadTracks[cause];
    for (const auto& [number, track] : facts_.unreadTracks) {
      const auto cause = static_cast<std::size_t>(track.cause);
      const auto found = facts_.numbers.find(number);
      if (found != facts_.numbers.end() && found->second.packets > 0) {
        const std::uint64_t packets = found->second.packets;
        lost[cause].Add(MakeFinding(kUnreadKinds[cause], track.position, number, Lost(packets, packets)));
      } else {
        idle[cause].Add(number, track.position);
      }
    }
    for (std::size_t cause = 0; cause < idle.size(); ++cause) {
      lost[cause].AppendTo(findings_);
      AppendIdle(kUnreadKinds[cause], idle[cause]);
    }
  }

  static constexpr std::array<FindingKind, 2> kUnreadKinds = {FindingKind::kTracksUnread, FindingKind::kTrackOverLimit};
  struct IdleTracks {
    std::uint64_t count = 0;
    std::uint64_t number = 0;  // of the last one
    std::optional<std::uint64_t> position;
    void Add(std::uint64_t ofTrack, std::uint64_t at) {
      ++count;
      number = ofTrack;
      position = std::min(position.value_or(at), at);
    }
  };

  void AppendIdle(FindingKind kind, const IdleTracks& idle) {
    if (idle.count == 0) return;
    Add(kind, idle.position, idle.count == 1 ? std::optional(idle.number) : std::nullopt, "");
    Finding& note = findings_.back();
    note.severity = Severity::kNote;
    if (note.track) return;
    note.text =
        kind == FindingKind::kTracksUnread
            ? fmt::format("no pins: the entries of {} tracks without packets stand where the filter does not look",
                          idle.count)
            : fmt::format("no pins: {} tracks without packets are more than are read", idle.count);
  }

  void AppendLosses(std::uint64_t number, const NumberFacts& facts) {
    std::uint64_t told = 0;
    const PacketTotals* const played = PlayedOf(number);
    if (played == nullptr || played->lost > 0) told = AppendForetold(number, facts);
    if (played != nullptr && played->lost > told) {
      Add(FindingKind::kPacketsLost, played->firstLost, number, Lost(played->lost, played->packets));
    }
  }

  const PacketTotals* PlayedOf(std::uint64_t number) const {
    if (checked_.played == nullptr) return nullptr;
    const auto found = checked_.played->find(number);
    return found == checked_.played->end() ? nullptr : &found->second;
  }

  // The losses that the headers tell; how many packets these are.
  std::uint64_t AppendForetold(std::uint64_t number, const NumberFacts& facts) {
    std::uint64_t told = 0;
    const auto add = [&](FindingKind kind, const Loss& loss, const auto&... values) {
      if (loss.packets == 0) return;
      told += loss.packets;
      Add(kind, loss.position, number, values..., Lost(loss.packets, facts.packets));
    };
    if (facts.isWaiting) {
      add(FindingKind::kNoKeyFrame, facts.beforeKeyFrame);
    } else {
      add(FindingKind::kKeyFrameLate, facts.beforeKeyFrame, SaneTimeText(facts.firstKey));
    }
    add(FindingKind::kEndEarly, facts.behindEnd, SaneTimeText(checked_.summary.stop));
    add(FindingKind::kBlockUnread, facts.rejected);
    add(FindingKind::kFrameTooLarge, facts.tooLarge);
    add(FindingKind::kClustersSkipped, facts.hidden[static_cast<std::size_t>(Hidden::kBeforeStart)]);
    add(FindingKind::kClusterEndless, facts.hidden[static_cast<std::size_t>(Hidden::kWithinCluster)]);
    add(FindingKind::kSecondSegment, facts.hidden[static_cast<std::size_t>(Hidden::kOtherSegment)]);
    return told;
  }

  // ---- Index ----

  void AppendIndex() {
    if (facts_.clusters == 0) return;
    if (checked_.file.Root().segment.cues.empty()) {
      Add(facts_.cues ? FindingKind::kIndexUnreachable : FindingKind::kIndexMissing, facts_.cues, {});
    } else if (const std::uint64_t wrong = facts_.index.wrongPlaces + facts_.index.wrongTimes; wrong > 0) {
      Add(FindingKind::kIndexWrong, facts_.index.position, {}, wrong,
          CountText(facts_.index.entries, "index entry", "index entries"), wrong == 1 ? "s" : "");
    }
    AppendIndexRange();
  }

  // Where it ends, against the blocks and against the duration in the file. An index that ends before the last key
  // frames leads back to where it ends from all behind it.
  void AppendIndexRange() {
    constexpr std::int64_t kLongGap = 600000000;  // a minute: more than writers leave between two entries
    if (!facts_.index.lastTime) return;
    const MkvSegment& segment = checked_.file.Root().segment;
    const std::int64_t tick = segment.TicksToTime(1);
    const std::int64_t last =
        WrappingSubtract(segment.TicksToTime(*facts_.index.lastTime), checked_.file.Root().startTime);
    std::optional<std::int64_t> end;
    std::optional<std::int64_t> key;
    for (const auto& [number, facts] : facts_.numbers) {
      if (facts.packets == 0) continue;
      end = std::max(end.value_or(facts.lastStart), facts.lastStart);
      if (facts.lastKey && facts_.index.tracks.contains(number)) key = std::max(key.value_or(0), *facts.lastKey);
    }
    const auto add = [&](const char* what, std::int64_t time) {
      Add(FindingKind::kIndexRange, {}, {}, SaneTimeText(last), what, SaneTimeText(time));
    };
    if (end && last > WrappingAdd(*end, tick)) {
      add("the last block is", *end);
    } else if (checked_.file.HasDuration() && last > WrappingAdd(checked_.file.Duration(), tick)) {
      add("the file's duration", checked_.file.Duration());
    } else if (key && *key > last && *key - last > std::max(kLongGap, *key / 10)) {
      add("the last key frame is", *key);
    }
  }

  // ---- Times ----

  void AppendTimes() {
    const std::int64_t stop = checked_.summary.stop;
    const NumberFacts* last = nullptr;
    std::int64_t end = 0;
    bool isAny = false;
    bool isCutOff = false;
    for (const auto& [number, facts] : facts_.numbers) {
      if (facts.packets == 0) continue;
      end = std::max({end, facts.lastStart, facts.lastEnd});
      isAny = true;
      isCutOff = isCutOff || facts.behindEnd.packets > 0;
      if (IsAllDelivered(number) && (last == nullptr || facts.lastStart > last->lastStart)) last = &facts;
    }
    if (!isAny) return;
    if (!isCutOff && last != nullptr && last->lastStart > stop) {
      Add(FindingKind::kEndBeforeLastBlock, {}, {}, SaneTimeText(stop), SaneTimeText(last->lastStart));
    }
    AppendDuration(end);
  }

  // As far as the findings tell that were made of tracks and by playing.
  bool IsAllDelivered(std::uint64_t number) const {
    return HasEntry(number) && std::none_of(findings_.begin(), findings_.end(), [&](const Finding& finding) {
             return finding.severity == Severity::kError && finding.track.value_or(number) == number;
           });
  }

  void AppendDuration(std::int64_t end) {
    if (!checked_.file.HasDuration()) return;
    const std::int64_t told = checked_.file.Duration();
    const std::int64_t announced = checked_.summary.duration;
    const auto differs = [](std::int64_t left, std::int64_t right) {
      constexpr double kSecond = 1e7;
      const auto larger = static_cast<double>(std::max(left, right));
      return std::abs(static_cast<double>(left) - static_cast<double>(right)) > std::max(kSecond, larger / 100);
    };
    if (!differs(told, end) && !differs(told, announced)) return;
    Add(FindingKind::kDurationDiffers, {}, {}, SaneTimeText(told), SaneTimeText(end), SaneTimeText(announced));
  }

  // ---- Structure ----

  void AppendStructure() {
    if (facts_.clusters == 0) Add(FindingKind::kEmptySegment, {}, {});
    AppendNotChecked();
    if (facts_.secondSegment && !Has(FindingKind::kSecondSegment)) {
      Add(FindingKind::kSecondSegment, facts_.secondSegment, {}, "");
      findings_.back().severity = Severity::kWarning;
    }
    if (facts_.attachments && checked_.file.Root().segment.attachments.empty()) {
      Add(FindingKind::kAttachmentsUnreachable, facts_.attachments, {});
    }
    std::uint64_t strays = 0;
    std::uint64_t position = 0;
    for (const auto& [number, facts] : facts_.numbers) {
      if (facts.packets == 0 || HasEntry(number)) continue;
      position = strays == 0 ? facts.position : std::min(position, facts.position);
      strays += facts.packets;
    }
    if (strays > 0) Add(FindingKind::kBlocksWithoutTrack, position, {}, CountText(strays, "block is", "blocks are"));
  }

  // Playing tells what headers do not, unless the packets to compare with could not all be found either.
  void AppendNotChecked() {
    if (checked_.played == nullptr) {
      if ((!facts_.isPathKnown || !facts_.isComplete) && checked_.tracks.isAsExpected) {
        Add(FindingKind::kNotChecked, {}, {});
        return;
      }
    }
    if (!facts_.hasAllNumbers) {
      Add(FindingKind::kNotChecked, {}, {});
      findings_.back().text = "there are blocks of more tracks than are counted";
    }
    if (checked_.played == nullptr) return;
    const bool isAll = std::all_of(checked_.played->begin(), checked_.played->end(),
                                   [](const auto& played) { return played.second.isComplete; });
    if (isAll && facts_.isComplete) return;
    Add(FindingKind::kNotChecked, {}, {});
    findings_.back().text = "elements claim each other's bytes too often for all packets to be compared";
  }

  bool HasEntry(std::uint64_t number) const {
    return facts_.unreadTracks.contains(number) ||
           std::any_of(checked_.tracks.tracks.begin(), checked_.tracks.tracks.end(),
                       [&](const TrackPin& track) { return track.entry->TrackNumber.value == number; });
  }

  bool Has(FindingKind kind) const {
    return std::any_of(findings_.begin(), findings_.end(),
                       [&](const Finding& finding) { return finding.kind == kind; });
  }

  // ---- Damage ----

  void AppendBlockDamage() {
    CMkvFileRoot& root = checked_.file.Root();
    AppendDamage(root, {facts_.notes, facts_.hasAllNotes, facts_.cut}, findings_);
    // Within the headers the pass over the blocks has not looked.
    if (!Has(FindingKind::kDamage)) AppendDamage(root, {root.tolerated.Notes()}, findings_);
    if (facts_.damagedBlocks > 0) {
      Add(FindingKind::kBlockDamaged, facts_.damagedBlock, {},
          CountText(facts_.damagedBlocks, "block is", "blocks are"));
    }
    std::uint64_t timeless = 0;
    std::uint64_t firstTimeless = 0;
    for (const Tolerance& note : facts_.notes) {
      if (note.kind == Tolerated::kUnusableClusterTime && timeless++ == 0) firstTimeless = note.position;
    }
    if (timeless > 0) {
      Add(FindingKind::kClusterWithoutTime, firstTimeless, {},
          CountText(timeless, "Cluster has", "Clusters have", facts_.hasAllNotes));
    }
  }

  const CheckedFile& checked_;
  const FileFacts& facts_;
  Findings& findings_;
};

}  // namespace

void AppendBlockFindings(const CheckedFile& checked, Findings& findings) { BlockFindings(checked, findings).Append(); }

}  // namespace vantor::tools
