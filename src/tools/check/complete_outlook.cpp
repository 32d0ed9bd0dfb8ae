#include "tools/check/complete_outlook.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "host/component.h"
#include "host/graph.h"
#include "tools/listing.h"
#include "tools/opened_file.h"
#include "tools/session.h"

namespace vantor::tools {
namespace {

NumberLosses LossesOfNumber(const NumberFacts& facts, bool comesOut, const PacketTotals* played) {
  NumberLosses losses{facts.packets, facts.packets, 0};
  if (!comesOut) return losses;
  losses.unreadable = facts.rejected.packets + facts.tooLarge.packets;
  losses.lost = losses.unreadable + facts.noPin.packets + facts.beforeKeyFrame.packets + facts.behindEnd.packets;
  for (const Loss& loss : facts.hidden) losses.lost += loss.packets;
  if (played != nullptr) {
    losses.packets = played->packets;
    losses.lost = played->lost;
    losses.unreadable = std::min(losses.unreadable, losses.lost);
  }
  return losses;
}

// What the complete component made of the file.
struct Outcome {
  bool isRefused = false;
  FileLosses losses;
};

// Null where it is not there. Loaded once: of a library that comes and goes beside another, the room that it takes in
// every thread is not all given back, and there is little of it.
const Component* CompleteComponent() {
  static std::unique_ptr<Component> component;
  std::string error;
  if (!component) component = Component::LoadBesideProgram(error, kMkvDmxComplete);
  return component.get();
}

// Nothing where it is not there, or cannot play the file as far as it goes.
std::optional<Outcome> PlayComplete(const AskedFile& asked) {
  const Component* const component = CompleteComponent();
  if (component == nullptr) return std::nullopt;
  Graph graph;
  if (FAILED(graph.Create(*component, kMkvDmxComplete.classId))) return std::nullopt;
  const HRESULT connected = graph.ConnectInput(asked.bytes, asked.name);
  if (connected == E_OUTOFMEMORY) return std::nullopt;
  if (FAILED(connected)) return Outcome{true, {}};
  OpenedFile file(asked.bytes, asked.name, kCompletePolicy);
  const TrackPins tracks = MatchTracks(file.Root(), file.Upstream(), graph.Pins());
  const FilterSummary summary = Summarize(graph, connected);
  PlayedPackets played;
  if (asked.isDeep) {
    const PlayFailure failure = PlayAndCompare(graph, asked.bytes, file.Root(), tracks, played);
    if (failure.what != nullptr || FAILED(AnnouncedError(graph)) || LostFrames(graph) > 0) return std::nullopt;
  }
  const FileFacts facts = ReadFacts(file.Root(), tracks, summary.stop);
  return Outcome{false, LossesOf(tracks, facts, asked.isDeep ? &played : nullptr)};
}

NumberLosses SumOf(const FileLosses& losses) {
  NumberLosses sum;
  for (const auto& [number, ofNumber] : losses.numbers) {
    sum.packets += ofNumber.packets;
    sum.lost += ofNumber.lost;
  }
  return sum;
}

bool IsHopeless(FindingKind kind) {
  return kind == FindingKind::kBlockUnread || kind == FindingKind::kFrameTooLarge ||
         kind == FindingKind::kFramesCompressed || kind == FindingKind::kFramesEncrypted;
}

// The finding is one of several that a track may have. What no component reads is told by itself, and is not what the
// others are about, unless the track has no pin at all.
std::optional<CompleteSays> Compare(FindingKind kind, const NumberLosses& before, const NumberLosses& now) {
  if (IsHopeless(kind)) return CompleteSays::kDoesNot;
  if (before.packets != now.packets || before.lost == 0) return std::nullopt;
  const bool isOnlyUnreadable = now.lost == now.unreadable && now.unreadable <= before.unreadable;
  if (now.lost == 0 || isOnlyUnreadable) return CompleteSays::kDelivers;
  return now.lost < before.lost ? CompleteSays::kDeliversSome : CompleteSays::kDoesNot;
}

bool HasError(const Findings& findings) { return Worst(findings) == Severity::kError; }

}  // namespace

FileLosses LossesOf(const TrackPins& tracks, const FileFacts& facts, const PlayedPackets* played) {
  FileLosses losses;
  losses.isKnown = facts.isComplete && facts.hasAllNumbers && (played != nullptr || facts.isPathKnown);
  std::set<std::uint64_t> comesOut;
  std::set<std::uint64_t> withEntry;
  for (const auto& [number, track] : facts.unreadTracks) withEntry.insert(number);
  for (const TrackPin& track : tracks.tracks) {
    const std::uint64_t number = track.entry->TrackNumber.value;
    withEntry.insert(number);
    if (track.pin != 0 && track.frames == FrameState::kPlain) comesOut.insert(number);
  }
  for (const std::uint64_t number : withEntry) {
    const auto found = facts.numbers.find(number);
    if (found == facts.numbers.end()) continue;
    const PacketTotals* totals = nullptr;
    if (played != nullptr && played->contains(number)) totals = &played->at(number);
    losses.isKnown = losses.isKnown && (totals == nullptr || totals->isComplete);
    losses.numbers.emplace(number, LossesOfNumber(found->second, comesOut.contains(number), totals));
  }
  return losses;
}

void AskComplete(const AskedFile& file, const FileLosses& losses, Findings& findings) {
  if (!losses.isKnown || !HasError(findings)) return;
  const std::optional<Outcome> outcome = PlayComplete(file);
  if (!outcome || (!outcome->isRefused && !outcome->losses.isKnown)) return;
  for (Finding& finding : findings) {
    if (finding.severity != Severity::kError) continue;
    if (outcome->isRefused) {
      finding.complete = CompleteSays::kDoesNot;
    } else if (!finding.track) {
      finding.complete = Compare(finding.kind, SumOf(losses), SumOf(outcome->losses));
    } else if (const auto before = losses.numbers.find(*finding.track); before != losses.numbers.end()) {
      const auto now = outcome->losses.numbers.find(*finding.track);
      if (now != outcome->losses.numbers.end()) {
        finding.complete = Compare(finding.kind, before->second, now->second);
      }
    }
  }
}

void AskCompleteOfRefused(const AskedFile& file, Findings& findings) {
  const std::optional<Outcome> outcome = PlayComplete(file);
  if (!outcome || (!outcome->isRefused && !outcome->losses.isKnown)) return;
  const NumberLosses now = SumOf(outcome->losses);
  if (!outcome->isRefused && now.packets == 0) return;
  for (Finding& finding : findings) {
    if (finding.severity != Severity::kError) continue;
    finding.complete = outcome->isRefused || now.lost == now.packets ? CompleteSays::kDoesNot
                       : now.lost == 0                               ? CompleteSays::kDelivers
                                                                     : CompleteSays::kDeliversSome;
  }
}

}  // namespace vantor::tools
