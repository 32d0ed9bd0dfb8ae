#include "tools/play_range.h"

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

int SeekTo(Session& session, const Options& options, const std::string& doing, PlayRange& range) {
  if (!options.from && !options.to) return kExitDone;
  const HRESULT sought = Seek(session.OpenedGraph(), options, range);
  if (FAILED(sought)) {
    return session.Failed("the filter does not seek", sought);
  }
  if (const std::int64_t asked = options.from.value_or(0); range.start < asked) {
    session.SayOfFile("warning: cannot seek to " + TimeText(asked) + "; " + doing + " from " + TimeText(range.start));
  }
  return kExitDone;
}

}  // namespace vantor::tools
