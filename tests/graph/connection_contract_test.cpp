// Making and breaking the demultiplexer's connections in the platform's graph.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "baseclasses/media_type.h"
#include "graph/real_graph.h"

namespace vantor::test {

namespace {

using testing::ElementsAre;

class Connection : public RealGraphTest {
 protected:
  Connection() { EXPECT_EQ(graph_.Open(media_.Path()), S_OK); }
  void TearDown() override {
    graph_.Close();
    RealGraphTest::TearDown();
  }

  MediaCopy media_{"avc_aac.mkv"};
  RealGraph graph_;
};

TEST_F(Connection, BothEndsSeeItAndTheTypeThePinPutsFirst) {
  const ComPtr<Renderer> renderer = graph_.AddRenderer(1);
  EXPECT_EQ(PeerOf(graph_.Pin(1).Get()).Get(), static_cast<IPin*>(renderer->Pin()));
  EXPECT_EQ(PeerOf(renderer->Pin()).Get(), graph_.Pin(1).Get());
  CMediaType ours;
  CMediaType theirs;
  EXPECT_EQ(graph_.Pin(1)->ConnectionMediaType(&ours), S_OK);
  EXPECT_EQ(renderer->Pin()->ConnectionMediaType(&theirs), S_OK);
  EXPECT_TRUE(ours == theirs);
  EXPECT_TRUE(SameGuid(ours.formattype, FORMAT_MPEG2Video) || SameGuid(ours.formattype, FORMAT_VideoInfo2));
}

TEST_F(Connection, WhileItIsMadeThePinAlreadyAnswersAsConnected) {
  const ComPtr<Renderer> renderer = graph_.AddLooseRenderer();
  int asked = 0;
  renderer->onConnect = [&](IPin* connector) {
    ++asked;
    EXPECT_EQ(PeerOf(connector).Get(), static_cast<IPin*>(renderer->Pin()));
    CMediaType type;
    EXPECT_EQ(connector->ConnectionMediaType(&type), S_OK);
    EXPECT_EQ(connector->QueryAccept(&type), S_OK);
    return S_OK;
  };
  EXPECT_EQ(graph_->ConnectDirect(graph_.Pin(1).Get(), renderer->Pin(), nullptr), S_OK);
  EXPECT_EQ(asked, 1);
  renderer->onConnect = nullptr;
}

TEST_F(Connection, TheAlternativeTypeIsTakenWhereTheFirstIsRefused) {
  const ComPtr<Renderer> renderer = graph_.AddLooseRenderer();
  renderer->checkType = [](const CMediaType& type) {
    return SameGuid(type.formattype, FORMAT_VideoInfo) ? S_OK : S_FALSE;
  };
  EXPECT_EQ(graph_->ConnectDirect(graph_.Pin(1).Get(), renderer->Pin(), nullptr), S_OK);
  CMediaType type;
  EXPECT_EQ(graph_.Pin(1)->ConnectionMediaType(&type), S_OK);
  EXPECT_TRUE(SameGuid(type.formattype, FORMAT_VideoInfo));
}

TEST_F(Connection, ASecondOneIsRefusedAndLeavesTheFirst) {
  const ComPtr<Renderer> first = graph_.AddRenderer(1);
  const ComPtr<Renderer> second = graph_.AddLooseRenderer();
  EXPECT_EQ(graph_.Pin(1)->Connect(second->Pin(), nullptr), VFW_E_ALREADY_CONNECTED);
  EXPECT_EQ(graph_.Pin(2)->Connect(first->Pin(), nullptr), VFW_E_ALREADY_CONNECTED);
  EXPECT_EQ(graph_.Pin(2)->ConnectedTo(ComPtr<IPin>().Out()), VFW_E_NOT_CONNECTED);
  CMediaType stream;
  stream.SetType(&MEDIATYPE_Stream);
  EXPECT_EQ(graph_.Pin(0)->ReceiveConnection(FirstPin(graph_.Reader()).Get(), &stream), VFW_E_ALREADY_CONNECTED);
  EXPECT_EQ(PeerOf(graph_.Pin(1).Get()).Get(), static_cast<IPin*>(first->Pin()));
}

TEST_F(Connection, NoneIsMadeWhileTheFilterRuns) {
  const ComPtr<Renderer> video = graph_.AddRenderer(1);
  const ComPtr<Renderer> late = graph_.AddLooseRenderer();
  graph_.Pause();
  EXPECT_EQ(graph_.Pin(2)->Connect(late->Pin(), nullptr), VFW_E_NOT_STOPPED);
  EXPECT_EQ(graph_.Pin(1)->Disconnect(), VFW_E_NOT_STOPPED);
  graph_.Stop();
  EXPECT_EQ(graph_->ConnectDirect(graph_.Pin(2).Get(), late->Pin(), nullptr), S_OK);
}

TEST_F(Connection, ARefusalLeavesNothingBehind) {
  const ComPtr<Renderer> renderer = graph_.AddLooseRenderer();
  const ComPtr<IPin> pin = graph_.Pin(1);
  const ULONG references = References(pin.Get());
  renderer->checkType = [](const CMediaType&) { return S_FALSE; };
  EXPECT_EQ(pin->Connect(renderer->Pin(), nullptr), VFW_E_NO_ACCEPTABLE_TYPES);
  EXPECT_EQ(pin->ConnectedTo(ComPtr<IPin>().Out()), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(References(pin.Get()), references);
  EXPECT_EQ(renderer->Count("connect"), 0);
}

TEST_F(Connection, ALateRefusalIsUndoneAtBothEnds) {
  const ComPtr<Renderer> renderer = graph_.AddLooseRenderer();
  const ComPtr<IPin> pin = graph_.Pin(1);
  const ULONG references = References(pin.Get());
  renderer->onConnect = [](IPin*) { return E_OUTOFMEMORY; };
  EXPECT_LT(pin->Connect(renderer->Pin(), nullptr), 0);
  EXPECT_EQ(pin->ConnectedTo(ComPtr<IPin>().Out()), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(renderer->Pin()->ConnectedTo(ComPtr<IPin>().Out()), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(References(pin.Get()), references);
  renderer->onConnect = nullptr;
  EXPECT_EQ(graph_->ConnectDirect(pin.Get(), renderer->Pin(), nullptr), S_OK) << "and may be tried again";
}

TEST_F(Connection, AFileThatIsNoMediaIsRefusedAndLeavesTheInputPinAlone) {
  const MediaCopy other(Raw(4000, 'x'), "noise.mkv");
  RealGraph graph;
  EXPECT_LT(graph.Open(other.Path()), 0);
  EXPECT_EQ(graph.PinCount(), 1);
  EXPECT_EQ(graph.Pin(0)->ConnectedTo(ComPtr<IPin>().Out()), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(FirstPin(graph.Reader())->ConnectedTo(ComPtr<IPin>().Out()), VFW_E_NOT_CONNECTED);
}

TEST_F(Connection, DisconnectingTheInputDisconnectsWhatIsBehindAndTakesThePinsAway) {
  std::vector<std::string> order;
  std::vector<ComPtr<IPin>> held{graph_.Pin(1), graph_.Pin(2)};
  for (const int number : {1, 2}) {
    const ComPtr<Renderer> renderer = graph_.AddRenderer(number);
    renderer->onDisconnect = [&order, number] { order.push_back("renderer " + std::to_string(number)); };
  }
  ASSERT_EQ(graph_.Pin(0)->Disconnect(), S_OK);
  ASSERT_EQ(FirstPin(graph_.Reader())->Disconnect(), S_OK);
  EXPECT_THAT(order, ElementsAre("renderer 1", "renderer 2"));
  EXPECT_EQ(graph_.PinCount(), 1);
  for (const ComPtr<IPin>& pin : held) {
    EXPECT_EQ(pin->ConnectedTo(ComPtr<IPin>().Out()), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(pin->Disconnect(), S_FALSE) << "still safe to call";
  }
  for (const ComPtr<Renderer>& renderer : graph_.Renderers()) {
    renderer->onDisconnect = nullptr;
  }
  EXPECT_EQ(graph_.ConnectInput(), S_OK) << "and it connects again";
  EXPECT_EQ(graph_.PinCount(), 3);
}

TEST_F(Connection, AnUnconnectedPinSaysSo) {
  const ComPtr<IPin> pin = graph_.Pin(1);
  IPin* peer = pin.Get();
  EXPECT_EQ(pin->ConnectedTo(&peer), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(peer, nullptr);
  AM_MEDIA_TYPE type = {};
  EXPECT_EQ(pin->ConnectionMediaType(&type), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(pin->Disconnect(), S_FALSE);
}

}  // namespace
}  // namespace vantor::test
