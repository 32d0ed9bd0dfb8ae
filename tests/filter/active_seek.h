// The filter with several sinks that hold samples like paused renderers, and one record of the calls on all of them:
// for the tests of seeks while the filter is paused or running.
//
//   ActiveSeek at(NumberedFile(), {1, 3});      // sinks on the first and the third output pin
//   at.HoldAt(0);                               // every sink keeps the first sample of each segment in Receive
//   at.Start(State_Running);
//   at.WaitUntilHeld();
//   at.demux.Seek(520 * kMillisecond);          // the flush lets the samples go
//   EXPECT_EQ(at.CallsOf(1), ...);              // "segment 0-10000000 x1", "sample 0", "begin flush", ...
//   at.LetGo();
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/demux_harness.h"
#include "support/worker_asked.h"

namespace vantor::test {

// A second of one video and two audio tracks: ten Clusters of 100 ms, each with a block of every track at its start and
// at 50 ms. Of the video the first is a key frame and the second is none. A block's bytes are its track and its number
// in the track: a block n begins at n * 50 ms.
std::vector<TimedCluster> NumberedClusters();
// 400,000 units to a frame of video.
std::vector<Raw> NumberedTracks();
inline Raw NumberedFile() { return MediaFile(1000, NumberedTracks(), NumberedClusters()); }

inline constexpr int kBlocks = 20;

// What happened on all pins, in order. Any thread.
class CallRecord {
 public:
  void Add(int pin, const std::string& call);
  // "2 begin flush" and the like, from the mark on.
  std::vector<std::string> All(std::size_t mark = 0) const;
  // Without the pin's number.
  std::vector<std::string> Of(int pin, std::size_t mark = 0) const;
  std::size_t Mark() const;
  std::size_t Count(const std::string& call) const;

 private:
  mutable std::mutex lock_;
  std::vector<std::pair<int, std::string>> calls_;
};

// A sink that may keep a sample in Receive, or its caller in NewSegment, until it is told to let go, or is flushed and
// the pin's worker is told to stop: so the worker neither delivers nor reads in between.
class HoldingSink {
 public:
  static constexpr int kNever = -1;

  // The pin is there as long as anything may be held.
  HoldingSink(int number, const CVXMkvDmxOutputPin& pin, CallRecord& record);
  HoldingSink(const HoldingSink&) = delete;
  HoldingSink& operator=(const HoldingSink&) = delete;

  // The sample of each segment to hold, counted from 0.
  void HoldAt(int sample);
  void HoldSegments(bool hold);
  // Waits until a sample, or a segment, is held.
  void WaitUntilHeld();
  // Waits for the stream's end that many times. A worker may run through refused samples to the end before a flush
  // stops it; an end that comes between the flush's two calls says nothing and is not counted or recorded.
  void WaitForEnds(int count);
  bool IsHolding() const;
  // Lets go of what is held and of everything that comes.
  void LetGo();

  const int number;
  const ComPtr<FakeSink> sink;
  std::function<void(int sample)> onSample;  // on the worker, before anything is held; with its number in the segment

 private:
  HRESULT Receive(IMediaSample* sample);
  void Called(const std::string& call);
  void Hold(std::unique_lock<std::mutex>& lock);

  const CVXMkvDmxOutputPin& pin_;
  CallRecord& record_;
  mutable std::mutex lock_;
  std::condition_variable changed_;
  int samples_ = 0;  // of this segment
  int ends_ = 0;
  int holdAt_ = kNever;
  bool holdSegments_ = false;
  bool holding_ = false;
  bool flushing_ = false;
  bool letGo_ = false;
};

class ActiveSeek {
 public:
  ActiveSeek(const Raw& file, const std::vector<int>& pins);
  ~ActiveSeek();
  ActiveSeek(const ActiveSeek&) = delete;
  ActiveSeek& operator=(const ActiveSeek&) = delete;

  // Of the pin with the number, which must have one.
  HoldingSink& Sink(int pin);

  void HoldAt(int sample);
  void HoldSegments(bool hold);
  // Paused or running; stopped leaves it as it is.
  void Start(FILTER_STATE state);
  void WaitUntilHeld();
  void LetGo();
  void WaitForEnds(int count);
  // Lets go and waits for every sink's end of stream that many times in all, then stops.
  void PlayOut(int ends);

  std::vector<std::string> CallsOf(int pin, std::size_t mark = 0) const { return record.Of(pin, mark); }
  std::pair<std::int64_t, std::int64_t> Positions();

  CallRecord record;
  std::vector<std::unique_ptr<HoldingSink>> sinks;
  Demux demux;
};

std::string SegmentCall(std::int64_t start, std::int64_t stop, int rate = 1);
// "sample 3", "sample 4", up to the last.
std::vector<std::string> SampleCalls(int first, int last = kBlocks - 1);
// One list after the other.
std::vector<std::string> Chain(const std::vector<std::vector<std::string>>& lists);

}  // namespace vantor::test
