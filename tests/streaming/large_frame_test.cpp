// Frames larger than the buffers that the connection agreed on.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <thread>
#include <utility>

#include "platform/platform.h"
#include "support/demux_harness.h"
#include "support/fake_allocator.h"
#include "support/worker_asked.h"

namespace vantor::test {
namespace {

// 16 times 16 pixels: buffers of 1,024 bytes.
constexpr std::size_t kBuffer = 1024;

class LargeFrameTest : public DemuxTest {};

Raw FileOf(const std::vector<Raw>& frames) {
  std::vector<Raw> blocks;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    blocks.push_back(SimpleBlock(1, static_cast<int>(i) * 10, kKey, frames[i]));
  }
  return MediaFile(10000, {VideoTrack(1)}, {{0, blocks}});
}

std::vector<std::size_t> SizesOf(const FakeSink& sink) {
  std::vector<std::size_t> sizes;
  for (const ReceivedSample& sample : sink.Samples()) sizes.push_back(sample.bytes.size());
  return sizes;
}

void ExpectOneOverflow(const Demux& demux) {
  const auto events = demux.Events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].code, EC_STREAM_ERROR_STILLPLAYING);
  EXPECT_EQ(events[0].param1, VFW_E_BUFFER_OVERFLOW);
  EXPECT_EQ(events[0].param2, 0);
}

TEST_F(LargeFrameTest, AFrameAsLargeAsItsBufferNeedsNoOther) {
  Demux demux(FileOf({Ramp(kBuffer)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  std::atomic<int> asked{0};
  allocator->onSetProperties = [&](ALLOCATOR_PROPERTIES&) { return ++asked, S_OK; };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(sink->Samples().at(0).bytes, Ramp(kBuffer));
  EXPECT_EQ(asked, 1) << "at connection only";
}

TEST_F(LargeFrameTest, ALargerFrameIsDeliveredWhole) {
  Demux demux(FileOf({Fill(10), Ramp(kBuffer + 1), Fill(20), Ramp(100000), Fill(30)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(sink), (std::vector<std::size_t>{10, kBuffer + 1, 20, 100000, 30}));
  EXPECT_EQ(sink.Samples()[3].bytes, Ramp(100000));
  EXPECT_TRUE(demux.Events().empty());
  ALLOCATOR_PROPERTIES agreed = {};
  ASSERT_EQ(sink.Agreed()->GetProperties(&agreed), S_OK);
  EXPECT_EQ(agreed.cBuffers, 2);
  EXPECT_EQ(agreed.cbBuffer, 100000);
  EXPECT_EQ(agreed.cbAlign, 1);
}

TEST_F(LargeFrameTest, LaterRunsPlayWithTheLargerBuffers) {
  Demux demux(FileOf({Fill(10), Ramp(5000)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  demux.PlayToEnd();
  ASSERT_EQ(demux.Seek(0), S_OK);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(sink), (std::vector<std::size_t>{10, 5000, 10, 5000}));
}

TEST_F(LargeFrameTest, TheAllocatorIsLeftDecommittedByTheStop) {
  Demux demux(FileOf({Ramp(5000)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(sink->SampleCount(), 1u);
  EXPECT_FALSE(allocator->Committed());
}

TEST_F(LargeFrameTest, GrowingWaitsForSamplesThatDownstreamStillHolds) {
  Demux demux(FileOf({Fill(10), Ramp(5000)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  std::atomic<int> asked{0};
  allocator->onSetProperties = [&](ALLOCATOR_PROPERTIES&) { return ++asked, S_OK; };
  ComPtr<IMediaSample> held;
  sink->onReceive = [&](IMediaSample* sample) {
    if (!held) held = ComPtr<IMediaSample>(sample);
    return S_OK;
  };
  demux.AddSink(1, sink);
  ASSERT_EQ(demux.Run(), S_OK);
  while (asked < 5) SleepMilliseconds(1);
  EXPECT_EQ(sink->SampleCount(), 1u);
  BYTE* data = nullptr;
  ASSERT_EQ(held->GetPointer(&data), S_OK);
  EXPECT_EQ(Raw(data, data + 10), Fill(10)) << "a held sample keeps its bytes";
  held->Release();
  held.Detach();
  sink->WaitForEnds(1);
  EXPECT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{10, 5000}));
}

TEST_F(LargeFrameTest, AStopWhileTheLargerBuffersAreCommittedLeavesThemDecommitted) {
  Demux demux(FileOf({Ramp(5000), Fill(20)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  demux.AddSink(1, sink);
  const auto pin = demux.Pin(1);
  std::atomic<int> commits{0};
  // The second is the worker's: it lasts until the stop has decommitted and waits for the worker.
  allocator->onCommit = [&] {
    if (++commits == 2) {
      while (!IsWorkerAsked(*pin.Get())) SleepMilliseconds(1);
    }
    return S_OK;
  };
  ASSERT_EQ(demux.Run(), S_OK);
  while (commits < 2) SleepMilliseconds(1);
  EXPECT_EQ(demux.Stop(), S_OK);
  EXPECT_FALSE(allocator->Committed());
  EXPECT_EQ(sink->SampleCount(), 0u);
  EXPECT_EQ(sink->Ends(), 0);
  EXPECT_TRUE(demux.Events().empty());
}

TEST_F(LargeFrameTest, AStopEndsTheWaitForHeldSamples) {
  Demux demux(FileOf({Fill(10), Ramp(5000), Fill(20)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  std::atomic<int> asked{0};
  allocator->onSetProperties = [&](ALLOCATOR_PROPERTIES&) { return ++asked, S_OK; };
  ComPtr<IMediaSample> held;
  sink->onReceive = [&](IMediaSample* sample) {
    if (!held) held = ComPtr<IMediaSample>(sample);
    return S_OK;
  };
  demux.AddSink(1, sink);
  ASSERT_EQ(demux.Run(), S_OK);
  while (asked < 5) SleepMilliseconds(1);
  EXPECT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(sink->SampleCount(), 1u);
  EXPECT_EQ(sink->Ends(), 0);
  EXPECT_FALSE(allocator->Committed());
  EXPECT_TRUE(demux.Events().empty());
  held.Reset();
}

TEST_F(LargeFrameTest, ASeekEndsTheWaitForHeldSamplesAndTheNextRunWaitsForThemAnew) {
  // A flush gives the held sample back, or does not: then the run after the seek meets it too.
  for (const bool isGivenBack : {true, false}) {
    Demux demux(FileOf({Fill(10), Ramp(5000), Fill(20)}));
    ASSERT_EQ(demux.Connect(), S_OK);
    const auto sink = FakeSink::Create();
    const auto allocator = FakeAllocator::GivenTo(*sink);
    std::atomic<int> asked{0};
    allocator->onSetProperties = [&](ALLOCATOR_PROPERTIES&) { return ++asked, S_OK; };
    ComPtr<IMediaSample> held;
    bool isFirst = true;
    sink->onReceive = [&](IMediaSample* sample) {
      if (isFirst) held = ComPtr<IMediaSample>(sample);
      isFirst = false;
      return S_OK;
    };
    sink->onBeginFlush = [&] {
      if (isGivenBack) held.Reset();
    };
    demux.AddSink(1, sink);
    ASSERT_EQ(demux.Run(), S_OK);
    while (asked < 5) SleepMilliseconds(1);
    ASSERT_EQ(demux.Seek(0), S_OK);
    if (!isGivenBack) {
      const int before = asked;
      while (asked < before + 5) SleepMilliseconds(1);
      EXPECT_EQ(sink->Ends(), 0);
      held.Reset();
    }
    while (sink->SampleCount() < 4) SleepMilliseconds(1);
    ASSERT_EQ(demux.Stop(), S_OK);
    EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{10, 10, 5000, 20}));
    EXPECT_EQ(sink->Segments(), 2);
    EXPECT_TRUE(demux.Events().empty());
    EXPECT_FALSE(allocator->Committed());
  }
}

TEST_F(LargeFrameTest, AnAllocatorThatRefusesCostsTheFrameAndTellsTheGraph) {
  Demux demux(FileOf({Fill(10), Ramp(5000), Fill(20)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  allocator->onSetProperties = [](ALLOCATOR_PROPERTIES& request) {
    return request.cbBuffer > static_cast<LONG>(kBuffer) ? E_FAIL : S_OK;
  };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{10, 20}));
  EXPECT_EQ(sink->Samples()[1].start, 200000) << "time goes on over the lost frame";
  ExpectOneOverflow(demux);
}

TEST_F(LargeFrameTest, AnAllocatorThatGrantsLessCostsTheFrame) {
  Demux demux(FileOf({Fill(10), Ramp(5000), Fill(20)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  allocator->onSetProperties = [](ALLOCATOR_PROPERTIES& request) {
    request.cbBuffer = std::min<LONG>(request.cbBuffer, 2048);
    return S_OK;
  };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{10, 20}));
  ExpectOneOverflow(demux);
}

TEST_F(LargeFrameTest, AnAllocatorThatPromisesMoreThanItGivesCostsTheFrame) {
  Demux demux(FileOf({Fill(10), Ramp(5000), Fill(20)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  allocator->onSetProperties = [](ALLOCATOR_PROPERTIES& request) {
    request.cbBuffer = std::min<LONG>(request.cbBuffer, 2048);
    return S_OK;
  };
  allocator->onGranted = [](ALLOCATOR_PROPERTIES& actual) { actual.cbBuffer = 1 << 20; };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{10, 20}));
  ExpectOneOverflow(demux);
}

TEST_F(LargeFrameTest, AnAllocatorThatCannotCommitTheLargerBuffersGoesBackToTheOldOnes) {
  Demux demux(FileOf({Fill(10), Ramp(5000), Fill(20)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  std::atomic<LONG> size{0};
  allocator->onSetProperties = [&](ALLOCATOR_PROPERTIES& request) { return size = request.cbBuffer, S_OK; };
  allocator->onCommit = [&] { return size > static_cast<LONG>(kBuffer) ? E_OUTOFMEMORY : S_OK; };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{10, 20}));
  ExpectOneOverflow(demux);
}

// A filter that does not wait long for larger buffers.
ComPtr<CVXMkvDmx> ImpatientFilter() {
  Patience patience;
  patience.enlarging = std::chrono::milliseconds(20);
  HRESULT result = S_OK;
  return ComPtr<CVXMkvDmx>(
      new CVXMkvDmx(nullptr, &result, platform::FindFontFunctions(), platform::SystemTemporaryFiles(), patience));
}

// Keeps each sample until the next comes, as multiplexers do.
struct KeepingSink {
  KeepingSink() {
    sink->onReceive = [this](IMediaSample* sample) {
      kept = ComPtr<IMediaSample>(sample);
      return S_OK;
    };
  }
  const ComPtr<FakeSink> sink = FakeSink::Create();
  ComPtr<IMediaSample> kept;
};

TEST_F(LargeFrameTest, ASinkThatKeepsItsLastSampleGetsLargeFramesInBuffersOfThePinsOwn) {
  Demux demux(FileOf({Fill(10), Ramp(5000), Fill(20), Ramp(9000), Ramp(6000), Fill(30)}), ImpatientFilter());
  ASSERT_EQ(demux.Connect(), S_OK);
  KeepingSink keeping;
  const auto allocator = FakeAllocator::GivenTo(*keeping.sink);
  demux.AddSink(1, keeping.sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*keeping.sink), (std::vector<std::size_t>{10, 5000, 20, 9000, 6000, 30}));
  EXPECT_EQ(keeping.sink->Samples()[3].bytes, Ramp(9000));
  EXPECT_TRUE(demux.Events().empty());
  EXPECT_FALSE(allocator->Committed()) << "by the stop";
  keeping.kept.Reset();
}

TEST_F(LargeFrameTest, AfterOneWaitInVainTheRunTriesOnceForEachLargeFrame) {
  Demux demux(FileOf({Fill(10), Ramp(5000), Ramp(9000), Ramp(7000)}), ImpatientFilter());
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  std::vector<LONG> asked;
  allocator->onSetProperties = [&](ALLOCATOR_PROPERTIES& request) {
    asked.push_back(request.cbBuffer);
    return asked.size() == 1 ? S_OK : VFW_E_BUFFERS_OUTSTANDING;
  };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{10, 5000, 9000, 7000}));
  EXPECT_EQ(std::count(asked.begin(), asked.end(), 9000), 1);
  EXPECT_EQ(std::count(asked.begin(), asked.end(), 7000), 1);
}

TEST_F(LargeFrameTest, BuffersOfThePinsOwnKeepTheAgreedAlignmentAndPrefix) {
  Demux demux(FileOf({Ramp(5000)}), ImpatientFilter());
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  bool isFirst = true;
  allocator->onSetProperties = [&](ALLOCATOR_PROPERTIES& request) {
    if (!std::exchange(isFirst, false)) return VFW_E_BUFFERS_OUTSTANDING;
    request.cbAlign = 64;
    request.cbPrefix = 8;
    return S_OK;
  };
  std::uintptr_t address = 1;
  sink->onReceive = [&](IMediaSample* sample) {
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    std::fill_n(data - 8, 8, BYTE{0xFF});
    address = reinterpret_cast<std::uintptr_t>(data);
    return S_OK;
  };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{5000}));
  EXPECT_EQ(address % 64, 0u);
}

TEST_F(LargeFrameTest, ARunEndsWithAnErrorWhenNotEvenTheOldBuffersComeBack) {
  Demux demux(FileOf({Fill(10), Ramp(5000), Fill(20)}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  int commits = 0;
  allocator->onCommit = [&] { return ++commits == 1 ? S_OK : E_OUTOFMEMORY; };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{10}));
  const auto events = demux.Events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].code, EC_ERRORABORT);
  EXPECT_EQ(events[0].param1, E_OUTOFMEMORY);
  EXPECT_EQ(commits, 3) << "larger, then as before";

  allocator->onCommit = nullptr;
  ASSERT_EQ(demux.Seek(1), S_OK);
  ASSERT_EQ(demux.Seek(0), S_OK);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{10, 10, 5000, 20})) << "the next run knows nothing of it";
}

TEST_F(LargeFrameTest, ALostFirstKeyFrameLeavesTheDiscontinuityToTheNext) {
  Demux demux(MediaFile(10000, {VideoTrack(1)},
                        {{0,
                          {SimpleBlock(1, 0, kKey, Ramp(5000)), SimpleBlock(1, 10, 0, Fill(10)),
                           SimpleBlock(1, 20, kKey, Fill(20)), SimpleBlock(1, 30, 0, Fill(30))}}}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  allocator->onSetProperties = [](ALLOCATOR_PROPERTIES& request) {
    return request.cbBuffer > static_cast<LONG>(kBuffer) ? E_FAIL : S_OK;
  };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{20, 30})) << "nothing that needs the lost frame";
  const auto samples = sink->Samples();
  EXPECT_TRUE(samples[0].syncPoint);
  EXPECT_TRUE(samples[0].discontinuity);
  EXPECT_FALSE(samples[1].discontinuity);
  ExpectOneOverflow(demux);
}

TEST_F(LargeFrameTest, LacedFramesAroundALostOneStillCome) {
  const std::vector<Raw> frames{Fill(10, 1), Ramp(5000), Fill(20, 2)};
  Demux demux(MediaFile(10000, {VideoTrack(1)},
                        {{0, {SimpleBlock(1, 0, kKey, Fill(5)), SimpleBlock(1, 10, kKey | kXiph, XiphLace(frames))}}}));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  allocator->onSetProperties = [](ALLOCATOR_PROPERTIES& request) {
    return request.cbBuffer > static_cast<LONG>(kBuffer) ? E_FAIL : S_OK;
  };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{5, 10, 20}));
  ExpectOneOverflow(demux);
}

// A file with a hole: what lies in it reads as whatever is in the buffer, so that size costs no time.
class HoleReader final : public IAsyncReader {
 public:
  HoleReader(Raw head, std::uint64_t hole, Raw tail) : head_(std::move(head)), hole_(hole), tail_(std::move(tail)) {}
  virtual ~HoleReader() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = nullptr;
    if (!SameGuid(iid, IID_IUnknown) && !SameGuid(iid, IID_IAsyncReader)) return E_NOINTERFACE;
    *object = static_cast<IAsyncReader*>(this);
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE Length(LONGLONG* total, LONGLONG* available) override {
    *total = static_cast<LONGLONG>(head_.size() + hole_ + tail_.size());
    *available = *total;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE SyncRead(LONGLONG position, LONG size, BYTE* buffer) override {
    const auto at = static_cast<std::uint64_t>(position);
    const auto count = static_cast<std::size_t>(size);
    if (at + count <= head_.size()) {
      std::memcpy(buffer, head_.data() + at, count);
    } else if (at >= head_.size() + hole_) {
      std::memcpy(buffer, tail_.data() + (at - head_.size() - hole_), count);
    }
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE RequestAllocator(IMemAllocator*, ALLOCATOR_PROPERTIES*, IMemAllocator**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Request(IMediaSample*, DWORD_PTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE WaitForNext(DWORD, IMediaSample**, DWORD_PTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SyncReadAligned(IMediaSample*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE BeginFlush() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE EndFlush() override { return E_NOTIMPL; }

 private:
  const Raw head_;
  const std::uint64_t hole_;
  const Raw tail_;
};

TEST_F(LargeFrameTest, AFrameOfMoreThan256MebibytesIsNeverAskedForAndLost) {
  constexpr std::uint64_t kFrame = (std::uint64_t{256} << 20) + 1;
  const Raw start = Join({EbmlHeader(), IdBytes(0x18538067), UnknownVint(8), Info(1000000, 10000),
                          Tracks({VideoTrack(1)}), Cluster(0, {SimpleBlock(1, 0, kKey, Fill(10))})});
  const Raw block = BlockPayload(1, 0, kKey, {});
  const Raw tail = Cluster(50, {SimpleBlock(1, 0, kKey, Fill(20))});
  const Raw blockHead = Join({IdBytes(0xA3), Vint(block.size() + kFrame, 8), block});
  const Raw cluster =
      Join({IdBytes(0x1F43B675), Vint(UInt(0xE7, 20).size() + blockHead.size() + kFrame, 8), UInt(0xE7, 20)});
  HoleReader reader(Join({start, cluster, blockHead}), kFrame, tail);

  Demux demux({}, Demux::NewFilter(), &reader);
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  const auto allocator = FakeAllocator::GivenTo(*sink);
  std::atomic<int> asked{0};
  allocator->onSetProperties = [&](ALLOCATOR_PROPERTIES&) { return ++asked, S_OK; };
  demux.AddSink(1, sink);
  demux.PlayToEnd();
  EXPECT_EQ(SizesOf(*sink), (std::vector<std::size_t>{10, 20}));
  EXPECT_EQ(asked, 1) << "at connection only";
  ExpectOneOverflow(demux);
}

}  // namespace
}  // namespace vantor::test
