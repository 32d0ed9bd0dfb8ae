// A frame that does not fit its buffer makes the pin ask the connection's allocator for larger ones: decommit, set the
// size, commit. That needs every sample back home, and a sink may have good reasons to keep one: a multiplexer keeps
// each until the next comes, and the next is the one that waits. So the wait is limited, and after it the frame goes
// out in a buffer of the pin's own, of the agreed alignment and prefix; what downstream agreed to is the layout of a
// sample, not whose it is. Each further large frame of the run tries the enlargement once, without a wait.
//
// Whatever happens, the allocator is committed again before the next attempt, at its old size if need be: small frames
// go on as before. Where not even that works, the run has nothing to deliver in and ends.
#include "streaming/sample_source.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "baseclasses/allocator.h"
#include "platform/platform.h"
#include "platform/result.h"
#include "streaming/raw_media_types.h"

namespace vantor {

namespace {

// How many large samples may be on their way: as many as were agreed, as far as that is few.
LONG OwnBufferCount(LONG agreed) { return std::clamp<LONG>(agreed, 2, 16); }

}  // namespace

SampleSource::SampleSource(CBaseOutputPin& pin, const Patience& patience, std::function<bool()> stopPending,
                           std::shared_ptr<FrameMemory> memory)
    : pin_(pin), patience_(patience), stopPending_(std::move(stopPending)), memory_(std::move(memory)) {}

void SampleSource::ForgetLargest() {
  if (largest_ != 0) memory_->samples.Give(std::exchange(largest_, 0));
}

// A buffer stays as large as the largest frame that was written into it, until the allocator gives it back.
bool SampleSource::HasRoom(std::size_t size) {
  if (!memory_ || size <= FrameMemory::kUncountedSample || size <= largest_) return true;
  if (!memory_->samples.Take(size - largest_)) return false;
  largest_ = size;
  return true;
}

void SampleSource::BeginRun() {
  hasWaited_ = false;
  failure_ = S_OK;
}

void SampleSource::EndRun() {
  if (own_) own_->Decommit();
  own_.Reset();
  ownSize_ = 0;
}

SampleState SampleSource::Get(IMemAllocator* allocator, std::size_t size, IMediaSample** sample) {
  if (!HasRoom(size)) return SampleState::kSkipped;
  bool hasGrown = false;
  for (;;) {
    if (stopPending_()) return SampleState::kStopped;
    *sample = nullptr;
    // Success without a sample counts as a refusal.
    if (FAILED(pin_.GetDeliveryBuffer(sample, nullptr, nullptr, 0)) || *sample == nullptr) {
      SleepMilliseconds(1);  // an allocator may be between two commits, of whoever shares it
      continue;
    }
    if (static_cast<std::size_t>(std::max<LONG>((*sample)->GetSize(), 0)) >= size) return SampleState::kReady;
    (*sample)->Release();
    *sample = nullptr;
    if (hasGrown || allocator == nullptr || size > kLargestFrame) return SampleState::kSkipped;
    hasGrown = true;
    switch (Grow(*allocator, size)) {
      case Grown::kYes:
        break;
      case Grown::kNo:
        return SampleState::kSkipped;
      case Grown::kNotInTime:
        return GetOwn(*allocator, size, sample);
      case Grown::kStopped:
        return SampleState::kStopped;
      case Grown::kFailed:
        return SampleState::kFailed;
    }
  }
}

SampleSource::Grown SampleSource::Grow(IMemAllocator& allocator, std::size_t size) {
  ALLOCATOR_PROPERTIES agreed = {};
  if (FAILED(allocator.GetProperties(&agreed))) return Grown::kNo;
  ALLOCATOR_PROPERTIES larger = agreed;
  larger.cbBuffer = static_cast<LONG>(size);
  ALLOCATOR_PROPERTIES actual = {};
  allocator.Decommit();
  HRESULT result = SetLarger(allocator, larger, actual);
  HRESULT committed = allocator.Commit();
  const bool isLarger = SUCCEEDED(result) && SUCCEEDED(committed) && actual.cbBuffer >= larger.cbBuffer;
  if (FAILED(committed)) {
    // Back to what worked before.
    if (SUCCEEDED(result)) result = committed;
    allocator.SetProperties(&agreed, &actual);
    committed = allocator.Commit();
  }
  if (isDeactivating_) allocator.Decommit();
  if (stopPending_()) return Grown::kStopped;
  if (isLarger) return Grown::kYes;
  if (FAILED(committed)) {
    failure_ = committed;
    return Grown::kFailed;
  }
  return result == VFW_E_BUFFERS_OUTSTANDING || result == VFW_E_ALREADY_COMMITTED ? Grown::kNotInTime : Grown::kNo;
}

// Samples that downstream still holds keep the old buffers in place until they come back. An allocator that is
// committed although it was just decommitted belongs to somebody who will not have it changed: there is nothing to wait
// for.
HRESULT SampleSource::SetLarger(IMemAllocator& allocator, const ALLOCATOR_PROPERTIES& larger,
                                ALLOCATOR_PROPERTIES& actual) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point giveUp = Clock::now() + patience_.enlarging;
  for (;;) {
    ALLOCATOR_PROPERTIES request = larger;
    const HRESULT result = allocator.SetProperties(&request, &actual);
    if (result != VFW_E_BUFFERS_OUTSTANDING || stopPending_()) return result;
    if (hasWaited_ || Clock::now() >= giveUp) {
      hasWaited_ = true;
      return result;
    }
    SleepMilliseconds(1);
  }
}

SampleState SampleSource::GetOwn(IMemAllocator& allocator, std::size_t size, IMediaSample** sample) {
  if (!MayUseOwn() || FAILED(Guarded([&] { return MakeOwn(allocator, size); }))) return SampleState::kSkipped;
  for (;;) {
    if (stopPending_()) return SampleState::kStopped;
    if (SUCCEEDED(own_->GetBuffer(sample, nullptr, nullptr, AM_GBF_NOWAIT))) return SampleState::kReady;
    SleepMilliseconds(1);  // not in GetBuffer, where no stop would be seen
  }
}

bool SampleSource::MayUseOwn() const { return IsCompressedOrText(pin_.CurrentMediaType()); }

// An allocator whose samples are still out lives on with them when a larger one takes its place.
HRESULT SampleSource::MakeOwn(IMemAllocator& allocator, std::size_t size) {
  if (own_ && ownSize_ >= size) return S_OK;
  ALLOCATOR_PROPERTIES agreed = {};
  const HRESULT known = allocator.GetProperties(&agreed);
  if (FAILED(known)) return known;
  agreed.cBuffers = OwnBufferCount(agreed.cBuffers);
  agreed.cbBuffer = static_cast<LONG>(size);
  agreed.cbAlign = std::max<LONG>(agreed.cbAlign, 1);
  const ComPtr<IMemAllocator> made(new CMemAllocator(OLESTR("large frames"), nullptr, nullptr));
  ALLOCATOR_PROPERTIES actual = {};
  HRESULT result = made->SetProperties(&agreed, &actual);
  if (SUCCEEDED(result)) result = made->Commit();
  if (FAILED(result)) return result;
  EndRun();
  own_ = made;
  ownSize_ = size;
  return S_OK;
}

}  // namespace vantor
