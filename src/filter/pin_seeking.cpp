// A pin's IMediaSeeking is the filter's: seeking through any pin seeks all of them.
#include "filter/mkv_filter.h"
#include "filter/output_pin.h"

namespace vantor {

HRESULT CVXMkvDmxOutputPin::GetCapabilities(DWORD* capabilities) { return filter_->GetCapabilities(capabilities); }

HRESULT CVXMkvDmxOutputPin::CheckCapabilities(DWORD* capabilities) { return filter_->CheckCapabilities(capabilities); }

HRESULT CVXMkvDmxOutputPin::IsFormatSupported(const GUID* format) { return filter_->IsFormatSupported(format); }

HRESULT CVXMkvDmxOutputPin::QueryPreferredFormat(GUID* format) { return filter_->QueryPreferredFormat(format); }

HRESULT CVXMkvDmxOutputPin::GetTimeFormat(GUID* format) { return filter_->GetTimeFormat(format); }

HRESULT CVXMkvDmxOutputPin::IsUsingTimeFormat(const GUID* format) { return filter_->IsUsingTimeFormat(format); }

HRESULT CVXMkvDmxOutputPin::SetTimeFormat(const GUID* format) { return filter_->SetTimeFormat(format); }

HRESULT CVXMkvDmxOutputPin::GetDuration(LONGLONG* duration) { return filter_->GetDuration(duration); }

HRESULT CVXMkvDmxOutputPin::GetStopPosition(LONGLONG* stop) { return filter_->GetStopPosition(stop); }

HRESULT CVXMkvDmxOutputPin::GetCurrentPosition(LONGLONG* current) { return filter_->GetCurrentPosition(current); }

HRESULT CVXMkvDmxOutputPin::ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                                              const GUID* sourceFormat) {
  return filter_->ConvertTimeFormat(target, targetFormat, source, sourceFormat);
}

HRESULT CVXMkvDmxOutputPin::SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) {
  return filter_->SetPositions(current, currentFlags, stop, stopFlags);
}

HRESULT CVXMkvDmxOutputPin::GetPositions(LONGLONG* current, LONGLONG* stop) {
  return filter_->GetPositions(current, stop);
}

HRESULT CVXMkvDmxOutputPin::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
  return filter_->GetAvailable(earliest, latest);
}

HRESULT CVXMkvDmxOutputPin::SetRate(double rate) { return filter_->SetRate(rate); }

HRESULT CVXMkvDmxOutputPin::GetRate(double* rate) { return filter_->GetRate(rate); }

HRESULT CVXMkvDmxOutputPin::GetPreroll(LONGLONG* preroll) { return filter_->GetPreroll(preroll); }

}  // namespace vantor
