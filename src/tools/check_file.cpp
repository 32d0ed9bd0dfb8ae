#include "tools/check_file.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "tools/block_findings.h"
#include "tools/header_findings.h"
#include "tools/json_text.h"

namespace vantor::tools {
namespace {

// Plays the file and holds what comes against what is in it; the status of what was said when that fails.
int PlayAndCompare(Session& session, OpenedFile& file, const TrackPins& tracks, PlayedPackets& played,
                   Findings& findings) {
  Graph& graph = session.OpenedGraph();
  std::vector<std::pair<std::uint64_t, std::shared_ptr<PacketCheck>>> checks;
  const HRESULT connected = graph.ConnectSinks([&](const GraphPin& pin) -> std::shared_ptr<SampleListener> {
    const auto track = std::find_if(tracks.tracks.begin(), tracks.tracks.end(),
                                    [&](const TrackPin& candidate) { return candidate.pin == pin.number; });
    if (track == tracks.tracks.end()) return nullptr;
    checks.emplace_back(track->entry->TrackNumber.value,
                        std::make_shared<PacketCheck>(file.Root(), session.Bytes(), *track));
    return checks.back().second;
  });
  if (FAILED(connected)) return session.Failed("an output pin refuses to connect", connected);
  const HRESULT running = graph.Run();
  if (FAILED(running)) return session.Failed("the filter does not run", running);
  graph.Wait();
  graph.Stop();
  for (const auto& [number, check] : checks) {
    if (check->HasFailed()) throw std::bad_alloc();
    const PacketTotals totals = check->Finish();
    // Of pins with one number it is enough that one delivers a packet.
    const auto [entry, isNew] = played.emplace(number, totals);
    if (!isNew && totals.lost < entry->second.lost) entry->second = totals;
  }
  for (const auto& [event, count] : graph.Events()) {
    if (event.code != EC_ERRORABORT) continue;
    findings.push_back(MakeFinding(FindingKind::kFilterError, {}, {}, ResultText(static_cast<HRESULT>(event.param1))));
    break;
  }
  if (const std::size_t lost = LostFrames(graph); lost > 0) {
    findings.push_back(MakeFinding(FindingKind::kFramesLost, {}, {}, CountText(lost, "lost frame", "lost frames")));
  }
  return kExitDone;
}

}  // namespace

void FindInRefused(Session& session, Findings& findings) {
  findings.push_back(RefusalFinding(session.Refusal(), session.ConnectResult()));
  OpenedFile file(session.Bytes(), session.FullFileName());
  if (file.IsOpen()) {
    NameBrokenTrack(MatchTracks(file.Root(), file.Upstream(), session.OpenedGraph().Pins()), findings.front());
    AppendFileFindings(file, session.Shape(), findings);
  }
}

int FindInOpened(Session& session, bool isDeep, Findings& findings) {
  OpenedFile file(session.Bytes(), session.FullFileName());
  const std::vector<GraphPin>& pins = session.OpenedGraph().Pins();
  const FilterSummary summary = Summarize(session.OpenedGraph(), session.ConnectResult());
  const TrackPins tracks = MatchTracks(file.Root(), file.Upstream(), pins);
  AppendFileFindings(file, session.Shape(), findings);
  AppendPinFindings(file, tracks, pins, findings);
  PlayedPackets played;
  if (isDeep) {
    if (const int status = PlayAndCompare(session, file, tracks, played, findings); status != kExitDone) return status;
  }
  const FileFacts facts = ReadFacts(file.Root(), tracks, summary.stop);
  AppendBlockFindings({file, tracks, facts, summary, isDeep ? &played : nullptr}, findings);
  return kExitDone;
}

}  // namespace vantor::tools
