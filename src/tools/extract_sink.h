// ExtractSink: a listener that hands what one pin delivers to a writer.
//
//   auto sink = std::make_shared<ExtractSink>(form.make(output, nullptr), [] { return false; });
//   graph.ConnectSink(pin, sink);
//   ... run and stop the graph ...
//   if (sink->Finish()) Use(sink->Samples());
//
// Position and HasFailed may be asked for while samples come, the rest once the graph has stopped.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "host/sample_listener.h"
#include "tools/forms/track_writer.h"

namespace vantor::tools {

class ExtractSink final : public SampleListener {
 public:
  // The check says whether the writer's files have failed, after which samples are refused.
  ExtractSink(std::unique_ptr<TrackWriter> writer, std::function<bool()> haveFilesFailed)
      : writer_(std::move(writer)), haveFilesFailed_(std::move(haveFilesFailed)) {}

  void OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept override;
  HRESULT OnSample(IMediaSample* sample) noexcept override;

  // The presentation time reached, 100 ns.
  std::int64_t Position() const noexcept { return position_.load(std::memory_order_relaxed); }
  bool HasFailed() const noexcept { return hasFailed_.load(std::memory_order_relaxed); }
  // What the writer is told of the last sample behind it.
  void TellEnd(const SoundEnd& end) noexcept;
  // Lets the writer end what it has begun; false when it, or a sample, has failed.
  bool Finish() noexcept;
  std::uint64_t Samples() const noexcept { return samples_; }
  // What a sample was refused for; empty when the files have failed, which tell it themselves.
  const std::string& Trouble() const noexcept { return trouble_; }

 private:
  // Keeps what goes wrong.
  template <typename Call>
  bool Guard(Call&& call) noexcept;

  const std::unique_ptr<TrackWriter> writer_;
  const std::function<bool()> haveFilesFailed_;
  std::int64_t segmentStart_ = 0;
  std::uint64_t samples_ = 0;
  std::string trouble_;
  std::atomic<std::int64_t> position_{0};
  std::atomic<bool> hasFailed_{false};
};

}  // namespace vantor::tools
