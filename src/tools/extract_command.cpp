// `extract`: every chosen pin gets a sink that writes a file. The files appear together, when nothing else is left to
// do that takes its time, so that a run that was interrupted, or that the system failed in, leaves none.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/check/check_file.h"
#include "tools/commands.h"
#include "tools/end_padding.h"
#include "tools/extract_choice.h"
#include "tools/extract_sink.h"
#include "tools/interrupt_watch.h"
#include "tools/listing.h"
#include "tools/messages.h"
#include "tools/opened_file.h"
#include "tools/output.h"
#include "tools/output_file.h"
#include "tools/output_folder.h"
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

// All that is written, and where.
struct Extracted {
  OutputFolder folder;  // outlives what is in it
  Extractions extractions;
  bool isComplete = true;  // false: something that was asked for is left out
};

// Makes the files; otherwise why not.
std::string Begin(const Options& options, ChosenPin chosen, Extractions& extractions) {
  Extraction& added = *extractions.emplace_back(std::make_unique<Extraction>());
  added.chosen = std::move(chosen);
  for (const std::string& path : {added.chosen.path, added.chosen.companionPath}) {
    if (IsSameFile(options.file, path)) return path + ": is the file that is read";
  }
  const Overwrite overwrite = options.extract.force ? Overwrite::kYes : Overwrite::kNo;
  const auto name = options.extract.output.empty() ? OutputFile::Name::kMade : OutputFile::Name::kGiven;
  if (!added.file.Open(added.chosen.path, overwrite, name)) return added.file.Trouble();
  if (added.HasCompanion() && !added.companion.Open(added.chosen.companionPath, overwrite, OutputFile::Name::kMade)) {
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

// Tells the writers that can use it where in the last sample the sound ends.
void TellEnds(const Session& session, const Extractions& extractions) {
  std::vector<TrackEnd> ends(extractions.size());
  std::vector<TrackEnd*> wanted;
  for (std::size_t i = 0; i < ends.size(); ++i) {
    const Extraction& extraction = *extractions[i];
    if (!extraction.chosen.form->asksForEnd || !extraction.chosen.track || extraction.sink->Samples() == 0) continue;
    ends[i].track = *extraction.chosen.track;
    ends[i].lastStart = extraction.sink->Position();
    wanted.push_back(&ends[i]);
  }
  if (wanted.empty()) return;
  OpenedFile file(session.Bytes(), session.FullFileName(), session.Policy());
  if (!file.IsOpen()) return;
  ReadEndPadding(file.Root(), wanted);
  std::optional<std::int64_t> fileEnd;
  if (file.HasDuration() && file.Root().startTime == 0) fileEnd = file.Duration();
  for (std::size_t i = 0; i < ends.size(); ++i) extractions[i]->sink->TellEnd({ends[i].padding, fileEnd});
}

std::vector<OutputFile*> FilesOf(const Extractions& extractions) {
  std::vector<OutputFile*> files;
  for (const auto& extraction : extractions) {
    files.push_back(&extraction->file);
    if (extraction->HasCompanion()) files.push_back(&extraction->companion);
  }
  return files;
}

// Ends the files; otherwise why not.
std::string FinishSinks(const Extractions& extractions) {
  for (const auto& extraction : extractions) {
    if (!extraction->sink->Finish()) return extraction->Trouble();
  }
  // The reader of a pipe has all of it then, whatever takes time after it.
  const OutputFile* const failed = CompleteAll(FilesOf(extractions));
  return failed == nullptr ? std::string() : failed->Trouble();
}

// Gives the files their names, and tells of each.
std::string Place(const Extractions& extractions, std::string& told) {
  if (const OutputFile* const failed = PlaceAll(FilesOf(extractions))) return failed->Trouble();
  for (const auto& extraction : extractions) {
    told += fmt::format("{}: pin {}, {}, {} sample{}, {}\n", Printable(extraction->file.Path()),
                        extraction->chosen.pin->number, extraction->chosen.form->name, extraction->sink->Samples(),
                        extraction->sink->Samples() == 1 ? "" : "s", SizeText(extraction->file.Size()));
  }
  return {};
}

std::string TextOf(const Finding& finding) {
  return (finding.track ? fmt::format("track {}: ", *finding.track) : std::string()) + finding.text;
}

// What the file has more than the pins deliver.
Findings FindMissing(Session& session, const Options& options) {
  Findings findings;
  const std::int64_t announced = Summarize(session.OpenedGraph(), session.ConnectResult()).duration;
  if (EndsEarly(options, announced) || FindInOpened(session, {}, findings) != kExitDone) return {};
  SortFindings(findings);
  return findings;
}

// Says what of it is missing in the files that were made. False where all was asked for and there are tracks without a
// pin that the filter does not even read.
bool WarnOfMissing(const Session& session, const Findings& missing, bool isAllAsked, const Extractions& extractions) {
  bool hasPins = true;
  for (const Finding& finding : missing) {
    const FindingRow& row = RowOf(finding.kind);
    const bool isPinless = finding.kind == FindingKind::kTracksUnread || finding.kind == FindingKind::kTrackOverLimit;
    const bool isChosen = !finding.track || std::any_of(extractions.begin(), extractions.end(), [&](const auto& one) {
      return one->chosen.track == finding.track;
    });
    if (isPinless && isAllAsked && finding.severity == Severity::kError) {
      hasPins = false;
      session.SayOfFile(TextOf(finding));
    } else if (isChosen && row.isOfPackets) {
      session.SayOfFile("warning: " + TextOf(finding));
    }
  }
  return hasPins;
}

// Tracks without a pin and pins without a form are said, and left out.
int BeginAll(Session& session, const Options& options, Extracted& extracted) {
  PinChoice choice;
  const std::string wrong = ChoosePins(session, options, choice);
  extracted.isComplete = choice.pinless.empty();
  for (const Finding& pinless : choice.pinless) session.SayOfFile(TextOf(pinless));
  if (!wrong.empty()) {
    session.SayOfFile(wrong);
    return session.OpenedGraph().Pins().empty() ? kExitRefused : kExitUsage;
  }
  for (ChosenPin& pin : choice.pins) {
    if (!pin.form) {
      extracted.isComplete = false;
      session.SayOfFile(fmt::format("{} has no form that players open{}{}; --raw writes its samples as they are",
                                    PinText(*pin.pin), pin.noForm.empty() ? "" : ": ", pin.noForm));
    } else if (!extracted.folder.Make(options.extract.folder)) {
      session.Say(extracted.folder.Trouble());
      return kExitUsage;
    } else if (const std::string trouble = Begin(options, std::move(pin), extracted.extractions); !trouble.empty()) {
      session.Say(trouble);
      return kExitUsage;
    }
  }
  return extracted.extractions.empty() ? kExitRefused : kExitDone;
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
  if (end == RunEnd::kInterrupted) return session.Interrupted();
  if (session.SayTrouble()) return kExitUsage;
  std::string told;
  std::string trouble = FirstTrouble(extractions);
  if (trouble.empty()) {
    TellEnds(session, extractions);
    if (session.SayTrouble()) return kExitUsage;
  }
  if (trouble.empty()) trouble = FinishSinks(extractions);
  const Findings missing = trouble.empty() ? FindMissing(session, options) : Findings();
  if (InterruptWatch::Interrupted()) return session.Interrupted();
  if (trouble.empty()) trouble = Place(extractions, told);
  if (!trouble.empty()) {
    session.Say(trouble);
    return kExitUsage;
  }
  if (KindOfName(options.extract.output) != NameKind::kStandardOutput && !Print(out, told)) {
    session.Say(CannotWrite("the answer"));
    return kExitUsage;
  }
  const bool hasPins = WarnOfMissing(session, missing, options.extract.all, extractions);
  const int status = session.Finish();
  return status == kExitDone && !hasPins ? kExitRefused : status;
}

}  // namespace

int RunExtract(const Options& options, std::FILE* out, std::FILE* messages) {
  // Outlives the files, which go before an interrupt ends the program.
  std::optional<InterruptWatch> watch;
  // Outlives the graph, whose sinks write into it.
  auto kept = std::make_unique<Extracted>();
  const Extractions& extractions = kept->extractions;
  Session session(options, messages);
  if (const int opened = session.Open(); opened != kExitDone) return opened;
  session.WarnOfDamage();
  // To open a pipe is to wait for its reader, and there is nothing to take away.
  if (!IsStream(options.extract.output)) watch.emplace();
  if (const int begun = BeginAll(session, options, *kept); begun != kExitDone) return begun;
  if (InterruptWatch::Interrupted()) return session.Interrupted();
  Graph& graph = session.OpenedGraph();
  PlayRange range{0, Summarize(graph, session.ConnectResult()).duration};
  if (const int ready = ConnectAndSeek(session, options, extractions, range); ready != kExitDone) return ready;
  if (InterruptWatch::Interrupted()) return session.Interrupted();

  ProgressBar bar(messages);
  if (!watch) watch.emplace();
  const HRESULT running = graph.Run();
  if (FAILED(running)) return session.Failed("the filter does not run", running);
  const RunEnd end = Wait(graph, extractions, range, bar);
  const HRESULT stopped = graph.Stop();
  bar.Clear();
  if (FAILED(stopped)) {
    // A thread that was left to itself may write on: what it writes to stays until the program ends, and gets no name.
    static_cast<void>(kept.release());
    return end == RunEnd::kInterrupted ? session.Interrupted() : session.Failed("the filter does not stop", stopped);
  }
  const int status = End(session, options, extractions, end, out);
  return status == kExitDone && !kept->isComplete ? kExitRefused : status;
}

}  // namespace vantor::tools
