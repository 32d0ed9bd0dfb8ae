// `extract`: every chosen pin gets a sink that writes a file. The files appear together at the end, so that a run that
// was interrupted, or that the system failed in, leaves none.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tools/check/check_file.h"
#include "tools/commands.h"
#include "tools/extract_choice.h"
#include "tools/extract_sink.h"
#include "tools/interrupt_watch.h"
#include "tools/listing.h"
#include "tools/messages.h"
#include "tools/output.h"
#include "tools/output_file.h"
#include "tools/play_range.h"
#include "tools/progress_bar.h"
#include "tools/session.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

constexpr std::chrono::milliseconds kLookEvery(100);

// One pin's files and what writes them.
struct Extraction {
  ChosenPin chosen;
  OutputFile file;
  OutputFile companion;
  std::shared_ptr<ExtractSink> sink;

  bool HasCompanion() const { return !chosen.companionPath.empty(); }
  bool HaveFilesFailed() const { return file.HasFailed() || companion.HasFailed(); }
  std::string Trouble() const {
    if (file.HasFailed()) return file.Trouble();
    if (companion.HasFailed()) return companion.Trouble();
    return PinText(*chosen.pin) + ": " + sink->Trouble();
  }
};
using Extractions = std::vector<std::unique_ptr<Extraction>>;

// Makes the files; otherwise why not.
std::string Begin(const Options& options, ChosenPin chosen, Extractions& extractions) {
  Extraction& added = *extractions.emplace_back(std::make_unique<Extraction>());
  added.chosen = std::move(chosen);
  if (IsSameFile(options.file, added.chosen.path) || IsSameFile(options.file, added.chosen.companionPath)) {
    return added.chosen.path + ": is the file that is read";
  }
  const Overwrite overwrite = options.extract.force ? Overwrite::kYes : Overwrite::kNo;
  if (!added.file.Open(added.chosen.path, overwrite)) return added.file.Trouble();
  if (added.HasCompanion() && !added.companion.Open(added.chosen.companionPath, overwrite)) {
    return added.companion.Trouble();
  }
  added.sink = std::make_shared<ExtractSink>(
      added.chosen.form->make(added.file, added.HasCompanion() ? &added.companion : nullptr),
      [&added] { return added.HaveFilesFailed(); });
  return {};
}

enum class RunEnd { kReached, kInterrupted, kFailed };

RunEnd Wait(Graph& graph, const Extractions& extractions, const PlayRange& range, ProgressBar& bar) {
  for (;;) {
    const bool isOver = graph.Wait(kLookEvery) == WaitResult::kEnded;
    std::int64_t position = range.start;
    for (const auto& extraction : extractions) {
      if (extraction->sink->HasFailed()) return RunEnd::kFailed;
      position = std::max(position, extraction->sink->Position());
    }
    if (isOver) return RunEnd::kReached;
    if (InterruptWatch::Interrupted()) return RunEnd::kInterrupted;
    bar.Draw(position - range.start, std::max(range.stop, range.start) - range.start);
  }
}

// The first trouble that there was with a pin's files; empty when there was none.
std::string FirstTrouble(const Extractions& extractions) {
  for (const auto& extraction : extractions) {
    if (extraction->sink->HasFailed() || extraction->HaveFilesFailed()) return extraction->Trouble();
  }
  return {};
}

// Ends the files and gives them their names, and tells of each.
std::string Place(const Extractions& extractions, std::string& told) {
  for (const auto& extraction : extractions) {
    if (!extraction->sink->Finish()) return extraction->Trouble();
  }
  for (const auto& extraction : extractions) {
    if (!extraction->file.Finish() || (extraction->HasCompanion() && !extraction->companion.Finish())) {
      return extraction->Trouble();
    }
    told += fmt::format("{}: pin {}, {}, {} sample{}, {}\n", Printable(extraction->file.Path()),
                        extraction->chosen.pin->number, extraction->chosen.form->name, extraction->sink->Samples(),
                        extraction->sink->Samples() == 1 ? "" : "s", SizeText(extraction->file.Size()));
  }
  return {};
}

// Whether the finding says that packets of a track do not come, or come as something else.
bool IsOfPackets(FindingKind kind) {
  switch (kind) {
    case FindingKind::kNoKeyFrame:
    case FindingKind::kKeyFrameLate:
    case FindingKind::kEndEarly:
    case FindingKind::kEndBeforeLastBlock:
    case FindingKind::kFramesCompressed:
    case FindingKind::kFramesEncrypted:
    case FindingKind::kClusterEndless:
    case FindingKind::kClustersSkipped:
    case FindingKind::kSecondSegment:
    case FindingKind::kBlockUnread:
    case FindingKind::kFrameTooLarge:
      return true;
    default:
      return false;
  }
}

// What is in the file and not in the files that were made of it.
void WarnOfMissing(Session& session, const Extractions& extractions) {
  Findings findings;
  if (FindInOpened(session, {}, findings) != kExitDone) return;
  SortFindings(findings);
  for (const Finding& finding : findings) {
    const bool isChosen = !finding.track || std::any_of(extractions.begin(), extractions.end(), [&](const auto& one) {
      return one->chosen.track == finding.track;
    });
    if (!isChosen || !IsOfPackets(finding.kind)) continue;
    const std::string track = finding.track ? fmt::format("track {}: ", *finding.track) : std::string();
    session.SayOfFile("warning: " + track + finding.text);
  }
}

// Pins without a form are said, and left out.
int BeginAll(Session& session, const Options& options, Extractions& extractions, bool& isComplete) {
  std::vector<ChosenPin> chosen;
  if (const std::string wrong = ChoosePins(session, options, chosen); !wrong.empty()) {
    session.SayOfFile(wrong);
    return session.OpenedGraph().Pins().empty() ? kExitRefused : kExitUsage;
  }
  for (ChosenPin& pin : chosen) {
    if (!pin.form) {
      isComplete = false;
      session.SayOfFile(PinText(*pin.pin) + " has no form that players open; --raw writes its samples as they are");
    } else if (const std::string trouble = Begin(options, std::move(pin), extractions); !trouble.empty()) {
      session.Say(trouble);
      return kExitUsage;
    }
  }
  return extractions.empty() ? kExitRefused : kExitDone;
}

int ConnectAndSeek(Session& session, const Options& options, const Extractions& extractions, PlayRange& range) {
  for (const auto& extraction : extractions) {
    const HRESULT connected = session.OpenedGraph().ConnectSink(*extraction->chosen.pin, extraction->sink);
    if (FAILED(connected)) return session.Failed("an output pin refuses to connect", connected);
  }
  return SeekTo(session, options, "extracting", range);
}

// The status of a run that is over; the files are placed when it is one that they are to be kept of.
int End(Session& session, const Options& options, const Extractions& extractions, RunEnd end, std::FILE* out) {
  if (end == RunEnd::kInterrupted) {
    session.Say("interrupted");
    return kExitInterrupted;
  }
  if (session.SayTrouble()) return kExitUsage;
  std::string told;
  std::string trouble = FirstTrouble(extractions);
  if (trouble.empty()) trouble = Place(extractions, told);
  if (!trouble.empty()) {
    session.Say(trouble);
    return kExitUsage;
  }
  if (options.extract.output != "-" && !Print(out, told)) {
    session.Say(CannotWrite("the answer"));
    return kExitUsage;
  }
  // Where the end was asked for, nothing that is missing behind it is missed.
  if (!options.to) WarnOfMissing(session, extractions);
  return session.Finish();
}

}  // namespace

int RunExtract(const Options& options, std::FILE* out, std::FILE* messages) {
  // Outlives the graph, whose sinks write into it.
  auto kept = std::make_unique<Extractions>();
  Extractions& extractions = *kept;
  Session session(options, messages);
  if (const int opened = session.Open(); opened != kExitDone) return opened;
  session.WarnOfDamage();
  bool isComplete = true;
  if (const int begun = BeginAll(session, options, extractions, isComplete); begun != kExitDone) return begun;
  Graph& graph = session.OpenedGraph();
  PlayRange range{0, Summarize(graph, session.ConnectResult()).duration};
  if (const int ready = ConnectAndSeek(session, options, extractions, range); ready != kExitDone) return ready;

  ProgressBar bar(messages);
  const InterruptWatch watch;
  const HRESULT running = graph.Run();
  if (FAILED(running)) return session.Failed("the filter does not run", running);
  const RunEnd end = Wait(graph, extractions, range, bar);
  const HRESULT stopped = graph.Stop();
  bar.Clear();
  if (FAILED(stopped)) {
    // A thread that was left to itself may write on: what it writes to stays until the program ends, and gets no name.
    static_cast<void>(kept.release());
    if (end != RunEnd::kInterrupted) return session.Failed("the filter does not stop", stopped);
    session.Say("interrupted");
    return kExitInterrupted;
  }
  const int status = End(session, options, extractions, end, out);
  return status == kExitDone && !isComplete ? kExitRefused : status;
}

}  // namespace vantor::tools
