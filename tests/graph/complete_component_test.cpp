// The complete component in the platform's own filter graph, by itself and beside the other in one process.
#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "graph/real_graph.h"
#include "host/component.h"
#include "realfiles/packet_list.h"
#include "realfiles/recorded_run.h"

namespace vantor::test {
namespace {

namespace complete_component {

const Component& CompleteComponent() {
  static std::string error;
  static const std::unique_ptr<Component> component = Component::LoadBesideProgram(error, kMkvDmxComplete);
  if (!component) {
    std::fputs(error.c_str(), stderr);
    std::abort();
  }
  return *component;
}

class CompleteComponentTest : public RealGraphTest {
 protected:
  void TearDown() override {
    RealGraphTest::TearDown();
    EXPECT_TRUE(CompleteComponent().CanUnloadNow()) << "an object of the complete component is left";
  }
};

struct CompleteGraph : RealGraph {
  CompleteGraph() : RealGraph(CompleteComponent(), kMkvDmxComplete.classId) {}
};

// The frames of each track of a file of the test media.
std::vector<std::size_t> PacketsOf(const std::string& media) {
  std::vector<std::size_t> counts;
  for (const TrackPackets& track : ReadPacketList(media).tracks) counts.push_back(track.packets.size());
  return counts;
}

std::vector<std::size_t> SamplesOf(RealGraph& graph) {
  std::vector<std::size_t> counts;
  for (const auto& renderer : graph.Renderers()) counts.push_back(static_cast<std::size_t>(renderer->Count("sample")));
  return counts;
}

TEST_F(CompleteComponentTest, FilesWithoutAnIndexPlayToTheirLastFrame) {
  for (const char* media : {"avc_no_cues.mkv", "vp8_vorbis_live.webm"}) {
    SCOPED_TRACE(media);
    const MediaCopy copy(media);
    CompleteGraph graph;
    ASSERT_EQ(graph.Open(copy.Path()), S_OK);
    graph.AddRenderers();
    graph.PlayToEnd();
    std::vector<std::size_t> expected = PacketsOf(media);
    if (std::string(media).starts_with("vp8")) expected.back() += 3;  // the headers of Vorbis
    EXPECT_EQ(SamplesOf(graph), expected);
    for (const auto& renderer : graph.Renderers()) EXPECT_EQ(renderer->Count("end"), 1);
  }
}

TEST_F(CompleteComponentTest, SeeksWithoutAnIndexReachTheLastFrame) {
  const MediaCopy copy("avc_no_cues.mkv");
  CompleteGraph graph;
  ASSERT_EQ(graph.Open(copy.Path()), S_OK);
  graph.AddRenderers();
  LONGLONG duration = 0;
  ASSERT_EQ(graph.Seeking()->GetDuration(&duration), S_OK);
  for (LONGLONG target : {duration / 2, duration - 1, LONGLONG{0}}) {
    LONGLONG stop = duration;
    ASSERT_GE(
        graph.Seeking()->SetPositions(&target, AM_SEEKING_AbsolutePositioning, &stop, AM_SEEKING_AbsolutePositioning),
        S_OK);
    std::vector<int> before;
    for (const auto& renderer : graph.Renderers()) before.push_back(renderer->Count("sample"));
    graph.PlayToEnd();
    for (std::size_t pin = 0; pin < before.size(); ++pin) {
      EXPECT_GT(graph.Renderers()[pin]->Count("sample"), before[pin]) << target << " pin " << pin;
    }
  }
}

TEST_F(CompleteComponentTest, BothComponentsPlayInOneProcess) {
  const MediaCopy first("dts_ac3_eac3.mka", "first.mka");
  const MediaCopy second("dts_ac3_eac3.mka", "second.mka");
  RealGraph plain;
  CompleteGraph complete;
  ASSERT_EQ(plain.Open(first.Path()), S_OK);
  ASSERT_EQ(complete.Open(second.Path()), S_OK);
  EXPECT_EQ(plain.PinCount(), 3);
  EXPECT_EQ(complete.PinCount(), 4);
  plain.AddRenderers();
  complete.AddRenderers();
  plain.Run();
  complete.PlayToEnd();
  plain.WaitForEvent(EC_COMPLETE);
  plain.Stop();
  for (RealGraph* graph : {&plain, static_cast<RealGraph*>(&complete)}) {
    for (const auto& renderer : graph->Renderers()) EXPECT_EQ(renderer->Count("end"), 1);
  }
  plain.Close();
  EXPECT_FALSE(CompleteComponent().CanUnloadNow());
  EXPECT_TRUE(TestedComponent().CanUnloadNow());
}

TEST_F(CompleteComponentTest, EachIsFoundUnderItsOwnNameAndClass) {
  CompleteGraph graph;
  CLSID classId = {};
  ASSERT_EQ(graph.Demultiplexer()->GetClassID(&classId), S_OK);
  EXPECT_TRUE(IsEqualGUID(classId, kMkvDmxComplete.classId));
  ComPtr<IDispatch> dispatch;
  EXPECT_EQ(graph.Demultiplexer()->QueryInterface(kMkvDmxComplete.interfaceId, dispatch.Void()), S_OK);
  ComPtr<IDispatch> foreign;
  EXPECT_EQ(graph.Demultiplexer()->QueryInterface(kMkvDmx.interfaceId, foreign.Void()), E_NOINTERFACE);
}

}  // namespace complete_component

}  // namespace
}  // namespace vantor::test
