#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "platform/text.h"
#include "tools/check_file.h"
#include "tools/commands.h"
#include "tools/listing.h"
#include "tools/output.h"
#include "tools/play_counter.h"
#include "tools/progress_bar.h"
#include "tools/session.h"
#include "tools/text_table.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

using Counters = std::vector<std::shared_ptr<PlayCounter>>;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kRedrawEvery(100);

volatile std::sig_atomic_t interrupted = 0;

extern "C" void OnInterrupt(int) {
  interrupted = 1;
  // A second time does what it always does.
  std::signal(SIGINT, SIG_DFL);
}

// While alive, an interrupt sets the flag instead of ending the program.
class InterruptWatch {
 public:
  InterruptWatch() {
    interrupted = 0;
    previous_ = std::signal(SIGINT, OnInterrupt);
  }
  ~InterruptWatch() { std::signal(SIGINT, previous_ == SIG_ERR ? SIG_DFL : previous_); }
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

 private:
  void (*previous_)(int) = SIG_DFL;
};

std::int64_t Position(const Counters& counters) {
  std::int64_t furthest = 0;
  for (const auto& counter : counters) {
    furthest = std::max(furthest, counter->Position());
  }
  return furthest;
}

// The part of the file that is played.
struct Range {
  std::int64_t start = 0;
  std::int64_t stop = 0;
};

// Waits for the end of every stream; false when interrupted.
bool WaitDrawing(Graph& graph, const Counters& counters, const Range& range, ProgressBar& bar) {
  while (graph.Wait(kRedrawEvery) != WaitResult::kEnded) {
    if (interrupted != 0) {
      return false;
    }
    bar.Draw(std::max(Position(counters), range.start) - range.start, std::max(range.stop, range.start) - range.start);
  }
  return true;
}

std::string Table(const std::vector<GraphPin>& pins, const Counters& counters) {
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
  return table.Text();
}

// Sets the positions asked for. The range is where the filter went: it keeps to the file, and goes to the start of a
// file that it cannot seek in.
HRESULT Seek(Graph& graph, const Options& options, Range& range) {
  const ComPtr<IMediaSeeking> seeking = graph.Seeking();
  if (!seeking) {
    return E_NOINTERFACE;
  }
  LONGLONG start = options.from.value_or(0);
  LONGLONG stop = options.to.value_or(0);
  const HRESULT set =
      seeking->SetPositions(&start, options.from ? AM_SEEKING_AbsolutePositioning : AM_SEEKING_NoPositioning, &stop,
                            options.to ? AM_SEEKING_AbsolutePositioning : AM_SEEKING_NoPositioning);
  if (FAILED(set)) {
    return set;
  }
  const HRESULT got = seeking->GetPositions(&start, &stop);
  range = {start, stop};
  return got;
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

// What a table of what came does not show: that there was more, or that it came behind the end that was announced.
// Empty for a file of which neither is so.
std::string GravestOfEnds(Session& session) {
  Findings findings;
  if (FindInOpened(session, false, findings) != kExitDone) return {};
  SortFindings(findings);
  const auto gravest = std::find_if(findings.begin(), findings.end(), [](const Finding& finding) {
    return finding.severity == Severity::kError || finding.kind == FindingKind::kEndBeforeLastBlock;
  });
  if (gravest == findings.end()) return {};
  return (gravest->track ? fmt::format("track {}: ", *gravest->track) : std::string()) + gravest->text;
}

}  // namespace

int RunPlay(const Options& options, std::FILE* out, std::FILE* messages) {
  Session session(options, messages);
  if (const int opened = session.Open(); opened != kExitDone) {
    return opened;
  }
  session.WarnOfDamage();
  Graph& graph = session.OpenedGraph();
  const FilterSummary summary = Summarize(graph, session.ConnectResult());
  Counters counters;
  const HRESULT connected = graph.ConnectSinks([&](const GraphPin&) {
    counters.push_back(std::make_shared<PlayCounter>());
    return counters.back();
  });
  if (FAILED(connected)) {
    return session.Failed("an output pin refuses to connect", connected);
  }

  Range range{0, summary.duration};
  if (options.from || options.to) {
    const HRESULT sought = Seek(graph, options, range);
    if (FAILED(sought)) {
      return session.Failed("the filter does not seek", sought);
    }
    if (const std::int64_t asked = options.from.value_or(0); range.start < asked) {
      session.SayOfFile("warning: cannot seek to " + TimeText(asked) + "; playing from " + TimeText(range.start));
    }
  }

  ProgressBar bar(messages);
  const InterruptWatch watch;
  const Clock::time_point begin = Clock::now();
  const HRESULT running = graph.Run();
  if (FAILED(running)) {
    return session.Failed("the filter does not run", running);
  }
  const bool completed = WaitDrawing(graph, counters, range, bar);
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  if (!completed) {
    for (const auto& counter : counters) counter->Interrupt();
  }
  graph.Stop();
  bar.Clear();

  std::int64_t played = 0;
  for (const auto& counter : counters) {
    played = std::max(played, counter->Totals().duration);
  }
  if (!Print(out,
             Table(graph.Pins(), counters) + SpeedLine(played, graph.Totals().bytes, seconds, LostFrames(graph)))) {
    session.Say(CannotWrite("the table"));
    return kExitUsage;
  }
  if (!completed) {
    session.Say("interrupted");
    return kExitInterrupted;
  }
  // Where the end was asked for, nothing that is missing behind it is missed.
  const std::string gravest = options.to ? std::string() : GravestOfEnds(session);
  const int finished = session.Finish();
  if (finished == kExitDone && !gravest.empty()) {
    session.SayOfFile("warning: " + gravest + "; vantor-mkv check tells more");
  }
  return finished;
}

}  // namespace vantor::tools
