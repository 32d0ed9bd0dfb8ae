#include "support/fake_source.h"

namespace vantor::test {

namespace {

// {1B9F54C0-6D27-4E1A-8C33-F0A95E7D2B46}
constexpr GUID kFakeSourceId = {0x1B9F54C0, 0x6D27, 0x4E1A, {0x8C, 0x33, 0xF0, 0xA9, 0x5E, 0x7D, 0x2B, 0x46}};
// {1AC0BEBD-4D2B-45AD-BCEB-F2C41C5E3788}
constexpr GUID kMatroska = {0x1AC0BEBD, 0x4D2B, 0x45AD, {0xBC, 0xEB, 0xF2, 0xC4, 0x1C, 0x5E, 0x37, 0x88}};

}  // namespace

FakeSourcePin::FakeSourcePin(FakeSource* source, CCritSec* lock, HRESULT* result)
    : CBasePin(OLESTR("fake source pin"), source, lock, result, OLESTR("Output"), PINDIR_OUTPUT), source_(source) {}

STDMETHODIMP FakeSourcePin::NonDelegatingQueryInterface(REFIID riid, void** object) {
  if (!SameGuid(riid, IID_IAsyncReader)) return CBasePin::NonDelegatingQueryInterface(riid, object);
  *object = nullptr;
  if (FAILED(source_->readerResult)) return source_->readerResult;
  return source_->reader_->QueryInterface(riid, object);
}

HRESULT FakeSourcePin::GetMediaType(int position, CMediaType* type) {
  if (position != 0) return position < 0 ? E_INVALIDARG : VFW_S_NO_MORE_ITEMS;
  return type->Set(source_->type);
}

ComPtr<FakeSource> FakeSource::Create(IAsyncReader* reader) {
  HRESULT result = S_OK;
  return ComPtr<FakeSource>(new FakeSource(reader, &result));
}

FakeSource::FakeSource(IAsyncReader* reader, HRESULT* result)
    : CBaseFilter(OLESTR("fake source"), nullptr, &lock_, kFakeSourceId),
      reader_(reader),
      pin_(new FakeSourcePin(this, &lock_, result)) {
  pin_->HoldByFilter();
  type.SetType(&MEDIATYPE_Stream);
  type.SetSubtype(&kMatroska);
  type.SetFormatType(&FORMAT_None);
}

void FakeSourcePin::Forget() {
  CAutoLock hold(m_pLock);
  DisconnectInternal();
}

FakeSource::~FakeSource() { pin_->ReleaseByFilter(); }

}  // namespace vantor::test
