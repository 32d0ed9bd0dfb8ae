#include "filter/input_pin.h"

#include "filter/mkv_filter.h"
#include "filter/tolerance_trace.h"
#include "parser/cue_synthesis.h"
#include "platform/com_ptr.h"
#include "platform/result.h"
#include "published/component.h"
#include "published/media_guids.h"

namespace vantor {

CVXMkvDmxInputPin::CVXMkvDmxInputPin(CVXMkvDmx* filter, CCritSec* lock, HRESULT* result)
    : CBaseInputPin(kInputPinName, filter, lock, result, kInputPinName), filter_(filter) {}

CVXMkvDmxInputPin::~CVXMkvDmxInputPin() = default;

HRESULT CVXMkvDmxInputPin::CheckMediaType(const CMediaType* type) {
  if (!SameGuid(*type->Type(), MEDIATYPE_Stream)) return S_FALSE;
  const GUID& subtype = *type->Subtype();
  const bool accepted =
      SameGuid(subtype, kSubtypePrivateMatroska) || SameGuid(subtype, kSubtypeMatroska) || SameGuid(subtype, GUID_NULL);
  return accepted ? S_OK : S_FALSE;
}

HRESULT CVXMkvDmxInputPin::GetMediaType(int, CMediaType*) { return E_UNEXPECTED; }

HRESULT CVXMkvDmxInputPin::CompleteConnect(IPin* receivePin) {
  return Guarded([&] {
    ComPtr<IAsyncReader> reader;
    HRESULT result = receivePin->QueryInterface(IID_IAsyncReader, reader.Void());
    if (FAILED(result)) return result;
    if (root_) {
      // Left by a connection that could not be undone.
      result = filter_->RemoveOutputPins();
      if (FAILED(result)) return result;
    }
    root_ = std::make_unique<CMkvFileRoot>(reader.Get(), true, filter_->Policy());
    reader.Reset();
    CollectForTrace(*root_);
    const HRESULT opened = root_->Open();
    // An index for a file without one, before there is a pin that might be asked to seek.
    result = SUCCEEDED(opened) ? SynthesiseCues(*root_) : opened;
    TraceTolerated(*root_);
    if (FAILED(opened)) root_.reset();
    if (FAILED(result)) return result;  // a file that is open is closed when the failed connection is broken
    result = filter_->BuildOutputPins(*root_, receivePin);
    return FAILED(result) ? result : S_OK;
  });
}

HRESULT CVXMkvDmxInputPin::BreakConnect() {
  const HRESULT removed = filter_->RemoveOutputPins();
  if (FAILED(removed)) return removed;
  root_.reset();
  return CBaseInputPin::BreakConnect();
}

}  // namespace vantor
