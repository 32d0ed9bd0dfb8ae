#include "host/fake_splitter.h"

#include <csignal>
#include <string>

#include "baseclasses/class_factory.h"

namespace vantor::test {
namespace {

constexpr LONGLONG kHeaderSize = 6;

}  // namespace

const GUID FakeSplitter::kClassId = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};

std::vector<unsigned char> ToyStream(char mode, int pins, int frames) {
  std::vector<unsigned char> bytes = {'S',
                                      static_cast<unsigned char>(mode),
                                      static_cast<unsigned char>(pins & 0xFF),
                                      static_cast<unsigned char>(pins >> 8),
                                      static_cast<unsigned char>(frames & 0xFF),
                                      static_cast<unsigned char>(frames >> 8)};
  for (int i = 0; i < frames; ++i) {
    bytes.push_back(static_cast<unsigned char>(i * 7));
  }
  return bytes;
}

ToyInputPin::ToyInputPin(FakeSplitter* splitter, CCritSec* lock, HRESULT* result)
    : CBaseInputPin(nullptr, splitter, lock, result, OLESTR("Toy input")), splitter_(splitter) {}

HRESULT ToyInputPin::CheckMediaType(const CMediaType* type) {
  return SameGuid(type->majortype, MEDIATYPE_Stream) ? S_OK : S_FALSE;
}

HRESULT ToyInputPin::CompleteConnect(IPin* peer) {
  ComPtr<IAsyncReader> reader;
  const HRESULT hr = peer->QueryInterface(IID_IAsyncReader, reader.Void());
  return FAILED(hr) ? hr : splitter_->Open(reader.Get());
}

HRESULT ToyInputPin::BreakConnect() {
  splitter_->RemoveOutputs();
  return CBaseInputPin::BreakConnect();
}

ToyOutputPin::ToyOutputPin(FakeSplitter* splitter, CCritSec* lock, HRESULT* result, LPCWSTR name, int index)
    : CBaseOutputPin(nullptr, splitter, lock, result, name), splitter_(splitter), index_(index) {}

ToyOutputPin::~ToyOutputPin() = default;

HRESULT ToyOutputPin::CheckMediaType(const CMediaType* type) {
  return SameGuid(type->majortype, MEDIATYPE_Video) ? S_OK : S_FALSE;
}

HRESULT ToyOutputPin::GetMediaType(int position, CMediaType* type) {
  if (position > 1) {
    return VFW_S_NO_MORE_ITEMS;
  }
  if (position == 1 && splitter_->Mode() == 'm') {
    return E_OUTOFMEMORY;
  }
  type->InitMediaType();
  type->SetType(&MEDIATYPE_Video);
  type->formattype = FORMAT_None;
  type->SetSampleSize(static_cast<ULONG>(position + 1));
  return S_OK;
}

HRESULT ToyOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
  request->cBuffers = 2;
  request->cbBuffer = 64;
  request->cbAlign = 1;
  ALLOCATOR_PROPERTIES actual = {};
  return allocator->SetProperties(request, &actual);
}

HRESULT ToyOutputPin::Active() {
  const HRESULT hr = CBaseOutputPin::Active();
  if (SUCCEEDED(hr) && IsConnected()) {
    worker_ = std::thread([this] { Work(); });
  }
  return hr;
}

HRESULT ToyOutputPin::Inactive() {
  const HRESULT hr = CBaseOutputPin::Inactive();
  if (worker_.joinable()) {
    worker_.join();
  }
  return hr;
}

void ToyOutputPin::Work() {
  const bool first = index_ == 0;
  DeliverNewSegment(0, splitter_->Frames() * kFrame, 1.0);
  if (first && splitter_->Mode() == 's') {
    splitter_->NotifyEvent(EC_ERRORABORT, kRefusal, 0);
    return;
  }
  if (first && splitter_->Mode() == 'i') {
    std::raise(SIGINT);
    return;
  }
  for (int frame = 0; frame < splitter_->Frames(); ++frame) {
    if (!DeliverFrame(frame)) {
      break;
    }
  }
  if (first && splitter_->Mode() == 'l') {
    splitter_->NotifyEvent(EC_STREAM_ERROR_STILLPLAYING, VFW_E_BUFFER_OVERFLOW, 0);
    splitter_->NotifyEvent(EC_STREAM_ERROR_STILLPLAYING, VFW_E_BUFFER_OVERFLOW, 0);
  }
  DeliverEndOfStream();
  if (first && splitter_->Mode() == 'e') {
    splitter_->NotifyEvent(EC_ERRORABORT, kRefusal, 0);
  }
}

bool ToyOutputPin::DeliverFrame(int frame) {
  ComPtr<IMediaSample> sample;
  if (FAILED(GetDeliveryBuffer(sample.Out(), nullptr, nullptr, 0))) {
    return false;
  }
  BYTE* bytes = nullptr;
  sample->GetPointer(&bytes);
  if (splitter_->Reader()->SyncRead(kHeaderSize + frame, 1, bytes) != S_OK) {
    return false;
  }
  REFERENCE_TIME start = frame * kFrame;
  REFERENCE_TIME stop = start + kFrame;
  sample->SetActualDataLength(1);
  sample->SetTime(&start, &stop);
  sample->SetSyncPoint(TRUE);
  return CBaseOutputPin::Deliver(sample.Get()) == S_OK;
}

CUnknown* CALLBACK FakeSplitter::New(LPUNKNOWN, HRESULT* result) { return new FakeSplitter(result); }

ComPtr<FakeSplitter> FakeSplitter::Create() {
  HRESULT hr = S_OK;
  return ComPtr<FakeSplitter>(new FakeSplitter(&hr));
}

FakeSplitter::FakeSplitter(HRESULT* result)
    : CBaseFilter(nullptr, nullptr, &lock_, kClassId), input_(new ToyInputPin(this, &lock_, result)) {
  input_->HoldByFilter();
}

FakeSplitter::~FakeSplitter() {
  RemoveOutputs();
  input_->ReleaseByFilter();
}

CBasePin* FakeSplitter::GetPin(int n) {
  if (n == 0) {
    return input_;
  }
  const auto index = static_cast<std::size_t>(n - 1);
  return n > 0 && index < outputs_.size() ? outputs_[index] : nullptr;
}

STDMETHODIMP FakeSplitter::Pause() { return mode_ == 'f' ? E_FAIL : CBaseFilter::Pause(); }

HRESULT FakeSplitter::Open(IAsyncReader* reader) {
  BYTE header[kHeaderSize] = {};
  if (reader->SyncRead(0, kHeaderSize, header) != S_OK || header[0] != 'S') {
    return kRefusal;
  }
  reader_ = ComPtr<IAsyncReader>(reader);
  mode_ = static_cast<char>(header[1]);
  const int pins = header[2] | header[3] << 8;
  frames_ = header[4] | header[5] << 8;
  HRESULT hr = S_OK;
  for (int i = 0; i < pins; ++i) {
    const std::string name = "Toy " + std::to_string(i + 1);
    outputs_.push_back(new ToyOutputPin(this, &lock_, &hr, WideString(name.begin(), name.end()).c_str(), i));
    outputs_.back()->HoldByFilter();
  }
  IncrementPinVersion();
  return hr;
}

void FakeSplitter::RemoveOutputs() {
  for (ToyOutputPin* pin : outputs_) {
    pin->ReleaseByFilter();
  }
  outputs_.clear();
  reader_.Reset();
  IncrementPinVersion();
}

HRESULT STDAPICALLTYPE ToyGetClassObject(REFCLSID classId, REFIID riid, LPVOID* object) {
  static const CFactoryTemplate kTemplates[] = {
      {OLESTR("Toy Splitter"), &FakeSplitter::kClassId, FakeSplitter::New, nullptr, nullptr}};
  return CClassFactory::GetClassObject(kTemplates, 1, classId, riid, object);
}

HRESULT STDAPICALLTYPE ToyCanUnloadNow() { return CClassFactory::CanUnloadNow(); }

}  // namespace vantor::test
