#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/text.h"
#include "tools/check/check_file.h"
#include "tools/commands.h"
#include "tools/findings_text.h"
#include "tools/interrupt_watch.h"
#include "tools/listing.h"
#include "tools/output.h"
#include "tools/play_counter.h"
#include "tools/play_range.h"
#include "tools/progress_bar.h"
#include "tools/session.h"
#include "tools/text_table.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

using Counters = std::vector<std::shared_ptr<PlayCounter>>;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kRedrawEvery(100);

std::int64_t Position(const Counters& counters) {
  std::int64_t furthest = 0;
  for (const auto& counter : counters) {
    furthest = std::max(furthest, counter->Position());
  }
  return furthest;
}

// Waits for the end of every stream; false when interrupted.
bool WaitDrawing(Graph& graph, const Counters& counters, const PlayRange& range, ProgressBar& bar) {
  while (graph.Wait(kRedrawEvery) != WaitResult::kEnded) {
    if (InterruptWatch::Interrupted()) {
      return false;
    }
    bar.Draw(std::max(Position(counters), range.start) - range.start, std::max(range.stop, range.start) - range.start);
  }
  return true;
}

std::string Table(const std::vector<GraphPin>& pins, const Counters& counters, std::size_t width) {
  TextTable table({{"Pin", Align::kRight},
                   {"Name"},
                   {"Samples", Align::kRight},
                   {"Bytes", Align::kRight},
                   {"Key frames", Align::kRight},
                   {"From", Align::kRight},
                   {"To", Align::kRight},
                   {"Duration", Align::kRight},
                   {"Bit rate", Align::kRight},
                   {"End"}});
  for (std::size_t i = 0; i < counters.size(); ++i) {
    const PlayTotals totals = counters[i]->Totals();
    table.Add({std::to_string(pins[i].number), WideToUtf8(pins[i].name), std::to_string(totals.samples),
               std::to_string(totals.bytes), std::to_string(totals.keyFrames), TimeText(totals.first),
               TimeText(totals.last), TimeText(totals.duration),
               totals.samples < 2 ? "-" : BitRateText(totals.bytes, totals.duration),
               totals.ended ? "reached" : "not reached"});
  }
  return table.Text(width);
}

std::string SpeedLine(std::int64_t played, std::uint64_t bytesRead, double seconds, std::uint64_t lostFrames) {
  const double mediaSeconds = static_cast<double>(played) / 1e7;
  std::string text = fmt::format("\nplayed {} in {:.3f} s", TimeText(played), seconds);
  if (seconds > 0 && mediaSeconds > 0) {
    text += fmt::format(": {:.0f} times real time", mediaSeconds / seconds);
  }
  text += fmt::format(", {} read", SizeText(bytesRead));
  if (lostFrames > 0) {
    text += fmt::format(", {} frame{} lost", lostFrames, lostFrames == 1 ? "" : "s");
  }
  return text + "\n";
}

// Where blocks were lost that nobody can count. That the Segment is cut short was said when the file was opened.
bool IsDamage(const Finding& finding, const FileShape& shape) {
  switch (finding.kind) {
    case FindingKind::kDamage:
    case FindingKind::kBlockDamaged:
      return true;
    case FindingKind::kCutShort:
      return Warning(shape).empty();
    default:
      return false;
  }
}

// What a table of what came does not show: the gravest of what is in the file and did not come, or came behind the end
// that was announced, and the damage. Nothing for a file of which neither is so.
std::vector<std::string> Unseen(Session& session) {
  Findings findings;
  if (FindInOpened(session, {}, findings) != kExitDone) return {};
  SortFindings(findings);
  const auto gravest = std::find_if(findings.begin(), findings.end(), [](const Finding& finding) {
    return finding.severity == Severity::kError || finding.kind == FindingKind::kEndBeforeLastBlock;
  });
  std::vector<std::string> texts;
  if (gravest != findings.end()) texts.push_back(PlacedText(*gravest));
  for (const Finding& finding : findings) {
    if (IsDamage(finding, session.Shape())) texts.push_back(PlacedText(finding));
  }
  if (!texts.empty()) texts.back() += "; vantor-mkv check FILE tells more";
  return texts;
}

// What is set before the graph runs; kExitDone or the status of what was said.
int Prepare(Session& session, const Options& options, Counters& counters, PlayRange& range) {
  Graph& graph = session.OpenedGraph();
  range = {0, Summarize(graph, session.ConnectResult()).duration};
  const HRESULT connected = graph.ConnectSinks([&](const GraphPin&) {
    counters.push_back(std::make_shared<PlayCounter>());
    return counters.back();
  });
  if (FAILED(connected)) return session.Failed("an output pin refuses to connect", connected);
  return SeekTo(session, options, "playing", range);
}

struct PlayRun {
  HRESULT running = S_OK;
  bool isCompleted = false;  // false: interrupted
  double seconds = 0;
};

PlayRun RunGraph(Graph& graph, const Counters& counters, const PlayRange& range, std::FILE* messages) {
  PlayRun run;
  ProgressBar bar(messages);
  const InterruptWatch watch;
  const Clock::time_point begin = Clock::now();
  run.running = graph.Run();
  if (FAILED(run.running)) return run;
  run.isCompleted = WaitDrawing(graph, counters, range, bar);
  run.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  if (!run.isCompleted) {
    for (const auto& counter : counters) counter->Interrupt();
  }
  graph.Stop();
  bar.Clear();
  run.isCompleted = run.isCompleted && !InterruptWatch::Interrupted();
  return run;
}

// The table and the line below it.
std::string SummaryText(Graph& graph, const Counters& counters, double seconds, std::size_t width) {
  std::int64_t played = 0;
  for (const auto& counter : counters) played = std::max(played, counter->Totals().duration);
  return Table(graph.Pins(), counters, width) + SpeedLine(played, graph.Totals().bytes, seconds, LostFrames(graph));
}

}  // namespace

int RunPlay(const Options& options, std::FILE* out, std::FILE* messages) {
  Session session(options, messages);
  if (const int opened = session.Open(); opened != kExitDone) return opened;
  session.WarnOfDamage();
  Graph& graph = session.OpenedGraph();
  Counters counters;
  PlayRange range;
  if (const int prepared = Prepare(session, options, counters, range); prepared != kExitDone) return prepared;
  const PlayRun run = RunGraph(graph, counters, range, messages);
  if (FAILED(run.running)) return session.Failed("the filter does not run", run.running);
  if (!Print(out, SummaryText(graph, counters, run.seconds, TableWidth(out)))) {
    session.Say(CannotWrite("the table"));
    return kExitUsage;
  }
  if (!run.isCompleted) return session.Interrupted();
  const bool isEarly = EndsEarly(options, Summarize(graph, session.ConnectResult()).duration);
  const std::vector<std::string> unseen = isEarly ? std::vector<std::string>() : Unseen(session);
  const int finished = session.Finish();
  if (finished != kExitDone) return finished;
  for (const std::string& text : unseen) session.SayOfFile("warning: " + text);
  return kExitDone;
}

}  // namespace vantor::tools
