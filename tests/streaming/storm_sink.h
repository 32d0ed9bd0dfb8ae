// A file of which every frame is known, and a sink that checks each call against it, for the storm of seeks.
//
//   const KnownFile file = MakeKnownFile();
//   Demux demux(file.bytes);
//   const auto sink = StormSink::Create(file.tracks[0], complaints);
//
// What the sink keeps of a run is plain memory on purpose: the filter promises that a worker is stopped when a flush
// ends and when the filter has stopped, and the thread sanitizer sees whether that is so.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "support/demux_harness.h"
#include "support/one_pin_sink.h"

namespace vantor::test {

struct KnownFrame {
  std::int64_t start = 0;  // 100 ns
  std::int64_t stop = 0;
  bool key = false;
  std::size_t block = 0;  // its block's place among all of the file
  Raw bytes;              // begin with the frame's own number, two bytes
};

using KnownTrack = std::vector<KnownFrame>;

struct KnownFile {
  Raw bytes;
  std::array<KnownTrack, 4> tracks;  // in the order of the pins
  std::int64_t duration = 0;

  // The first block that is read after a seek.
  std::size_t BlockOf(std::int64_t target) const;
};

// Four Clusters of a tenth of a second; a block of every track each five milliseconds. Pictures, pictures that outgrow
// the buffers, laced sound, subtitles.
KnownFile MakeKnownFile();

// The first of the things that went wrong. Any thread.
class Complaints {
 public:
  void Add(const std::string& text);
  std::vector<std::string> All() const;

 private:
  mutable std::mutex lock_;
  std::vector<std::string> texts_;
};

class StormSink;

class StormSinkPin final : public SinkPinOf<StormSink> {
 public:
  using SinkPinOf::SinkPinOf;

  HRESULT Active() override;
  HRESULT Inactive() override;
  STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
  STDMETHODIMP Receive(IMediaSample* sample) override;
  STDMETHODIMP EndOfStream() override;
  STDMETHODIMP BeginFlush() override;
  STDMETHODIMP EndFlush() override;
};

class StormSink final : public OnePinSink<StormSinkPin> {
 public:
  static ComPtr<StormSink> Create(const KnownFile& file, std::size_t track, Complaints& complaints);

  // Set before streaming. Whether a segment is one that was asked for; on the worker.
  std::function<bool(std::int64_t start, std::int64_t stop)> knowsSegment;
  // Called from inside Receive now and then.
  std::function<void()> callBack;

  // Whether samples are refused and held; otherwise all are taken at once. Any thread.
  void BeWild(bool wild) { wild_ = wild; }
  // Samples that reached the sink, and whether none will before somebody acts: the sample is held, the stream has
  // ended, or the graph is stopped. Any thread.
  std::uint64_t Arrived() const { return arrived_.load(std::memory_order_relaxed); }
  bool IsSettled() const { return settled_.load(std::memory_order_relaxed); }

  // For the thread that changes states: before the stopped filter starts, and when it has stopped.
  void ExpectRun();
  void ExpectStopped();

  // When the filter has stopped: the numbers of the frames that came in the last run and whether it ended, and where
  // the segments began that were the first after a flush.
  const std::vector<std::size_t>& Played() const { return last_.played; }
  bool HasEnded() const { return last_.ended; }
  const std::vector<std::int64_t>& Flushed() const { return flushed_; }

 private:
  friend class StormSinkPin;
  struct Run {
    bool announced = false;
    bool afterFlush = false;
    bool exact = false;    // the first frame is known, not only where to look for it
    bool mustEnd = false;  // the stop position was reached, or a sample failed
    bool ended = false;
    std::int64_t start = 0;
    std::int64_t stop = 0;
    std::vector<std::size_t> played;
  };
  // Counts the calls of the worker that are under way: one at a time, and none when a run is over.
  class Call;

  StormSink(const KnownFile& file, std::size_t track, Complaints& complaints);

  void Complain(const std::string& text) const;
  void EndRun();
  void OnSegment(std::int64_t start, std::int64_t stop);
  void OnSample(IMediaSample* sample);
  void OnEnd();
  HRESULT Answer();
  HRESULT Hold();
  std::size_t NextKey(std::size_t from) const;
  void Settle(bool settled) { settled_.store(settled, std::memory_order_relaxed); }

  const KnownFile& file_;
  const std::size_t trackNumber_;
  const KnownTrack& track_;
  Complaints& complaints_;

  std::atomic<bool> wild_{true};
  std::atomic<std::uint64_t> arrived_{0};
  std::atomic<bool> settled_{true};
  std::atomic<int> inside_{0};

  // The run under way, and the frame that may come next.
  Run run_;
  Run last_;                    // the one before
  std::int64_t position_ = -1;  // where the last segment began
  std::size_t next_ = 0;
  std::vector<std::int64_t> flushed_;
  std::minstd_rand random_;
  std::uint64_t flushes_ = 0;  // begins and ends; odd inside

  std::mutex gate_;
  std::condition_variable opened_;
  bool flushing_ = false;
  bool stopped_ = true;
};

}  // namespace vantor::test
