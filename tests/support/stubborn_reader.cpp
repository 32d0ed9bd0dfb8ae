#include "support/stubborn_reader.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/com.h"

namespace vantor::test {

ComPtr<StubbornReader> StubbornReader::Create(Raw bytes) {
  return ComPtr<StubbornReader>(new StubbornReader(std::move(bytes)));
}

StubbornReader::StubbornReader(Raw bytes) : CUnknown(OLESTR("stubborn reader"), nullptr), bytes_(std::move(bytes)) {}

void StubbornReader::Arm(Stubbornness how, std::uint64_t position) {
  const std::lock_guard<std::mutex> hold(lock_);
  armed_ = how;
  position_ = position;
  engaged_ = false;
  ++arming_;
}

void StubbornReader::Behave() {
  {
    const std::lock_guard<std::mutex> hold(lock_);
    armed_ = Stubbornness::kNone;
    ++arming_;
  }
  changed_.notify_all();
}

bool StubbornReader::IsEngaged() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return engaged_;
}

int StubbornReader::Held() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return held_;
}

int StubbornReader::Flushes() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return flushes_;
}

std::string StubbornReader::FaultOfFlushes() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return fault_.empty() && flushing_ ? "a flush that did not end" : fault_;
}

HRESULT StubbornReader::NonDelegatingQueryInterface(REFIID riid, void** object) {
  if (SameGuid(riid, IID_IAsyncReader)) return GetInterface(static_cast<IAsyncReader*>(this), object);
  return CUnknown::NonDelegatingQueryInterface(riid, object);
}

HRESULT StubbornReader::SyncRead(LONGLONG position, LONG size, BYTE* buffer) {
  if (position < 0 || size < 0 || buffer == nullptr) return E_INVALIDARG;
  const auto at = static_cast<std::uint64_t>(position);
  const auto asked = static_cast<std::uint64_t>(size);
  std::unique_lock<std::mutex> hold(lock_);
  if (flushing_) return VFW_E_WRONG_STATE;
  const bool isMet = armed_ != Stubbornness::kNone && at <= position_ && position_ - at < asked;
  if (!isMet) {
    hold.unlock();
    return Copy(at, asked, buffer);
  }
  const Stubbornness how = std::exchange(armed_, Stubbornness::kNone);
  engaged_ = true;
  if (how == Stubbornness::kFailsHalfway) {
    Copy(at, asked / 2, buffer);
    return E_FAIL;
  }
  if (how == Stubbornness::kCallsBack) {
    hold.unlock();
    onRead_();
    return Copy(at, asked, buffer);
  }
  const std::uint64_t arming = arming_;
  const int flushes = flushes_;
  const bool yields = how == Stubbornness::kBlocksUntilFlushed;
  ++held_;
  changed_.wait(hold, [&] { return arming_ != arming || (yields && flushes_ != flushes); });
  --held_;
  // Who was let go first has its bytes, whatever flush it has slept through.
  return yields && flushes_ != flushes ? VFW_E_WRONG_STATE : Copy(at, asked, buffer);
}

HRESULT StubbornReader::Copy(std::uint64_t position, std::uint64_t size, BYTE* buffer) const {
  const std::uint64_t there = position < bytes_.size() ? bytes_.size() - position : 0;
  const std::uint64_t given = std::min(size, there);
  if (given != 0) std::memcpy(buffer, bytes_.data() + position, static_cast<std::size_t>(given));
  return given == size ? S_OK : S_FALSE;
}

HRESULT StubbornReader::Length(LONGLONG* total, LONGLONG* available) {
  const auto length = static_cast<LONGLONG>(bytes_.size());
  if (total != nullptr) *total = length;
  if (available != nullptr) *available = length;
  return S_OK;
}

HRESULT StubbornReader::BeginFlush() {
  {
    const std::lock_guard<std::mutex> hold(lock_);
    if (flushing_) fault_ = "a flush inside a flush";
    flushing_ = true;
    ++flushes_;
  }
  changed_.notify_all();
  if (const auto call = std::exchange(onBeginFlush_, nullptr)) call();
  return S_OK;
}

HRESULT StubbornReader::EndFlush() {
  {
    const std::lock_guard<std::mutex> hold(lock_);
    if (!flushing_) fault_ = "the end of a flush that did not begin";
    flushing_ = false;
  }
  if (const auto call = std::exchange(onEndFlush_, nullptr)) call();
  return S_OK;
}

}  // namespace vantor::test
