// A splitter for a toy format, for testing the graph without any real filter: one input pin, and from connection on as
// many output pins as the stream asks for, each with a worker thread.
//
// The stream: 'S', then the mode, then the pin count and the frame count as 16-bit little-endian numbers, then one byte
// of payload for each frame, the same for every pin. Modes:
//   'n'  every pin delivers its frames and ends its stream
//   'e'  the same, and the first pin announces EC_ERRORABORT when it has ended
//   's'  the first pin announces EC_ERRORABORT and goes silent without ending its stream
//   'i'  the first pin interrupts the program (SIGINT) and goes silent
//   'f'  the filter fails to pause
//   'l'  as 'n', and the first pin announces twice that a frame is lost
//   'm'  there is no memory for the second media type of a pin
// Anything else in front is refused with kRefusal.
#pragma once

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "baseclasses/filter.h"
#include "baseclasses/input_pin.h"
#include "baseclasses/output_pin.h"
#include "host/byte_store.h"
#include "platform/com_ptr.h"

namespace vantor::test {

inline constexpr HRESULT kRefusal = static_cast<HRESULT>(0x80040ABC);
inline constexpr REFERENCE_TIME kFrame = 400000;

// The bytes of such a stream.
std::vector<unsigned char> ToyStream(char mode, int pins, int frames);

class FakeSplitter;

class ToyInputPin final : public CBaseInputPin {
 public:
  ToyInputPin(FakeSplitter* splitter, CCritSec* lock, HRESULT* result);
  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT CompleteConnect(IPin* peer) override;
  HRESULT BreakConnect() override;
  STDMETHODIMP BeginFlush() override { return S_OK; }
  STDMETHODIMP EndFlush() override { return S_OK; }

 private:
  FakeSplitter* const splitter_;
};

class ToyOutputPin final : public CBaseOutputPin {
 public:
  ToyOutputPin(FakeSplitter* splitter, CCritSec* lock, HRESULT* result, LPCWSTR name, int index);
  ~ToyOutputPin() override;
  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT GetMediaType(int position, CMediaType* type) override;
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
  HRESULT Active() override;
  HRESULT Inactive() override;

 private:
  void Work();
  bool DeliverFrame(int frame);

  FakeSplitter* const splitter_;
  const int index_;
  std::thread worker_;
};

class FakeSplitter final : public CBaseFilter {
 public:
  // The class id that the toy component makes it under.
  static const GUID kClassId;

  static ComPtr<FakeSplitter> Create();
  // For a class factory: no references yet.
  static CUnknown* CALLBACK New(LPUNKNOWN outer, HRESULT* result);

  int GetPinCount() override { return 1 + static_cast<int>(outputs_.size()); }
  CBasePin* GetPin(int n) override;
  STDMETHODIMP Pause() override;

  // For the pins.
  HRESULT Open(IAsyncReader* reader);
  void RemoveOutputs();
  IAsyncReader* Reader() const { return reader_.Get(); }
  char Mode() const { return mode_; }
  int Frames() const { return frames_; }

 private:
  explicit FakeSplitter(HRESULT* result);
  ~FakeSplitter() override;

  CCritSec lock_;
  ComPtr<IAsyncReader> reader_;
  char mode_ = 0;
  int frames_ = 0;
  ToyInputPin* const input_;
  std::vector<ToyOutputPin*> outputs_;
};

// The entry points of a component whose only class is the fake splitter.
HRESULT STDAPICALLTYPE ToyGetClassObject(REFCLSID classId, REFIID riid, LPVOID* object);
HRESULT STDAPICALLTYPE ToyCanUnloadNow();

}  // namespace vantor::test
