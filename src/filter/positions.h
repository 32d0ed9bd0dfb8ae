// The positions of a filter: how long the file is, what part of it plays and how far that is, and the time format that
// callers count in.
//
//   const MediaPositions now = positions.Read();
//   *current = now.ToFormat(now.current);
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/lock.h"
#include "streaming/playback.h"

namespace vantor {

// One consistent reading. Times in 100 ns; conversions wrap in 64 bits.
struct MediaPositions {
  std::int64_t duration = 0;
  std::int64_t current = 0;
  std::int64_t stop = 0;
  std::int64_t frameDuration = 0;  // not 0 where there are frames
  bool hasFrames = false;          // a video track gave a frame duration
  bool usesFrames = false;         // callers count in frames

  // A time as callers count it: frames are cut, or, for ends, counted to the full.
  std::int64_t ToFormat(std::int64_t time) const { return usesFrames ? ToFrames(time) : time; }
  std::int64_t EndToFormat(std::int64_t time) const;
  std::int64_t FromFormat(std::int64_t value) const { return usesFrames ? FromFrames(value) : value; }
  // Only where there are frames.
  std::int64_t ToFrames(std::int64_t time) const;
  std::int64_t FromFrames(std::int64_t frames) const;
};

// Any thread. The lock guards what is written together; single members are atomic, so that the workers read the range
// they play without it.
class Positions {
 public:
  Positions() = default;
  Positions(const Positions&) = delete;
  Positions& operator=(const Positions&) = delete;

  MediaPositions Read() const;

  // What a run announces. Takes no lock.
  PlaybackRange Range() const { return {segmentStart_, stop_, rate_}; }
  // See Playback::AdvancePosition.
  void Advance(std::int64_t stop);

  // What a seek settles on. A seek makes the current position the start of the next segment.
  void Set(std::int64_t current, std::int64_t stop);
  // A file of that duration, from its start to its end.
  void SetFile(std::int64_t duration);
  // From now on callers may count in frames; not 0.
  void SetFrameDuration(std::int64_t duration);
  // As before the first file, but for the rate.
  void Reset();

  // False when there are no frames to count in.
  bool UseFrames();
  void UseMediaTime() { usesFrames_ = false; }

  double Rate() const { return rate_; }
  void SetRate(double rate) { rate_ = rate; }

 private:
  mutable Lock lock_{LockRank::Position};
  // Written under the lock, but for the rate and the change to media time.
  std::atomic<std::int64_t> duration_{0};
  std::atomic<std::int64_t> current_{0};
  std::atomic<std::int64_t> segmentStart_{0};
  std::atomic<std::int64_t> stop_{0};
  std::atomic<double> rate_{1.0};
  std::atomic<std::int64_t> frameDuration_{0};  // 0 where there are no frames
  std::atomic<bool> usesFrames_{false};
};

}  // namespace vantor
