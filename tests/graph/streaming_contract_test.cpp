// What flows in the platform's graph, in which order, and seeking through the graph.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "graph/real_graph.h"
#include "realfiles/recorded_run.h"

namespace vantor::test {

namespace {

using testing::ElementsAre;

// The log without all but the first sample of each row.
std::vector<std::string> Brief(std::vector<std::string> log) {
  log.erase(std::unique(log.begin(), log.end()), log.end());
  return log;
}

class Streaming : public RealGraphTest {
 protected:
  Streaming() { EXPECT_EQ(graph_.Open(media_.Path()), S_OK); }
  void TearDown() override {
    graph_.Close();
    RealGraphTest::TearDown();
  }

  static HRESULT SeekTo(IMediaSeeking* seeking, LONGLONG start) {
    return seeking->SetPositions(&start, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning);
  }

  // A seek of the graph asks the demultiplexer once for itself and once for each renderer: the second moves nothing
  // where the first left the workers, but they may have gone on. A seek of a renderer is one.
  static HRESULT SeekOnce(Renderer& renderer, LONGLONG start) {
    ComPtr<IMediaSeeking> seeking;
    const HRESULT hr = renderer.GetOwner()->QueryInterface(IID_IMediaSeeking, seeking.Void());
    return FAILED(hr) ? hr : SeekTo(seeking.Get(), start);
  }

  MediaCopy media_{"avc_aac.mkv"};
  RealGraph graph_;
};

TEST_F(Streaming, ComesAsSegmentSamplesAndEnd) {
  graph_.AddRenderers();
  graph_.PlayToEnd();
  for (const ComPtr<Renderer>& renderer : graph_.Renderers()) {
    EXPECT_THAT(Brief(renderer->Log()), ElementsAre("connect", "active", "segment", "sample", "end", "inactive"));
  }
}

TEST_F(Streaming, APlayerThatPausesFirstGetsItsEndWhenItRuns) {
  const ComPtr<Renderer> renderer = graph_.AddRenderer(1);
  graph_.Pause();
  renderer->WaitFor("end", 1);
  graph_.PlayToEnd();
  EXPECT_EQ(renderer->Count("end"), 1);
}

TEST_F(Streaming, StoppingInTheMiddleDeliversNoEnd) {
  const ComPtr<Renderer> renderer = graph_.AddRenderer(1);
  renderer->Gate().Hold();
  graph_.Run();
  renderer->Gate().WaitUntilHeld(1);
  graph_.Stop();
  EXPECT_EQ(renderer->Count("end"), 0);
  EXPECT_EQ(renderer->Log().back(), "inactive");
}

TEST_F(Streaming, ASinkThatFailsASampleEndsItsStreamWithoutAnErrorEvent) {
  const ComPtr<Renderer> renderer = graph_.AddLooseRenderer();
  renderer->onReceive = [](IMediaSample*) { return E_FAIL; };
  ASSERT_EQ(graph_->ConnectDirect(graph_.Pin(1).Get(), renderer->Pin(), nullptr), S_OK);
  graph_.Run();
  EXPECT_EQ(graph_.WaitForEvent(EC_COMPLETE), S_OK);
  graph_.Stop();
  EXPECT_EQ(renderer->Count("sample"), 1);
  EXPECT_EQ(renderer->Count("end"), 1);
  renderer->onReceive = nullptr;
}

TEST_F(Streaming, ASinkMayAskThePinFromInsideReceiveWhileTheGraphStops) {
  const ComPtr<Renderer> renderer = graph_.AddLooseRenderer();
  const ComPtr<IPin> pin = graph_.Pin(1);
  renderer->onReceive = [&](IMediaSample*) {
    EXPECT_EQ(PeerOf(pin.Get()).Get(), static_cast<IPin*>(renderer->Pin()));
    CMediaType type;
    EXPECT_EQ(pin->ConnectionMediaType(&type), S_OK);
    EXPECT_EQ(pin->QueryAccept(&type), S_OK);
    ComPtr<IMediaSeeking> seeking;
    EXPECT_EQ(pin->QueryInterface(IID_IMediaSeeking, seeking.Void()), S_OK);
    LONGLONG duration = 0;
    EXPECT_EQ(seeking->GetDuration(&duration), S_OK);
    EXPECT_GT(duration, 0);
    return S_OK;
  };
  ASSERT_EQ(graph_->ConnectDirect(pin.Get(), renderer->Pin(), nullptr), S_OK);
  graph_.Run();
  renderer->WaitFor("sample", 1);
  graph_.Stop();
  renderer->onReceive = nullptr;
}

TEST_F(Streaming, TheGraphTellsTheDurationAndTheCapabilitiesOfTheFilter) {
  graph_.AddRenderers();
  const ComPtr<IMediaSeeking> seeking = graph_.Seeking();
  LONGLONG duration = 0;
  EXPECT_EQ(seeking->GetDuration(&duration), S_OK);
  EXPECT_EQ(duration, 20'800'000);
  LONGLONG stop = 0;
  EXPECT_EQ(seeking->GetStopPosition(&stop), S_OK);
  EXPECT_EQ(stop, duration);
  DWORD capabilities = 0;
  EXPECT_EQ(seeking->GetCapabilities(&capabilities), S_OK);
  EXPECT_NE(capabilities & AM_SEEKING_CanSeekAbsolute, 0U);
  EXPECT_EQ(seeking->IsFormatSupported(&TIME_FORMAT_MEDIA_TIME), S_OK);
}

TEST_F(Streaming, ASeekThroughTheStoppedGraphStartsTheNextRunThere) {
  RecordedPin record;
  graph_.AddRenderer(1, MakeRecorder(record));
  EXPECT_EQ(SeekTo(graph_.Seeking().Get(), 10'000'000), S_OK);
  graph_.PlayToEnd();
  ASSERT_EQ(record.segments.size(), 1U);
  EXPECT_EQ(record.segments[0].start, 10'000'000);
  EXPECT_EQ(record.segments[0].stop, 20'800'000);
  ASSERT_FALSE(record.samples.empty());
  EXPECT_TRUE(record.samples[0].sync);
  EXPECT_TRUE(record.samples[0].discontinuity);
  EXPECT_LE(record.samples[0].start, 0);
}

TEST_F(Streaming, ASeekWhilePausedFlushesAndStreamsAnew) {
  RecordedPin record;
  const ComPtr<Renderer> renderer = graph_.AddRenderer(1, MakeRecorder(record));
  graph_.Pause();
  renderer->WaitFor("end", 1);
  EXPECT_EQ(SeekOnce(*renderer.Get(), 10'000'000), S_OK);
  renderer->WaitFor("end", 2);
  graph_.PlayToEnd();
  EXPECT_THAT(Brief(renderer->Log()), ElementsAre("connect", "active", "segment", "sample", "end", "begin flush",
                                                  "end flush", "segment", "sample", "end", "inactive"));
  ASSERT_EQ(record.segments.size(), 2U);
  EXPECT_EQ(record.segments[1].start, 10'000'000);
}

TEST_F(Streaming, ASeekThatRunsIntoAHeldSinkFreesItByItsFlush) {
  const ComPtr<Renderer> renderer = graph_.AddRenderer(1);
  renderer->Gate().Hold();
  graph_.Pause();
  renderer->Gate().WaitUntilHeld(1);
  EXPECT_EQ(SeekOnce(*renderer.Get(), 10'000'000), S_OK);
  renderer->Gate().LetGo();
  renderer->WaitFor("end", 1);
  EXPECT_EQ(renderer->Count("begin flush"), 1);
  EXPECT_EQ(renderer->Count("segment"), 2);
  graph_.Stop();
}

TEST_F(Streaming, PlaysAgainAfterItsEnd) {
  graph_.AddRenderers();
  graph_.PlayToEnd();
  const int samples = graph_.Renderers()[0]->Count("sample");
  EXPECT_EQ(SeekTo(graph_.Seeking().Get(), 0), S_OK);
  graph_.PlayToEnd();
  EXPECT_EQ(graph_.Renderers()[0]->Count("sample"), 2 * samples);
}

}  // namespace
}  // namespace vantor::test
