#include "tools/check/check_file.h"

#include <vector>

#include "tools/check/block_findings.h"
#include "tools/check/complete_outlook.h"
#include "tools/check/header_findings.h"
#include "tools/json_text.h"

namespace vantor::tools {
namespace {

int Play(Session& session, OpenedFile& file, const TrackPins& tracks, PlayedPackets& played, Findings& findings) {
  Graph& graph = session.OpenedGraph();
  const PlayFailure failure = PlayAndCompare(graph, session.Bytes(), file.Root(), tracks, played);
  if (failure.what != nullptr) return session.Failed(failure.what, failure.result);
  if (const HRESULT error = AnnouncedError(graph); error != S_OK) {
    findings.push_back(MakeFinding(FindingKind::kFilterError, {}, {}, ResultText(error)));
  }
  if (const std::size_t lost = LostFrames(graph); lost > 0) {
    findings.push_back(MakeFinding(FindingKind::kFramesLost, {}, {}, CountText(lost, "lost frame", "lost frames")));
  }
  return kExitDone;
}

}  // namespace

void FindInRefused(Session& session, const CheckDepth& depth, Findings& findings) {
  findings.push_back(RefusalFinding(session.Refusal(), session.ConnectResult()));
  OpenedFile file(session.Bytes(), session.FullFileName(), session.Policy());
  if (file.IsOpen()) {
    NameBrokenTrack(MatchTracks(file.Root(), file.Upstream(), session.OpenedGraph().Pins()), findings.front());
    // What another component makes of a sound file is not the file's fault.
    if (session.IsOtherComponent() && findings.front().kind == FindingKind::kRefused) {
      findings.front() = MakeFinding(FindingKind::kRefusedByOther, {}, {},
                                     "the component gives " + ResultText(session.ConnectResult()));
    }
    AppendFileFindings(file, session.Shape(), findings);
  }
  if (depth.asksComplete) {
    AskCompleteOfRefused({session.Bytes(), session.FullFileName(), depth.isDeep}, findings);
  }
}

int FindInOpened(Session& session, const CheckDepth& depth, Findings& findings, FactsListener* listener) {
  OpenedFile file(session.Bytes(), session.FullFileName(), session.Policy());
  const std::vector<GraphPin>& pins = session.OpenedGraph().Pins();
  const FilterSummary summary = Summarize(session.OpenedGraph(), session.ConnectResult());
  const TrackPins tracks = MatchTracks(file.Root(), file.Upstream(), pins);
  AppendFileFindings(file, session.Shape(), findings);
  AppendPinFindings(file, tracks, pins, findings);
  PlayedPackets packets;
  const PlayedPackets* const played = depth.isDeep ? &packets : nullptr;
  if (depth.isDeep) {
    if (const int status = Play(session, file, tracks, packets, findings); status != kExitDone) return status;
  }
  const FileFacts facts = ReadFacts(file.Root(), tracks, summary.stop, listener);
  AppendBlockFindings({file, tracks, facts, summary, played}, findings);
  if (depth.asksComplete) {
    AskComplete({session.Bytes(), session.FullFileName(), depth.isDeep}, LossesOf(tracks, facts, played), findings);
  }
  return kExitDone;
}

}  // namespace vantor::tools
