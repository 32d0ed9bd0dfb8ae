// States, clocks and events of the demultiplexer in the platform's graph.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "graph/real_graph.h"

namespace vantor::test {

namespace {

using testing::Contains;
using testing::Not;

FILTER_STATE StateOf(IBaseFilter* filter, HRESULT expected = S_OK, DWORD timeout = 0) {
  FILTER_STATE state = State_Stopped;
  EXPECT_EQ(filter->GetState(timeout, &state), expected);
  return state;
}

class State : public RealGraphTest {};

TEST_F(State, AnUnconnectedFilterChangesStateLikeAny) {
  const RealGraph graph;
  IBaseFilter* const filter = graph.Demultiplexer();
  EXPECT_EQ(StateOf(filter), State_Stopped);
  EXPECT_EQ(filter->Pause(), S_OK);
  EXPECT_EQ(StateOf(filter), State_Paused);
  EXPECT_EQ(filter->Run(0), S_OK);
  EXPECT_EQ(StateOf(filter), State_Running);
  EXPECT_EQ(filter->Pause(), S_OK);
  EXPECT_EQ(StateOf(filter), State_Paused);
  EXPECT_EQ(filter->Stop(), S_OK);
  EXPECT_EQ(filter->Run(0), S_OK) << "from stopped straight to running";
  EXPECT_EQ(StateOf(filter), State_Running);
  EXPECT_EQ(filter->Stop(), S_OK);
  EXPECT_EQ(filter->Stop(), S_OK);
  EXPECT_EQ(StateOf(filter), State_Stopped);
}

TEST_F(State, GetStateAnswersAtOnceWhateverTheTimeOut) {
  const MediaCopy media("avc_aac.mkv");
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  const ComPtr<Renderer> renderer = graph.AddRenderer(1);
  renderer->Gate().Hold();
  graph.Pause();
  renderer->Gate().WaitUntilHeld(1);
  for (const DWORD timeout : {DWORD{0}, DWORD{1}, DWORD{1000}, DWORD{INFINITE}}) {
    EXPECT_EQ(StateOf(graph.Demultiplexer(), S_OK, timeout), State_Paused) << timeout;
  }
  EXPECT_EQ(graph.Demultiplexer()->GetState(0, nullptr), E_POINTER);
  renderer->Gate().LetGo();
}

TEST_F(State, TheGraphsClockReachesItAndLeavesItAgain) {
  RealGraph graph;
  IBaseFilter* const filter = graph.Demultiplexer();
  ComPtr<IReferenceClock> clock;
  ASSERT_EQ(CoCreateInstance(CLSID_SystemClock, nullptr, CLSCTX_INPROC_SERVER, IID_IReferenceClock, clock.Void()),
            S_OK);
  const ULONG references = References(clock.Get());
  EXPECT_EQ(filter->SetSyncSource(clock.Get()), S_OK);
  ComPtr<IReferenceClock> found;
  EXPECT_EQ(filter->GetSyncSource(found.Out()), S_OK);
  EXPECT_EQ(found.Get(), clock.Get());
  found.Reset();
  EXPECT_EQ(filter->SetSyncSource(nullptr), S_OK);
  EXPECT_EQ(filter->GetSyncSource(found.Out()), S_OK);
  EXPECT_EQ(found.Get(), nullptr);
  EXPECT_EQ(References(clock.Get()), references);
}

TEST_F(State, PausingWithoutConnectedOutputsStreamsNothingAndSucceeds) {
  const MediaCopy media("avc_aac.mkv");
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  graph.Pause();
  EXPECT_EQ(StateOf(graph.Demultiplexer()), State_Paused);
  graph.Stop();
  EXPECT_EQ(StateOf(graph.Demultiplexer()), State_Stopped);
}

TEST_F(State, PausingStreamsOnConnectedPinsOnly) {
  const MediaCopy media("avc_aac.mkv");
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  const ComPtr<Renderer> audio = graph.AddRenderer(2);
  graph.Pause();
  audio->WaitFor("end", 1);
  graph.Stop();
  EXPECT_GT(audio->Count("sample"), 50);
}

TEST_F(State, TheRunEndsWithOneCompleteEventOnceEveryRendererHasItsEnd) {
  const MediaCopy media("avc_aac.mkv");
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  graph.AddRenderers();
  graph.Events();
  graph.Run();
  EXPECT_EQ(graph.WaitForEvent(EC_COMPLETE), S_OK);
  for (const ComPtr<Renderer>& renderer : graph.Renderers()) {
    EXPECT_EQ(renderer->Count("end"), 1);
  }
  EXPECT_THAT(graph.Events(), Not(Contains(EC_COMPLETE)));
  graph.Stop();
}

TEST_F(State, AFileThatEndsInTheMiddleEndsWithoutAnErrorEvent) {
  const MediaCopy whole("avc_aac.mkv");
  Raw bytes;
  {
    const HANDLE file = CreateFileW(whole.Path(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    bytes.resize(GetFileSize(file, nullptr) / 2);
    DWORD count = 0;
    EXPECT_TRUE(ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr));
    CloseHandle(file);
  }
  const MediaCopy media(bytes, "cut.mkv");
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  graph.AddRenderers();
  graph.Run();
  EXPECT_EQ(graph.WaitForEvent(EC_COMPLETE), S_OK);
  EXPECT_THAT(graph.Events(), Not(Contains(EC_ERRORABORT)));
  graph.Stop();
}

// A graph may insist on being stopped first; then nothing is lost by asking.
TEST_F(State, RemovingTheRunningFilterTakesAllOfItAwayOrNothing) {
  const MediaCopy media("avc_aac.mkv");
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  const ComPtr<Renderer> renderer = graph.AddRenderer(1);
  renderer->Gate().Hold();
  graph.Run();
  renderer->Gate().WaitUntilHeld(1);
  renderer->Gate().LetGo();
  const ComPtr<IBaseFilter> filter(graph.Demultiplexer());
  const HRESULT removed = graph->RemoveFilter(filter.Get());
  if (removed == VFW_E_NOT_STOPPED) {
    EXPECT_EQ(StateOf(filter.Get()), State_Running);
    EXPECT_EQ(PinsOf(filter.Get()).size(), 3U);
    EXPECT_EQ(graph.WaitForEvent(EC_COMPLETE), S_OK) << "it streams on";
    EXPECT_EQ(renderer->Count("end"), 1);
    graph.Stop();
    EXPECT_EQ(graph->RemoveFilter(filter.Get()), S_OK);
  } else {
    EXPECT_EQ(removed, S_OK);
    graph.Stop();
  }
  EXPECT_EQ(StateOf(filter.Get()), State_Stopped);
  EXPECT_EQ(PinsOf(filter.Get()).size(), 1U);
  EXPECT_EQ(renderer->Pin()->ConnectedTo(ComPtr<IPin>().Out()), VFW_E_NOT_CONNECTED);
  FILTER_INFO info = {};
  EXPECT_EQ(filter->QueryFilterInfo(&info), S_OK);
  EXPECT_EQ(info.pGraph, nullptr);
}

}  // namespace
}  // namespace vantor::test
