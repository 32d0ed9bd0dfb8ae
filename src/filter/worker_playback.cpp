#include "filter/worker_playback.h"

#include "diag/result_names.h"
#include "diag/trace.h"
#include "platform/result.h"
#include "platform/text.h"

namespace vantor {

void WorkerPlayback::NotifyGraph(long event, LONG_PTR first, LONG_PTR second) {
  // The graph is told also when there is no memory for a trace.
  Guarded([&] {
    VANTOR_TRACE("\n\n### NotifyGraphOfError(%p, %s): hr=%s\n", static_cast<void*>(&filter_),
                 WideToUtf8(filterName_).c_str(), ResultName(static_cast<HRESULT>(first)));
    return S_OK;
  });
  filter_.NotifyEvent(event, first, second);
}

}  // namespace vantor
