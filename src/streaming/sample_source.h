// Where a worker's samples come from: the connection's allocator, made to give larger buffers when a frame needs them,
// and an allocator of the pin's own where the larger ones do not come.
//
//   SampleSource samples(pin, patience, [&] { return StopPending(); });
//   IMediaSample* sample = nullptr;
//   if (samples.Get(pin.Allocator(), frame.size(), &sample) == SampleState::kReady) { ...; sample->Release(); }
//
// Used by the worker's thread, but for what says otherwise.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>

#include "baseclasses/output_pin.h"
#include "parser/block.h"
#include "platform/com_ptr.h"
#include "streaming/patience.h"

namespace vantor {

enum class SampleState {
  kReady,    // the sample is there, large enough
  kStopped,  // a stop is wanted; there is no sample
  kSkipped,  // there is no buffer to be had for a frame of this size
  kFailed,   // there is no buffer to be had any more, for frames of any size (Failure)
};

class SampleSource {
 public:
  // A frame larger than this is never delivered, bytes.
  static constexpr std::size_t kLargestFrame = MkvBlock::kLargestFrame;

  // The pin outlives the source. `stopPending` is asked before each attempt to get a buffer. What the buffers of large
  // samples take is counted in the memory, if there is one.
  SampleSource(CBaseOutputPin& pin, const Patience& patience, std::function<bool()> stopPending,
               std::shared_ptr<FrameMemory> memory = nullptr);
  ~SampleSource() { ForgetLargest(); }
  SampleSource(const SampleSource&) = delete;
  SampleSource& operator=(const SampleSource&) = delete;

  // Waits, a stop permitting, for an empty sample of at least `size` bytes. `allocator` is the connection's.
  SampleState Get(IMemAllocator* allocator, std::size_t size, IMediaSample** sample);

  // What ended the run when Get gave kFailed.
  HRESULT Failure() const { return failure_; }

  // A new run may wait for larger buffers anew.
  void BeginRun();
  // Lets go of the pin's own allocator; its samples keep their memory until they come home.
  void EndRun();

  // The allocator's buffers were given back: large samples count anew. Not while the worker runs.
  void ForgetLargest();

  // Any thread: told before the allocator is decommitted and before it is committed. A worker that enlarges its buffers
  // meanwhile must not leave them committed, or a stop would wait for it forever.
  void SetDeactivating(bool isDeactivating) { isDeactivating_ = isDeactivating; }

 private:
  bool HasRoom(std::size_t size);
  enum class Grown { kYes, kNo, kNotInTime, kStopped, kFailed };

  Grown Grow(IMemAllocator& allocator, std::size_t size);
  HRESULT SetLarger(IMemAllocator& allocator, const ALLOCATOR_PROPERTIES& larger, ALLOCATOR_PROPERTIES& actual);
  SampleState GetOwn(IMemAllocator& allocator, std::size_t size, IMediaSample** sample);
  bool MayUseOwn() const;
  HRESULT MakeOwn(IMemAllocator& allocator, std::size_t size);

  CBaseOutputPin& pin_;
  const Patience& patience_;
  const std::function<bool()> stopPending_;
  std::atomic<bool> isDeactivating_{false};
  bool hasWaited_ = false;  // in vain, in this run
  HRESULT failure_ = S_OK;
  ComPtr<IMemAllocator> own_;
  std::size_t ownSize_ = 0;  // bytes of each of its buffers
  const std::shared_ptr<FrameMemory> memory_;
  std::size_t largest_ = 0;  // sample that is counted there, bytes
};

}  // namespace vantor
