// A filter whose one output pin hands out any IAsyncReader as its own, or none when a test wants that.
//
//   const auto source = FakeSource::Create(reader);
//   source->Pin()->Connect(input, &source->type);
#pragma once

#include "baseclasses/filter.h"
#include "baseclasses/pin.h"
#include "platform/com_ptr.h"

namespace vantor::test {

class FakeSource;

class FakeSourcePin final : public CBasePin {
 public:
  FakeSourcePin(FakeSource* source, CCritSec* lock, HRESULT* result);

  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** object) override;
  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT GetMediaType(int position, CMediaType* type) override;
  // Drops this side of the connection in whatever state, as a neighbour that goes away does.
  void Forget();
  STDMETHODIMP BeginFlush() override { return S_OK; }
  STDMETHODIMP EndFlush() override { return S_OK; }

 private:
  FakeSource* const source_;
};

class FakeSource final : public CBaseFilter {
 public:
  // The source holds a reference on the reader.
  static ComPtr<FakeSource> Create(IAsyncReader* reader);

  FakeSourcePin* Pin() { return pin_; }
  void Forget() { pin_->Forget(); }
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? pin_ : nullptr; }

  CMediaType type;              // a stream of the widely used Matroska subtype unless changed
  HRESULT readerResult = S_OK;  // what asking for IAsyncReader gives

 private:
  friend class FakeSourcePin;
  FakeSource(IAsyncReader* reader, HRESULT* result);
  ~FakeSource() override;

  CCritSec lock_;
  ComPtr<IAsyncReader> reader_;
  FakeSourcePin* pin_;  // held
};

}  // namespace vantor::test
