// SampleListener: what a sink hands on of everything that reaches it.
//
//   class Counter : public SampleListener {
//     HRESULT OnSample(IMediaSample* sample) noexcept override {
//       bytes += sample->GetActualDataLength();
//       return S_OK;
//     }
//     std::int64_t bytes = 0;
//   };
//
// Called on the thread that delivers, for one sink never from two threads at once but for OnBeginFlush, which may come
// while OnSample runs. A sample is valid during the call; keep it with AddRef. No call may throw.
#pragma once

#include "platform/com.h"

namespace vantor {

// What reaches a sink, call by call; without overriding it is taken and forgotten.
class SampleListener {
 public:
  virtual ~SampleListener() = default;

  // Samples that follow belong to this part of the file, in 100 ns, and are meant to be played at that rate.
  virtual void OnNewSegment([[maybe_unused]] REFERENCE_TIME start, [[maybe_unused]] REFERENCE_TIME stop,
                            [[maybe_unused]] double rate) noexcept {}
  // The result is what the delivering pin gets.
  virtual HRESULT OnSample([[maybe_unused]] IMediaSample* sample) noexcept { return S_OK; }
  // No sample follows but after a flush or a new start.
  virtual void OnEndOfStream() noexcept {}
  // Samples that are held are out of date: let go of them, and of the thread that delivers.
  virtual void OnBeginFlush() noexcept {}
  // What comes from here on is new.
  virtual void OnEndFlush() noexcept {}
};

}  // namespace vantor
