#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "diag/result_names.h"
#include "tools/block_findings.h"
#include "tools/commands.h"
#include "tools/findings_text.h"
#include "tools/header_findings.h"
#include "tools/json_text.h"
#include "tools/output.h"
#include "tools/session.h"

namespace vantor::tools {
namespace {

// Plays the file and holds what comes against what is in it; the status of what was said when that fails.
int Play(Session& session, OpenedFile& file, const TrackPins& tracks, PlayedPackets& played, Findings& findings) {
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
  for (const GraphEvent& event : graph.Events()) {
    if (event.code != EC_ERRORABORT) continue;
    findings.push_back(MakeFinding(FindingKind::kFilterError, {}, {}, ResultText(static_cast<HRESULT>(event.param1))));
    break;
  }
  if (const std::size_t lost = LostFrames(graph); lost > 0) {
    findings.push_back(MakeFinding(FindingKind::kFramesLost, {}, {}, lost));
  }
  return kExitDone;
}

int FindInRefused(Session& session, Findings& findings) {
  findings.push_back(RefusalFinding(session.Refusal(), session.ConnectResult()));
  OpenedFile file(session.Bytes(), session.FullFileName());
  if (file.IsOpen()) {
    NameBrokenTrack(MatchTracks(file.Root(), file.Upstream(), session.OpenedGraph().Pins()), findings.front());
    AppendFileFindings(file, session.Shape(), findings);
  }
  return kExitDone;
}

// kExitDone, or the status of what was said: then there are no findings.
int Find(Session& session, bool isDeep, Findings& findings) {
  const int opened = session.TryOpen();
  if (opened == kExitRefused) return FindInRefused(session, findings);
  if (opened != kExitDone) return opened;
  OpenedFile file(session.Bytes(), session.FullFileName());
  const std::vector<GraphPin>& pins = session.OpenedGraph().Pins();
  const FilterSummary summary = Summarize(session.OpenedGraph(), session.ConnectResult());
  const TrackPins tracks = MatchTracks(file.Root(), file.Upstream(), pins);
  AppendFileFindings(file, session.Shape(), findings);
  AppendPinFindings(file, tracks, pins, findings);
  PlayedPackets played;
  if (isDeep) {
    if (const int status = Play(session, file, tracks, played, findings); status != kExitDone) return status;
  }
  const FileFacts facts = ReadFacts(file.Root(), tracks, summary.stop);
  AppendBlockFindings({file, tracks, facts, summary, isDeep ? &played : nullptr}, findings);
  return kExitDone;
}

int StatusOf(const Findings& findings, bool isStrict) {
  const std::optional<Severity> worst = Worst(findings);
  return worst && *worst >= (isStrict ? Severity::kWarning : Severity::kError) ? kExitRefused : kExitDone;
}

struct Sums {
  std::size_t files = 0;
  std::size_t withErrors = 0;
  std::size_t withWarnings = 0;
  std::size_t unchecked = 0;

  void Add(const Findings& findings) {
    const Severity worst = Worst(findings).value_or(Severity::kNote);
    withErrors += worst == Severity::kError ? 1 : 0;
    withWarnings += worst == Severity::kWarning ? 1 : 0;
  }
  std::string Text() const {
    std::string text = fmt::format("{} files: {} with errors, {} with warnings, {} healthy", files, withErrors,
                                   withWarnings, files - withErrors - withWarnings - unchecked);
    if (unchecked > 0) text += fmt::format(", {} not checked", unchecked);
    return text + "\n";
  }
};

}  // namespace

int RunCheck(const Options& options, std::FILE* out, std::FILE* messages) {
  int status = kExitDone;
  Sums sums;
  for (const std::string& name : options.files) {
    Options ofFile = options;
    ofFile.file = name;
    Session session(ofFile, messages);
    Findings findings;
    ++sums.files;
    if (Find(session, options.deep, findings) != kExitDone || session.SayTrouble()) {
      ++sums.unchecked;
      status = kExitUsage;
      continue;
    }
    SortFindings(findings);
    sums.Add(findings);
    status = std::max(status, StatusOf(findings, options.strict));
    if (!Print(out, options.json ? FindingsJson(name, findings) : FindingsText(name, findings))) {
      session.Say("cannot write the answer");
      return kExitUsage;
    }
  }
  if (options.files.size() > 1 && !options.json && !Print(out, sums.Text())) {
    Say(messages, "cannot write the answer");
    return kExitUsage;
  }
  return status;
}

}  // namespace vantor::tools
