#include "tools/play_range.h"

#include "tools/listing.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

HRESULT Seek(Graph& graph, const Options& options, PlayRange& range) {
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

}  // namespace

std::string MovedText(std::int64_t asked, std::int64_t settled, std::int64_t duration, const std::string& doing) {
  if (settled >= asked) return {};
  if (settled < duration) return "cannot seek to " + TimeText(asked) + "; " + doing + " from " + TimeText(settled);
  return TimeText(asked) + " lies behind the end, " + TimeText(duration) + "; " + doing +
         " from the last entry of the index on";
}

bool EndsEarly(const Options& options, std::int64_t announced) {
  return options.to && (announced <= 0 || *options.to < announced);
}

int SeekTo(Session& session, const Options& options, const std::string& doing, PlayRange& range) {
  if (!options.from && !options.to) return kExitDone;
  const HRESULT sought = Seek(session.OpenedGraph(), options, range);
  if (FAILED(sought)) {
    return session.Failed("the filter does not seek", sought);
  }
  const std::int64_t duration = Summarize(session.OpenedGraph(), session.ConnectResult()).duration;
  const std::string moved = MovedText(options.from.value_or(0), range.start, duration, doing);
  if (!moved.empty()) session.SayOfFile("warning: " + moved);
  return kExitDone;
}

}  // namespace vantor::tools
