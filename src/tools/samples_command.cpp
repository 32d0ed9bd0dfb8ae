#include <memory>
#include <string_view>
#include <vector>

#include "tools/commands.h"
#include "tools/listing.h"
#include "tools/output.h"
#include "tools/play_range.h"
#include "tools/sample_log.h"
#include "tools/session.h"
#include "tools/spill_file.h"

namespace vantor::tools {
namespace {

// Output goes out in pieces of about this many bytes.
constexpr std::size_t kPiece = 1 << 16;

bool Write(Buffer& out, std::FILE* file) {
  const bool written = Print(file, std::string_view(out.data(), out.size()));
  out.clear();
  return written;
}

void Seek(Session& session, const SeekRequest& request, Buffer& out) {
  Graph& graph = session.OpenedGraph();
  const ComPtr<IMediaSeeking> seeking = graph.Seeking();
  HRESULT result = E_NOINTERFACE;
  LONGLONG current = request.start;
  LONGLONG stop = request.stop.value_or(0);
  if (seeking) {
    result = seeking->SetPositions(&current, AM_SEEKING_AbsolutePositioning, &stop,
                                   request.stop ? AM_SEEKING_AbsolutePositioning : AM_SEEKING_NoPositioning);
    seeking->GetPositions(&current, &stop);
  }
  AppendSeekLine(out, result, current, stop);
  const std::int64_t duration = Summarize(graph, session.ConnectResult()).duration;
  const std::string moved = SUCCEEDED(result) ? MovedText(request.start, current, duration, "listing") : std::string();
  if (!moved.empty()) session.SayOfFile("warning: " + moved);
}

using Logs = std::vector<std::shared_ptr<SampleLog>>;

// What is set before the graph runs, and its lines; kExitDone or the status of what was said.
int PrepareListing(Session& session, const Options& options, const std::shared_ptr<SpillFile>& spill, Logs& logs,
                   Buffer& text) {
  Graph& graph = session.OpenedGraph();
  AppendFilterLine(text, Summarize(graph, session.ConnectResult(), session.Identity().filterName));
  const HRESULT connected = graph.ConnectSinks([&](const GraphPin&) {
    logs.push_back(std::make_shared<SampleLog>(spill));
    return logs.back();
  });
  if (FAILED(connected)) {
    return session.Failed("an output pin refuses to connect", connected);
  }
  for (const GraphPin& pin : graph.Pins()) {
    AppendPinLine(text, pin);
  }
  if (options.rate) {
    const ComPtr<IMediaSeeking> seeking = graph.Seeking();
    const HRESULT set = seeking ? seeking->SetRate(*options.rate) : E_NOINTERFACE;
    if (FAILED(set)) {
      return session.Failed("the filter refuses the rate", set);
    }
  }
  if (options.seek) {
    Seek(session, *options.seek, text);
  }
  return kExitDone;
}

// The lines of all that the pins delivered and of the events; false when they cannot be written.
bool PrintDelivered(Graph& graph, const Logs& logs, Buffer& text, std::FILE* out) {
  bool isWritten = true;
  for (std::size_t i = 0; i < logs.size() && isWritten; ++i) {
    // A log that is not whole has said so to the spill file, or memory ran out.
    logs[i]->ForEach([&](const LogRecord& record) {
      AppendRecordLine(text, graph.Pins()[i].number, record);
      isWritten = text.size() < kPiece || Write(text, out);
      return isWritten;
    });
  }
  for (const CountedEvent& counted : graph.Events()) {
    for (std::uint64_t i = 0; i < counted.count && isWritten; ++i) {
      AppendEventLine(text, counted.event);
      isWritten = text.size() < kPiece || Write(text, out);
    }
  }
  return isWritten && Write(text, out);
}

// Of a file that the filter refuses; the exit status.
int ListRefused(const Session& session, Graph& graph, Buffer& text, std::FILE* out) {
  AppendFilterLine(text, Summarize(graph, session.ConnectResult(), session.Identity().filterName));
  if (Write(text, out)) return kExitRefused;
  session.Say(CannotWrite("the listing"));
  return kExitUsage;
}

}  // namespace

// A listing is whole or is not begun: lines are gathered, and what fails before anything has played leaves them unsaid,
// so that nobody takes the beginning of a listing for a file without samples. A file that the filter refuses is an
// answer itself, and has the one line that says so. Of a run that a fault of the system ends early there is a message.
int RunSamples(const Options& options, std::FILE* out, std::FILE* messages) {
  Session session(options, messages);
  Graph& graph = session.OpenedGraph();
  Buffer text;
  const int opened = session.Open();
  if (opened == kExitRefused) return ListRefused(session, graph, text, out);
  if (opened != kExitDone) return opened;
  const auto spill = std::make_shared<SpillFile>();
  Logs logs;
  if (const int prepared = PrepareListing(session, options, spill, logs, text); prepared != kExitDone) {
    return prepared;
  }
  if (graph.Pins().empty()) {
    session.SayOfFile("warning: there is no output pin, and so no samples; vantor-mkv check tells why");
  }
  const HRESULT running = graph.Run();
  if (FAILED(running)) {
    return session.Failed("the filter does not run", running);
  }
  graph.Wait();
  graph.Stop();
  if (!PrintDelivered(graph, logs, text, out)) {
    session.Say(CannotWrite("the listing"));
    return kExitUsage;
  }
  return session.Finish(spill->Trouble());
}

}  // namespace vantor::tools
