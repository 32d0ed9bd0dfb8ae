// What the sinks of the tests share: a filter with one input pin that takes every type.
//
//   class CountingSink;
//   class CountingSinkPin final : public SinkPinOf<CountingSink> {
//    public:
//     using SinkPinOf::SinkPinOf;
//     STDMETHODIMP Receive(IMediaSample* sample) override;  // ... ++Owner()->count ...
//   };
//   class CountingSink final : public OnePinSink<CountingSinkPin> {
//    public:
//     int count = 0;
//   };
#pragma once

#include "baseclasses/filter.h"
#include "baseclasses/input_pin.h"

namespace vantor::test {

template <typename Sink>
class SinkPinOf : public CBaseInputPin {
 public:
  SinkPinOf(CBaseFilter* sink, CCritSec* lock)
      : CBaseInputPin(OLESTR("sink pin"), sink, lock, nullptr, OLESTR("Input")) {}

  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }

 protected:
  Sink* Owner() const { return static_cast<Sink*>(m_pFilter); }
};

template <typename SinkPin>
class OnePinSink : public CBaseFilter {
 public:
  SinkPin* Pin() { return pin_; }
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? pin_ : nullptr; }

 protected:
  OnePinSink() : CBaseFilter(OLESTR("sink"), nullptr, &filterLock_, kId), pin_(new SinkPin(this, &filterLock_)) {
    pin_->HoldByFilter();
  }
  ~OnePinSink() override { pin_->ReleaseByFilter(); }

 private:
  // {A7C6E1D2-3F40-4B8A-9E55-61D0C2B7F384}
  static constexpr GUID kId = {0xA7C6E1D2, 0x3F40, 0x4B8A, {0x9E, 0x55, 0x61, 0xD0, 0xC2, 0xB7, 0xF3, 0x84}};

  CCritSec filterLock_;
  SinkPin* pin_;  // held
};

}  // namespace vantor::test
