#include "filter/positions.h"

#include <algorithm>

#include "platform/wrapping.h"

namespace vantor {

std::int64_t MediaPositions::EndToFormat(std::int64_t time) const {
  return usesFrames ? ToFrames(WrappingAdd(WrappingAdd(time, -1), frameDuration)) : time;
}

std::int64_t MediaPositions::ToFrames(std::int64_t time) const { return WrappingDivide(time, frameDuration); }

std::int64_t MediaPositions::FromFrames(std::int64_t frames) const { return WrappingMultiply(frames, frameDuration); }

MediaPositions Positions::Read() const {
  const LockScope hold(lock_);
  MediaPositions now;
  now.duration = duration_;
  now.current = current_;
  now.stop = stop_;
  now.frameDuration = frameDuration_;
  now.hasFrames = now.frameDuration != 0;
  // The change to media time takes no lock, that to frames does: in use implies available.
  now.usesFrames = now.hasFrames && usesFrames_;
  return now;
}

void Positions::Advance(std::int64_t stop) {
  // Most blocks of all but the leading track change nothing; they need no lock to find out.
  if (std::min<std::int64_t>(stop, stop_) <= current_ && current_ <= stop_) return;
  const LockScope hold(lock_);
  current_ = std::min<std::int64_t>(stop_, std::max<std::int64_t>(current_, stop));
}

void Positions::Set(std::int64_t current, std::int64_t stop) {
  const LockScope hold(lock_);
  current_ = current;
  segmentStart_ = current;
  stop_ = stop;
}

void Positions::SetFile(std::int64_t duration) {
  const LockScope hold(lock_);
  duration_ = duration;
  stop_ = duration;
  current_ = 0;
  segmentStart_ = 0;
}

void Positions::SetFrameDuration(std::int64_t duration) {
  const LockScope hold(lock_);
  frameDuration_ = duration;
}

void Positions::Reset() {
  const LockScope hold(lock_);
  duration_ = 0;
  current_ = 0;
  segmentStart_ = 0;
  stop_ = 0;
  frameDuration_ = 0;
  usesFrames_ = false;
}

bool Positions::UseFrames() {
  // Frames may become unavailable at any time; nobody shall divide by the frame time they left.
  const LockScope hold(lock_);
  if (frameDuration_ == 0) return false;
  usesFrames_ = true;
  return true;
}

}  // namespace vantor
