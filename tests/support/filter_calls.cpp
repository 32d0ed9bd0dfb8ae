#include "support/filter_calls.h"

#include "baseclasses/media_type.h"

namespace vantor::test {

namespace {

constexpr LONGLONG kMillisecond = 10000;  // in 100 ns

ComPtr<IMediaSeeking> SeekingOf(IUnknown* object) {
  ComPtr<IMediaSeeking> seeking;
  object->QueryInterface(IID_IMediaSeeking, seeking.Void());
  return seeking;
}

ComPtr<IPin> PinOf(IBaseFilter* filter, PIN_DIRECTION wanted, int number) {
  for (const ComPtr<IPin>& pin : AllPinsOf(filter)) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    if (SUCCEEDED(pin->QueryDirection(&direction)) && direction == wanted && --number == 0) return pin;
  }
  return nullptr;
}

void AskForPins(IBaseFilter* filter) {
  ComPtr<IEnumPins> pins;
  if (FAILED(filter->EnumPins(pins.Out()))) return;
  ComPtr<IPin> first;
  pins->Next(1, first.Out(), nullptr);
  pins->Skip(1);
  ComPtr<IEnumPins> copy;
  pins->Clone(copy.Out());
  pins->Reset();
  LPWSTR id = nullptr;
  if (!first || FAILED(first->QueryId(&id))) return;
  ComPtr<IPin> found;
  filter->FindPin(id, found.Out());
  CoTaskMemFree(id);
}

void AskForTypes(IPin* pin) {
  CMediaType type;
  if (SUCCEEDED(pin->ConnectionMediaType(&type))) pin->QueryAccept(&type);
  ComPtr<IEnumMediaTypes> types;
  if (FAILED(pin->EnumMediaTypes(types.Out()))) return;
  AM_MEDIA_TYPE* offered = nullptr;
  if (types->Next(1, &offered, nullptr) == S_OK) DeleteMediaType(offered);
  types->Skip(1);
  types->Reset();
  ComPtr<IEnumMediaTypes> copy;
  types->Clone(copy.Out());
}

}  // namespace

ComPtr<IBaseFilter> FilterOf(IPin* pin) {
  PIN_INFO info = {};
  return SUCCEEDED(pin->QueryPinInfo(&info)) ? ComPtr<IBaseFilter>::Adopt(info.pFilter) : nullptr;
}

std::vector<ComPtr<IPin>> AllPinsOf(IBaseFilter* filter) {
  for (;;) {
    ComPtr<IEnumPins> enumerator;
    if (FAILED(filter->EnumPins(enumerator.Out()))) return {};
    std::vector<ComPtr<IPin>> pins;
    ComPtr<IPin> pin;
    HRESULT result = S_OK;
    while ((result = enumerator->Next(1, pin.Out(), nullptr)) == S_OK) pins.push_back(pin);
    // Pins have come or gone meanwhile.
    if (result != VFW_E_ENUM_OUT_OF_SYNC) return pins;
  }
}

ComPtr<IPin> InputOf(IBaseFilter* filter) { return PinOf(filter, PINDIR_INPUT, 1); }
ComPtr<IPin> OutputOf(IBaseFilter* filter, int number) { return PinOf(filter, PINDIR_OUTPUT, number); }

ComPtr<IPin> NeighbourOf(IPin* pin) {
  ComPtr<IPin> peer;
  pin->ConnectedTo(peer.Out());
  return peer;
}

void AskFilter(IBaseFilter* filter) {
  CLSID clsid = {};
  filter->GetClassID(&clsid);
  FILTER_STATE state = State_Stopped;
  filter->GetState(0, &state);
  ComPtr<IReferenceClock> clock;
  if (SUCCEEDED(filter->GetSyncSource(clock.Out()))) filter->SetSyncSource(clock.Get());
  AskForPins(filter);
  LPWSTR vendor = nullptr;
  if (SUCCEEDED(filter->QueryVendorInfo(&vendor))) CoTaskMemFree(vendor);
  FILTER_INFO info = {};
  if (FAILED(filter->QueryFilterInfo(&info)) || info.pGraph == nullptr) return;
  filter->JoinFilterGraph(info.pGraph, info.achName);
  info.pGraph->Release();
}

void AskPin(IPin* pin) {
  NeighbourOf(pin);
  AskForTypes(pin);
  FilterOf(pin);
  PIN_DIRECTION direction = PINDIR_INPUT;
  pin->QueryDirection(&direction);
  LPWSTR id = nullptr;
  if (SUCCEEDED(pin->QueryId(&id))) CoTaskMemFree(id);
  ULONG count = 0;
  pin->QueryInternalConnections(nullptr, &count);
  ComPtr<IQualityControl> quality;
  if (direction == PINDIR_INPUT || FAILED(pin->QueryInterface(IID_IQualityControl, quality.Void()))) return;
  quality->Notify(nullptr, Quality{Famine, 1000, 0, 0});
}

void AskSeeking(IMediaSeeking* seeking) {
  LONGLONG first = 0;
  LONGLONG second = 0;
  DWORD capabilities = 0;
  GUID format = {};
  double rate = 0;
  seeking->GetCapabilities(&capabilities);
  seeking->CheckCapabilities(&capabilities);
  seeking->IsFormatSupported(&TIME_FORMAT_FRAME);
  seeking->QueryPreferredFormat(&format);
  seeking->GetTimeFormat(&format);
  seeking->IsUsingTimeFormat(&format);
  seeking->SetTimeFormat(&format);
  seeking->GetDuration(&first);
  seeking->GetStopPosition(&first);
  seeking->GetCurrentPosition(&first);
  seeking->ConvertTimeFormat(&first, &TIME_FORMAT_MEDIA_TIME, kMillisecond, &TIME_FORMAT_MEDIA_TIME);
  seeking->GetPositions(&first, &second);
  seeking->GetAvailable(&first, &second);
  if (SUCCEEDED(seeking->GetRate(&rate))) seeking->SetRate(rate);
  seeking->GetPreroll(&first);
}

void AskEverything(IPin* pin) {
  AskPin(pin);
  const ComPtr<IMediaSeeking> ofPin = SeekingOf(pin);
  if (ofPin) AskSeeking(ofPin.Get());
  const ComPtr<IBaseFilter> filter = FilterOf(pin);
  if (!filter) return;
  AskFilter(filter.Get());
  for (const ComPtr<IPin>& one : AllPinsOf(filter.Get())) AskPin(one.Get());
  const ComPtr<IMediaSeeking> ofFilter = SeekingOf(filter.Get());
  if (ofFilter) AskSeeking(ofFilter.Get());
}

std::vector<HRESULT> ControlEverything(IPin* pin, IPin* own, bool stops) {
  const ComPtr<IBaseFilter> filter = FilterOf(pin);
  if (!filter) return {};
  std::vector<HRESULT> results{filter->Pause(), filter->Run(0), SeekTo(filter.Get(), 30 * kMillisecond)};
  const ComPtr<IMediaSeeking> seeking = SeekingOf(pin);
  LONGLONG back = -10 * kMillisecond;
  if (seeking) {
    results.push_back(seeking->SetPositions(&back, AM_SEEKING_RelativePositioning, nullptr, AM_SEEKING_NoPositioning));
  }
  CMediaType type;
  pin->ConnectionMediaType(&type);
  for (const ComPtr<IPin>& one : AllPinsOf(filter.Get())) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    one->QueryDirection(&direction);
    results.push_back(direction == PINDIR_INPUT ? one->ReceiveConnection(own, &type) : one->Connect(own, nullptr));
    results.push_back(one->Disconnect());
  }
  if (stops) results.push_back(filter->Stop());
  return results;
}

HRESULT StopFilterOf(IPin* pin) {
  const ComPtr<IBaseFilter> filter = FilterOf(pin);
  return filter ? filter->Stop() : S_OK;
}

std::vector<HRESULT> StopAndDisconnectInputOf(IPin* pin) {
  const ComPtr<IBaseFilter> filter = FilterOf(pin);
  const ComPtr<IPin> input = filter ? InputOf(filter.Get()) : nullptr;
  if (!input) return {};
  const HRESULT stopped = filter->Stop();
  return {stopped, input->Disconnect()};
}

std::vector<HRESULT> StopAndDisconnect(IPin* pin) {
  const HRESULT stopped = StopFilterOf(pin);
  return {stopped, pin->Disconnect()};
}

HRESULT SeekTo(IBaseFilter* filter, LONGLONG time, LONGLONG* settled) {
  const ComPtr<IMediaSeeking> seeking = SeekingOf(filter);
  if (!seeking) return E_NOINTERFACE;
  LONGLONG current = time;
  const HRESULT result = seeking->SetPositions(&current, AM_SEEKING_AbsolutePositioning | AM_SEEKING_ReturnTime,
                                               nullptr, AM_SEEKING_NoPositioning);
  if (settled != nullptr) *settled = current;
  return result;
}

}  // namespace vantor::test
