#include "tools/listing.h"

#include <iterator>
#include <string_view>

#include "diag/result_names.h"
#include "platform/text.h"

namespace vantor::tools {
namespace {

void Append(Buffer& out, std::string_view text) { out.append(text); }

template <typename... Values>
void Format(Buffer& out, fmt::format_string<Values...> form, Values&&... values) {
  fmt::format_to(std::back_inserter(out), form, std::forward<Values>(values)...);
}

}  // namespace

FilterSummary Summarize(const Graph& graph, HRESULT connect, const WCHAR* name) {
  FilterSummary summary;
  summary.name = name;
  summary.connect = connect;
  summary.pins = graph.PinCount();
  const ComPtr<IMediaSeeking> seeking = graph.Seeking();
  if (FAILED(connect) || !seeking) {
    return summary;
  }
  seeking->GetDuration(&summary.duration);
  seeking->GetStopPosition(&summary.stop);
  if (seeking->IsFormatSupported(&TIME_FORMAT_FRAME) == S_OK) {
    seeking->ConvertTimeFormat(&summary.frameDuration, &TIME_FORMAT_MEDIA_TIME, 1, &TIME_FORMAT_FRAME);
  }
  return summary;
}

void AppendFilterLine(Buffer& out, const FilterSummary& summary) {
  Append(out, R"({"type":"filter","name":)");
  AppendJsonString(out, WideString(summary.name));
  Format(out, R"(,"connect":"{}","pins":{},"duration":{},"stop":{},"frame_duration":{}}})", ResultText(summary.connect),
         summary.pins, summary.duration, summary.stop, summary.frameDuration);
  Append(out, "\n");
}

void AppendMediaType(Buffer& out, const AM_MEDIA_TYPE& type) {
  Format(out, R"({{"major":"{}","subtype":"{}","format":"{}","fixed_size":{},"temporal":{},"sample_size":{},"block":")",
         GuidText(type.majortype), GuidText(type.subtype), GuidText(type.formattype), type.bFixedSizeSamples != FALSE,
         type.bTemporalCompression != FALSE, type.lSampleSize);
  AppendHex(out, type.pbFormat, type.pbFormat != nullptr ? type.cbFormat : 0);
  Append(out, "\"}");
}

void AppendPinLine(Buffer& out, const GraphPin& pin) {
  Format(out, R"({{"type":"pin","pin":{},"name":)", pin.number);
  AppendJsonString(out, pin.name);
  Append(out, R"(,"types":[)");
  for (std::size_t i = 0; i < pin.types.size(); ++i) {
    Append(out, i > 0 ? "," : "");
    AppendMediaType(out, pin.types[i]);
  }
  Format(out, R"(],"buffers":{},"buffer_size":{}}})", pin.allocator.cBuffers, pin.allocator.cbBuffer);
  Append(out, "\n");
}

void AppendSeekLine(Buffer& out, HRESULT result, std::int64_t current, std::int64_t stop) {
  Format(out, R"({{"type":"seek","result":"{}","current":{},"stop":{}}})", ResultText(result), current, stop);
  Append(out, "\n");
}

void AppendRecordLine(Buffer& out, int pin, const LogRecord& record) {
  switch (record.kind) {
    case LogKind::kSegment:
      Format(out, R"({{"type":"segment","pin":{},"start":{},"stop":{},"rate":)", pin, record.start, record.stop);
      AppendReal(out, record.rate);
      Append(out, "}");
      break;
    case LogKind::kSample:
      Format(out, R"({{"type":"sample","pin":{},)", pin);
      if (record.timed) {
        Format(out, R"("start":{},"stop":{},)", record.start, record.stop);
      } else {
        Append(out, R"("start":null,"stop":null,)");
      }
      Format(out, R"("sync":{},"discontinuity":{},"preroll":{},"size":{},"crc32":"{:08x}"}})", record.sync,
             record.discontinuity, record.preroll, record.size, record.crc32);
      break;
    case LogKind::kEndOfStream:
      Format(out, R"({{"type":"eos","pin":{}}})", pin);
      break;
  }
  Append(out, "\n");
}

void AppendEventLine(Buffer& out, const GraphEvent& event) {
  Format(out, R"({{"type":"event","code":"{}","param1":"0x{:08X}","param2":"0x{:08X}"}})", LookupEventName(event.code),
         static_cast<std::uint32_t>(event.param1), static_cast<std::uint32_t>(event.param2));
  Append(out, "\n");
}

}  // namespace vantor::tools
