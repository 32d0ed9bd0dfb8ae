// The lines of the sample listing: one JSON object a line, for each thing the filter showed or delivered.
//
//   Buffer out;
//   AppendFilterLine(out, Summarize(graph, hr));
//   AppendPinLine(out, pin);
//   AppendRecordLine(out, pin.number, record);
#pragma once

#include <cstdint>
#include <string>

#include "host/graph.h"
#include "published/component.h"
#include "tools/json_text.h"
#include "tools/log_record.h"

namespace vantor::tools {

struct FilterSummary {
  HRESULT connect = S_OK;
  int pins = 0;
  std::int64_t duration = 0;  // 100 ns, like the rest
  std::int64_t stop = 0;
  std::int64_t frameDuration = 0;  // 0 where frames are no time format
  const WCHAR* name = kFilterName;
};

// What the filter of that name says of itself after its input was connected with this result.
FilterSummary Summarize(const Graph& graph, HRESULT connect, const WCHAR* name = kFilterName);

void AppendFilterLine(Buffer& out, const FilterSummary& summary);
void AppendPinLine(Buffer& out, const GraphPin& pin);
void AppendSeekLine(Buffer& out, HRESULT result, std::int64_t current, std::int64_t stop);
void AppendRecordLine(Buffer& out, int pin, const LogRecord& record);
void AppendEventLine(Buffer& out, const GraphEvent& event);

// A media type as the listing shows it, without a line end.
void AppendMediaType(Buffer& out, const AM_MEDIA_TYPE& type);

}  // namespace vantor::tools
