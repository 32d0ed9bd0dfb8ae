#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>

#include "tools/check/damage_findings.h"
#include "tools/check/header_findings.h"
#include "tools/commands.h"
#include "tools/file_words.h"
#include "tools/messages.h"
#include "tools/output.h"
#include "tools/session.h"
#include "tools/text_table.h"

namespace vantor::tools {
namespace {

int ShowFile(const Options& options, std::FILE* out, std::FILE* messages) {
  Session session(options, messages);
  if (const int opened = session.Open(); opened != kExitDone) {
    return opened;
  }
  session.WarnOfDamage();
  Graph& graph = session.OpenedGraph();
  const FilterSummary summary = Summarize(graph, session.ConnectResult());
  OpenedFile file(session.Bytes(), session.FullFileName(), session.Policy());
  const TrackPins tracks = MatchTracks(file.Root(), file.Upstream(), graph.Pins());
  const TrackLabels labels = ReadTrackLabels(file.Root());
  Findings findings;
  // Another component may read what is no Matroska file.
  if (file.IsOpen()) {
    AppendFileFindings(file, session.Shape(), findings);
    AppendPinFindings(file, tracks, graph.Pins(), findings);
    constexpr bool kIsAll = false;  // there may be more behind the headers
    AppendDamage(file.Root(), {file.Root().tolerated.Notes(), kIsAll}, findings);
  }
  for (const TrackPin& track : tracks.tracks) AppendTrackFinding(track, std::nullopt, findings);
  SortFindings(findings);
  FrameRates rates;
  FileExtras extras;
  if (file.IsOpen()) {
    rates = MeasureFrameRates(file.Root());
    if (options.wanted.Any()) extras = ReadExtras(file.Root(), options.wanted);
  }
  if (!extras.isComplete) session.SayOfFile(kExtrasOverLimit);
  const FileWords words{file, tracks, labels, rates, findings, extras, options.wanted};
  const std::string text = options.json ? InfoJson(options.file, summary, graph.Pins(), words)
                                        : InfoText(options.file, summary, graph.Pins(), words, TableWidth(out));
  if (!Print(out, text)) {
    session.Say(CannotWrite("the answer"));
    return kExitUsage;
  }
  return session.Finish();
}

}  // namespace

int RunInfo(const Options& options, std::FILE* out, std::FILE* messages) {
  int status = kExitDone;
  for (std::size_t i = 0; i < options.files.size(); ++i) {
    Options ofFile = options;
    ofFile.file = options.files[i];
    if (i > 0 && !options.json && !Print(out, "\n")) {
      Say(messages, CannotWrite("the answer"));
      return kExitUsage;
    }
    status = std::max(status, ShowFile(ofFile, out, messages));
  }
  return status;
}

}  // namespace vantor::tools
