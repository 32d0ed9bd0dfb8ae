// The demultiplexer between a fake source and fake sinks, for the tests of streaming and of the filter.
//
//   class DeliveryTest : public DemuxTest {};
//   TEST_F(DeliveryTest, ASampleABlock) {
//     Demux demux(MediaFile(10000, {AudioTrack(1)}, {{0, {SimpleBlock(1, 0, kKey, {1, 2})}}}));
//     ASSERT_EQ(demux.Connect(), S_OK);
//     FakeSink& sink = demux.AddSink(1);
//     demux.PlayToEnd();
//     EXPECT_EQ(sink.SampleCount(), 1u);
//   }
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "filter/mkv_filter.h"
#include "host/graph_manager.h"
#include "platform/com_ptr.h"
#include "support/fake_sink.h"
#include "support/fake_source.h"
#include "support/memory_reader.h"
#include "support/mkv_builder.h"

namespace vantor::test {

// Every test ends with no object of the framework alive, threads included.
class DemuxTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(CBaseObject::ObjectsActive(), 0); }
};

inline std::string Narrow(const WideString& text) {
  std::string narrow;
  for (const WCHAR character : text) narrow.push_back(static_cast<char>(character));
  return narrow;
}

inline std::string NameOf(IPin* pin) {
  PIN_INFO info = {};
  if (pin == nullptr || FAILED(pin->QueryPinInfo(&info))) return "(none)";
  if (info.pFilter != nullptr) info.pFilter->Release();
  return Narrow(info.achName);
}

// ---- Files ----

// All frames of these are key frames; buffers of 256,000 bytes.
inline Raw AudioTrack(std::uint64_t number, std::string_view codec = "A_AC3", const std::vector<Raw>& more = {}) {
  std::vector<Raw> children{Audio(48000, 2)};
  children.insert(children.end(), more.begin(), more.end());
  return Track(number, 2, codec, children);
}

// Buffers of width times height times 4 bytes.
inline Raw VideoTrack(std::uint64_t number, std::uint64_t width = 16, std::uint64_t height = 16,
                      const std::vector<Raw>& more = {}) {
  std::vector<Raw> children{Video(width, height)};
  children.insert(children.end(), more.begin(), more.end());
  return Track(number, 1, "V_VP8", children);
}

inline Raw SubtitleTrack(std::uint64_t number, std::string_view codec = "S_TEXT/UTF8",
                         const std::vector<Raw>& more = {}) {
  return Track(number, 17, codec, more);
}

struct TimedCluster {
  std::uint64_t time = 0;  // milliseconds
  std::vector<Raw> blocks;
};

// Ticks of a millisecond; the duration is in milliseconds. One cue point a cluster, for track 1.
inline Raw MediaFile(double duration, const std::vector<Raw>& tracks, const std::vector<TimedCluster>& clusters) {
  std::vector<Part> parts{Part(Info(1000000, duration)), Part(Tracks(tracks))};
  std::vector<std::uint64_t> times;
  for (const TimedCluster& cluster : clusters) {
    parts.emplace_back("cluster" + std::to_string(times.size()), Cluster(cluster.time, cluster.blocks));
    times.push_back(cluster.time);
  }
  parts.emplace_back("cues", [times](const Positions& at) {
    std::vector<Raw> points;
    for (std::size_t i = 0; i < times.size(); ++i) {
      points.push_back(CuePoint(times[i], 1, at["cluster" + std::to_string(i)]));
    }
    return Cues(points);
  });
  return MkvFile(parts);
}

// ---- The filter at work ----

inline constexpr std::int64_t kMillisecond = 10000;  // in 100 ns

class Demux {
 public:
  explicit Demux(const Raw& file) : Demux(file, NewFilter()) {}
  // With a filter made otherwise, or bytes that come from elsewhere.
  Demux(const Raw& file, ComPtr<CVXMkvDmx> filter, IAsyncReader* reader = nullptr)
      : reader_(file),
        manager_(GraphManager::Create()),
        source_(FakeSource::Create(reader != nullptr ? reader : &reader_)),
        filter_(std::move(filter)) {
    manager_->AddFilter(filter_.Get(), OLESTR("Demultiplexer"));
  }
  ~Demux() { Close(); }
  Demux(const Demux&) = delete;
  Demux& operator=(const Demux&) = delete;

  static ComPtr<CVXMkvDmx> NewFilter() {
    HRESULT result = S_OK;
    ComPtr<CVXMkvDmx> filter(static_cast<CVXMkvDmx*>(CVXMkvDmx::CreateInstance(nullptr, &result)));
    EXPECT_EQ(result, S_OK);
    return filter;
  }

  static ComPtr<CVXMkvDmx> NewFilter(const PlaybackPolicy& policy) {
    HRESULT result = S_OK;
    ComPtr<CVXMkvDmx> filter(new CVXMkvDmx(nullptr, &result, kMkvDmxComplete, policy));
    EXPECT_EQ(result, S_OK);
    return filter;
  }

  CVXMkvDmx& Filter() { return *filter_; }
  MemoryReader& Reader() { return reader_; }
  FakeSource& Source() { return *source_; }
  // Each as often as it came, in the manager's order.
  std::vector<GraphEvent> Events() const {
    std::vector<GraphEvent> events;
    for (const CountedEvent& counted : manager_->Events()) events.insert(events.end(), counted.count, counted.event);
    return events;
  }
  IPin* Input() { return filter_->GetPin(0); }

  HRESULT Connect() { return source_->Pin()->Connect(Input(), &source_->type); }
  HRESULT DisconnectInput() {
    source_->Pin()->Disconnect();
    return Input()->Disconnect();
  }

  // 1 is the first output pin.
  ComPtr<CVXMkvDmxOutputPin> Pin(int number) {
    return ComPtr<CVXMkvDmxOutputPin>(static_cast<CVXMkvDmxOutputPin*>(filter_->GetPin(number)));
  }
  std::vector<std::string> OutputNames() {
    std::vector<std::string> names;
    for (int i = 1; i < filter_->GetPinCount(); ++i) names.push_back(NameOf(filter_->GetPin(i)));
    return names;
  }

  HRESULT ConnectSink(int number, const ComPtr<FakeSink>& sink, const AM_MEDIA_TYPE* type = nullptr) {
    sinks_.push_back(sink);
    return Pin(number)->Connect(sink->Pin(), type);
  }
  FakeSink& AddSink(int number, const ComPtr<FakeSink>& sink = FakeSink::Create()) {
    EXPECT_EQ(ConnectSink(number, sink), S_OK);
    return *sink;
  }

  // Sinks first, like a graph.
  HRESULT Pause() {
    return OnAll([](IBaseFilter& filter) { return filter.Pause(); });
  }
  HRESULT Run() {
    return OnAll([](IBaseFilter& filter) { return filter.Run(0); });
  }
  HRESULT Stop() {
    return OnAll([](IBaseFilter& filter) { return filter.Stop(); });
  }

  // Plays until every sink has had one end of stream more, and stops.
  void PlayToEnd() {
    std::vector<int> ends;
    ends.reserve(sinks_.size());
    for (const auto& sink : sinks_) ends.push_back(sink->Ends());
    EXPECT_EQ(Run(), S_OK);
    for (std::size_t i = 0; i < sinks_.size(); ++i) sinks_[i]->WaitForEnds(ends[i] + 1);
    EXPECT_EQ(Stop(), S_OK);
  }

  // Absolute positions in 100 ns; a negative one stays as it is.
  HRESULT Seek(std::int64_t current, std::int64_t stop = -1) {
    LONGLONG newCurrent = current;
    LONGLONG newStop = stop;
    return filter_->SetPositions(&newCurrent, current < 0 ? AM_SEEKING_NoPositioning : AM_SEEKING_AbsolutePositioning,
                                 &newStop, stop < 0 ? AM_SEEKING_NoPositioning : AM_SEEKING_AbsolutePositioning);
  }

  void Close() {
    if (!filter_) return;
    Stop();
    for (const auto& sink : sinks_) sink->ForgetHooks();
    DisconnectInput();
    for (const auto& sink : sinks_) sink->Pin()->Disconnect();
    sinks_.clear();
    manager_->RemoveFilter(filter_.Get());
    filter_.Reset();
    source_.Reset();
    EXPECT_EQ(reader_.References(), 0u);
  }

 private:
  template <typename Call>
  HRESULT OnAll(Call&& call) {
    HRESULT result = S_OK;
    for (const auto& sink : sinks_) {
      const HRESULT hr = call(*sink);
      if (FAILED(hr) && SUCCEEDED(result)) result = hr;
    }
    const HRESULT hr = call(*filter_);
    return FAILED(hr) ? hr : result;
  }

  MemoryReader reader_;
  ComPtr<GraphManager> manager_;
  ComPtr<FakeSource> source_;
  ComPtr<CVXMkvDmx> filter_;
  std::vector<ComPtr<FakeSink>> sinks_;
};

}  // namespace vantor::test
