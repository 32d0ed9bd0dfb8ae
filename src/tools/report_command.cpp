#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "tools/check/check_file.h"
#include "tools/commands.h"
#include "tools/interrupt_watch.h"
#include "tools/output.h"
#include "tools/output_file.h"
#include "tools/report/report_facts.h"
#include "tools/report/report_text.h"
#include "tools/session.h"
#include "tools/track_labels.h"

namespace vantor::tools {
namespace {

// kExitDone, or the status of what was said.
int GatherReport(Session& session, const CheckDepth& depth, ReportFacts& facts) {
  OpenedFile file(session.Bytes(), session.FullFileName(), session.Policy());
  if (!file.IsOpen()) return session.Failed("it is no Matroska or WebM file", session.ConnectResult());
  const TrackPins tracks = MatchTracks(file.Root(), file.Upstream(), session.OpenedGraph().Pins());
  const TrackLabels labels = ReadTrackLabels(file.Root());
  ReportGatherer gatherer(file, tracks, labels);
  Findings findings;
  if (const int found = FindInOpened(session, depth, findings, &gatherer); found != kExitDone) return found;
  SortFindings(findings);
  facts = gatherer.Finish(Summarize(session.OpenedGraph(), session.ConnectResult()), std::move(findings));
  return kExitDone;
}

Overwrite OverwriteOf(const Options& options) { return options.force ? Overwrite::kYes : Overwrite::kNo; }

// Whether the page may go where it is wanted; otherwise that is said.
bool MayWrite(const Session& session, const Options& options) {
  OutputFile file;
  const bool isSource = IsSameFile(options.file, options.output);
  if (!isSource && file.MayOpen(options.output, OverwriteOf(options))) return true;
  session.Say(isSource ? options.output + ": is the file that is read" : file.Trouble());
  return false;
}

int WriteReport(const Session& session, const Options& options, const std::string& text) {
  // Outlives the file. To open a pipe is to wait for its reader, and there is nothing to take away.
  std::optional<InterruptWatch> watch;
  if (!IsStream(options.output)) watch.emplace();
  OutputFile file;
  if (file.Open(options.output, OverwriteOf(options))) {
    file.Append({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    const bool isComplete = file.Complete();
    if (InterruptWatch::Interrupted()) return session.Interrupted();
    if (isComplete && file.Place()) return kExitDone;
  }
  session.Say(file.Trouble());
  return kExitUsage;
}

}  // namespace

int RunReport(const Options& options, std::FILE* out, std::FILE* messages) {
  Session session(options, messages);
  if (const int opened = session.Open(); opened != kExitDone) return opened;
  if (!options.output.empty() && !MayWrite(session, options)) return kExitUsage;
  ReportFacts facts;
  CheckDepth depth;
  depth.asksComplete = !options.complete;
  if (const int gathered = GatherReport(session, depth, facts); gathered != kExitDone) return gathered;
  if (session.SayTrouble()) return kExitUsage;
  const std::string text = options.json ? ReportJson(options.file, facts) : ReportPage(options.file, facts);
  if (!options.output.empty()) return WriteReport(session, options, text);
  if (Print(out, text)) return kExitDone;
  session.Say(CannotWrite("the answer"));
  return kExitUsage;
}

}  // namespace vantor::tools
