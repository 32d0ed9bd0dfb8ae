#include "host/graph.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "host/fake_splitter.h"
#include "host/host_test.h"

namespace vantor::test {
namespace {

// What reached one pin, in order.
class Recorder final : public SampleListener {
 public:
  void OnNewSegment(REFERENCE_TIME, REFERENCE_TIME stop, double) noexcept override { told += "segment " + Text(stop); }
  HRESULT OnSample(IMediaSample* sample) noexcept override {
    BYTE* bytes = nullptr;
    sample->GetPointer(&bytes);
    payload.push_back(bytes[0]);
    told += ".";
    return S_OK;
  }
  void OnEndOfStream() noexcept override { told += " end"; }

  std::string told;
  std::vector<unsigned char> payload;

 private:
  static std::string Text(REFERENCE_TIME time) { return std::to_string(time / kFrame) + " "; }
};

class GraphTest : public HostTest {
 protected:
  GraphTest() : graph_(std::make_unique<Graph>()) {}
  void TearDown() override {
    graph_.reset();
    HostTest::TearDown();
  }

  HRESULT Open(char mode, int pins, int frames) {
    EXPECT_EQ(graph_->Create(component_, FakeSplitter::kClassId), S_OK);
    return graph_->ConnectInput(MakeMemoryStore(ToyStream(mode, pins, frames)), OLESTR("toy.bin"));
  }

  HRESULT ConnectSinks() {
    return graph_->ConnectSinks([&](const GraphPin&) {
      recorders_.push_back(std::make_shared<Recorder>());
      return recorders_.back();
    });
  }

  Component component_{ToyGetClassObject, ToyCanUnloadNow};
  std::unique_ptr<Graph> graph_;
  std::vector<std::shared_ptr<Recorder>> recorders_;
};

TEST_F(GraphTest, PlaysEveryPinToItsEnd) {
  ASSERT_EQ(Open('n', 3, 5), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  ASSERT_EQ(graph_->Run(), S_OK);
  EXPECT_EQ(graph_->Wait(), WaitResult::kEnded);
  EXPECT_EQ(graph_->Stop(), S_OK);
  for (const auto& recorder : recorders_) {
    EXPECT_EQ(recorder->told, "segment 5 ..... end");
    EXPECT_EQ(recorder->payload, (std::vector<unsigned char>{0, 7, 14, 21, 28}));
  }
}

TEST_F(GraphTest, LetsTheComponentBeUnloadedAfterClosing) {
  ASSERT_EQ(Open('n', 2, 2), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  ASSERT_EQ(graph_->Run(), S_OK);
  EXPECT_FALSE(component_.CanUnloadNow());
  graph_->Wait();
  graph_->Close();
  EXPECT_TRUE(component_.CanUnloadNow());
}

TEST_F(GraphTest, IsClosedByItsDestructorInAnyState) {
  ASSERT_EQ(Open('n', 2, 200), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  graph_->Pins()[0].sink->Gate().Hold();
  ASSERT_EQ(graph_->Run(), S_OK);
  graph_->Pins()[0].sink->Gate().WaitUntilHeld(1);
  graph_.reset();
  EXPECT_TRUE(component_.CanUnloadNow());
}

TEST_F(GraphTest, ListsPinsWithTheirNamesTypesAndBuffers) {
  ASSERT_EQ(Open('n', 2, 1), S_OK);
  EXPECT_EQ(graph_->PinCount(), 3);
  ASSERT_EQ(graph_->Pins().size(), 2u);
  const GraphPin& pin = graph_->Pins()[1];
  EXPECT_EQ(pin.number, 2);
  EXPECT_EQ(pin.name, WideString(OLESTR("Toy 2")));
  ASSERT_EQ(pin.types.size(), 2u);
  EXPECT_TRUE(SameGuid(pin.types[0].majortype, MEDIATYPE_Video));
  EXPECT_EQ(pin.types[0].lSampleSize, 1u);
  EXPECT_EQ(pin.types[1].lSampleSize, 2u);
  EXPECT_EQ(pin.allocator.cBuffers, 0);
  ASSERT_EQ(ConnectSinks(), S_OK);
  EXPECT_EQ(pin.allocator.cBuffers, 2);
  EXPECT_EQ(pin.allocator.cbBuffer, 64);
}

TEST_F(GraphTest, ConnectsSinksWithThePinsFirstType) {
  ASSERT_EQ(Open('n', 1, 1), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  EXPECT_EQ(graph_->Pins()[0].sink->InputPin()->CurrentMediaType().lSampleSize, 1u);
}

TEST_F(GraphTest, GivesTheInputPinsOwnResultWhenItRefuses) {
  EXPECT_EQ(Open('n', 1, 1), S_OK);
  graph_ = std::make_unique<Graph>();
  ASSERT_EQ(graph_->Create(component_, FakeSplitter::kClassId), S_OK);
  EXPECT_EQ(graph_->ConnectInput(MakeMemoryStore({'?', 0, 0, 0, 0, 0}), OLESTR("bad")), kRefusal);
  EXPECT_EQ(graph_->PinCount(), 1);
  EXPECT_TRUE(graph_->Pins().empty());
}

TEST_F(GraphTest, TheSplitterSeesItsGraphNameAndItsFile) {
  ASSERT_EQ(Open('n', 1, 1), S_OK);
  FILTER_INFO info = {};
  ASSERT_EQ(graph_->Splitter()->QueryFilterInfo(&info), S_OK);
  const auto joined = ComPtr<IFilterGraph>::Adopt(info.pGraph);
  EXPECT_EQ(WideString(info.achName), WideString(kFilterName));
  ComPtr<IBaseFilter> source;
  ASSERT_EQ(joined->FindFilterByName(OLESTR("Source"), source.Out()), S_OK);
  ComPtr<IFileSourceFilter> file;
  ASSERT_EQ(source->QueryInterface(IID_IFileSourceFilter, file.Void()), S_OK);
  LPOLESTR name = nullptr;
  ASSERT_EQ(file->GetCurFile(&name, nullptr), S_OK);
  EXPECT_EQ(WideString(name), WideString(OLESTR("toy.bin")));
  CoTaskMemFree(name);
}

TEST_F(GraphTest, AStreamWithoutPinsEndsAtOnce) {
  ASSERT_EQ(Open('n', 0, 0), S_OK);
  ASSERT_EQ(graph_->Run(), S_OK);
  EXPECT_EQ(graph_->Wait(), WaitResult::kEnded);
}

TEST_F(GraphTest, UnconnectedPinsAreNotWaitedFor) {
  ASSERT_EQ(Open('n', 3, 4), S_OK);
  auto recorder = std::make_shared<Recorder>();
  ASSERT_EQ(graph_->ConnectSink(graph_->Pins()[1], recorder), S_OK);
  ASSERT_EQ(graph_->Run(), S_OK);
  EXPECT_EQ(graph_->Wait(), WaitResult::kEnded);
  graph_->Stop();
  EXPECT_EQ(recorder->told, "segment 4 .... end");
}

TEST_F(GraphTest, RunsAgainAfterAStop) {
  ASSERT_EQ(Open('n', 2, 3), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  for (int run = 0; run < 3; ++run) {
    ASSERT_EQ(graph_->Run(), S_OK);
    EXPECT_EQ(graph_->Wait(), WaitResult::kEnded);
    ASSERT_EQ(graph_->Stop(), S_OK);
  }
  EXPECT_EQ(recorders_[1]->told, "segment 3 ... endsegment 3 ... endsegment 3 ... end");
}

TEST_F(GraphTest, StopsWhileSinksHoldTheSplittersThreads) {
  ASSERT_EQ(Open('n', 4, 50), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  for (GraphPin& pin : graph_->Pins()) {
    pin.sink->Gate().Hold();
  }
  ASSERT_EQ(graph_->Run(), S_OK);
  for (GraphPin& pin : graph_->Pins()) {
    pin.sink->Gate().WaitUntilHeld(1);
  }
  EXPECT_EQ(graph_->Wait(std::chrono::milliseconds(0)), WaitResult::kTimedOut);
  EXPECT_EQ(graph_->Stop(), S_OK);
  EXPECT_EQ(recorders_[0]->payload.size(), 0u);
}

TEST_F(GraphTest, HeldSamplesGoOnWhenLetGo) {
  ASSERT_EQ(Open('n', 1, 5), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  SinkGate& gate = graph_->Pins()[0].sink->Gate();
  gate.Hold();
  ASSERT_EQ(graph_->Run(), S_OK);
  gate.WaitUntilHeld(1);
  gate.LetGo();
  EXPECT_EQ(graph_->Wait(), WaitResult::kEnded);
  graph_->Stop();
  EXPECT_EQ(recorders_[0]->told, "segment 5 ..... end");
}

TEST_F(GraphTest, ARefusingSinkEndsItsStreamEarly) {
  ASSERT_EQ(Open('n', 2, 9), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  graph_->Pins()[0].sink->Gate().Answer(E_FAIL, 4);
  ASSERT_EQ(graph_->Run(), S_OK);
  EXPECT_EQ(graph_->Wait(), WaitResult::kEnded);
  graph_->Stop();
  EXPECT_EQ(recorders_[0]->told, "segment 9 .... end");
  EXPECT_EQ(recorders_[1]->told, "segment 9 ......... end");
  const SinkCounts counts = graph_->Pins()[0].sink->Counts();
  EXPECT_EQ(counts.samples, 4u);
  EXPECT_EQ(counts.bytes, 4u);
  EXPECT_EQ(counts.refused, 1u);
  EXPECT_EQ(counts.segments, 1u);
  EXPECT_EQ(counts.ends, 1u);
}

TEST_F(GraphTest, ADelayingSinkStillGetsEverything) {
  ASSERT_EQ(Open('n', 1, 3), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  graph_->Pins()[0].sink->Gate().Delay(std::chrono::milliseconds(1));
  ASSERT_EQ(graph_->Run(), S_OK);
  EXPECT_EQ(graph_->Wait(), WaitResult::kEnded);
  graph_->Stop();
  EXPECT_EQ(recorders_[0]->told, "segment 3 ... end");
}

TEST_F(GraphTest, RecordsErrorEvents) {
  ASSERT_EQ(Open('e', 2, 2), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  ASSERT_EQ(graph_->Run(), S_OK);
  EXPECT_EQ(graph_->Wait(), WaitResult::kEnded);
  graph_->Stop();
  const std::vector<CountedEvent> events = graph_->Events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].count, 1u);
  EXPECT_EQ(events[0].event.code, EC_ERRORABORT);
  EXPECT_EQ(static_cast<HRESULT>(events[0].event.param1), kRefusal);
}

TEST_F(GraphTest, WaitsUntilAnErrorWhereAStreamMayNeverEnd) {
  ASSERT_EQ(Open('s', 2, 2), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  ASSERT_EQ(graph_->Run(), S_OK);
  EXPECT_EQ(graph_->Wait(std::nullopt, true), WaitResult::kFailed);
  EXPECT_EQ(graph_->Wait(std::chrono::milliseconds(0)), WaitResult::kTimedOut);
  graph_->Stop();
  EXPECT_EQ(graph_->Events().size(), 1u);
}

TEST_F(GraphTest, CancelEndsAWaitFromAnotherThread) {
  ASSERT_EQ(Open('s', 1, 1), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  ASSERT_EQ(graph_->Run(), S_OK);
  std::thread canceller([&] { graph_->Cancel(); });
  EXPECT_EQ(graph_->Wait(), WaitResult::kCancelled);
  canceller.join();
}

TEST_F(GraphTest, AFailureToPauseStopsEverythingAgain) {
  ASSERT_EQ(Open('f', 2, 2), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  EXPECT_EQ(graph_->Run(), E_FAIL);
  FILTER_STATE state = State_Running;
  EXPECT_EQ(graph_->Pins()[0].sink->GetState(0, &state), S_OK);
  EXPECT_EQ(state, State_Stopped);
}

TEST_F(GraphTest, PlaysAThousandPins) {
  constexpr int kPins = 1000;
  ASSERT_EQ(Open('n', kPins, 3), S_OK);
  ASSERT_EQ(ConnectSinks(), S_OK);
  ASSERT_EQ(graph_->Run(), S_OK);
  EXPECT_EQ(graph_->Wait(), WaitResult::kEnded);
  graph_->Stop();
  for (const auto& recorder : recorders_) {
    ASSERT_EQ(recorder->told, "segment 3 ... end");
  }
  EXPECT_EQ(graph_->Totals().reads, 1u + kPins * 3u);
}

TEST_F(GraphTest, CountsTheReadsOfTheSplitter) {
  ASSERT_EQ(Open('n', 1, 4), S_OK);
  EXPECT_EQ(graph_->Totals().reads, 1u);
  EXPECT_EQ(graph_->Totals().bytes, 6u);
  ASSERT_EQ(ConnectSinks(), S_OK);
  ASSERT_EQ(graph_->Run(), S_OK);
  graph_->Wait();
  graph_->Stop();
  EXPECT_EQ(graph_->Totals().reads, 5u);
  EXPECT_EQ(graph_->Totals().bytes, 10u);
}

TEST_F(GraphTest, ASplitterWithoutSeekingHasNone) {
  ASSERT_EQ(Open('n', 1, 1), S_OK);
  EXPECT_FALSE(graph_->Seeking());
}

TEST_F(GraphTest, TakesAFilterThatIsThereAlready) {
  const ComPtr<FakeSplitter> splitter = FakeSplitter::Create();
  ASSERT_EQ(graph_->Adopt(splitter.Get()), S_OK);
  EXPECT_EQ(graph_->ConnectInput(MakeMemoryStore(ToyStream('n', 1, 1)), OLESTR("toy")), S_OK);
  graph_->Close();
}

TEST_F(GraphTest, AClassThatTheComponentHasNotGotGivesItsResult) {
  EXPECT_EQ(graph_->Create(component_, kClsidMkvDmx), CLASS_E_CLASSNOTAVAILABLE);
}

// The same stream through every byte store gives the same samples.
TEST_F(GraphTest, EveryByteStoreGivesTheSameSamples) {
  const TemporaryFile file(ToyStream('n', 2, 300));
  for (const StoreKind kind : {StoreKind::kMemory, StoreKind::kMapped, StoreKind::kCached, StoreKind::kFastest}) {
    graph_ = std::make_unique<Graph>();
    recorders_.clear();
    FileError error = FileError::kOther;
    ASSERT_EQ(graph_->Create(component_, FakeSplitter::kClassId), S_OK);
    ASSERT_EQ(graph_->ConnectInput(OpenStore(file.Path(), kind, error), OLESTR("toy")), S_OK);
    ASSERT_EQ(ConnectSinks(), S_OK);
    ASSERT_EQ(graph_->Run(), S_OK);
    graph_->Wait();
    graph_->Stop();
    for (const auto& recorder : recorders_) {
      ASSERT_EQ(recorder->payload.size(), 300u);
      for (std::size_t i = 0; i < 300; ++i) {
        ASSERT_EQ(recorder->payload[i], static_cast<unsigned char>(i * 7));
      }
    }
  }
  graph_.reset();
}

}  // namespace
}  // namespace vantor::test
