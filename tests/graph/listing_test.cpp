// Every file of the test media, whole and after seeks: what arrives in the platform's graph, read by the platform's
// file reader and carried by its allocator, is what arrives in the embedded host.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "graph/real_graph.h"
#include "host/graph.h"
#include "realfiles/packet_list.h"
#include "realfiles/recorded_run.h"

namespace vantor::test {

namespace {

struct Range {
  LONGLONG start;
  LONGLONG stop;
};

HRESULT Seek(IMediaSeeking* seeking, Range range) {
  return seeking->SetPositions(&range.start, AM_SEEKING_AbsolutePositioning, &range.stop,
                               AM_SEEKING_AbsolutePositioning);
}

// The whole file, then each of the ranges, one after the other in one graph.
using Plays = std::vector<std::vector<RecordedPin>>;

void Clear(std::vector<RecordedPin>& pins) {
  for (RecordedPin& pin : pins) {
    pin.segments.clear();
    pin.samples.clear();
    pin.ends = 0;
    pin.sampleOutsideStream = false;
  }
}

std::vector<Range> RangesOf(LONGLONG duration) {
  return {{0, duration}, {duration / 4, duration / 2}, {duration / 2 + 1, duration}, {duration - 1, duration}};
}

Plays InEmbeddedHost(const WCHAR* path, LONGLONG& duration) {
  Plays plays;
  Graph graph;
  FileError error = FileError::kNone;
  EXPECT_EQ(graph.Create(TestedComponent()), S_OK);
  EXPECT_EQ(graph.ConnectInput(OpenStore(WideToUtf8(path), StoreKind::kFastest, error), path), S_OK);
  std::vector<RecordedPin> pins;
  EXPECT_EQ(ConnectRecorders(graph, pins), S_OK);
  EXPECT_EQ(graph.Seeking()->GetDuration(&duration), S_OK);
  for (const Range& range : RangesOf(duration)) {
    Clear(pins);
    EXPECT_EQ(Seek(graph.Seeking().Get(), range), S_OK);
    EXPECT_GE(graph.Run(), S_OK);
    EXPECT_EQ(graph.Wait(), WaitResult::kEnded);
    EXPECT_EQ(graph.Stop(), S_OK);
    plays.push_back(pins);
  }
  return plays;
}

Plays InPlatformGraph(const WCHAR* path) {
  Plays plays;
  RealGraph graph;
  EXPECT_EQ(graph.Open(path), S_OK);
  std::vector<RecordedPin> pins(static_cast<std::size_t>(graph.PinCount() - 1));
  for (std::size_t index = 0; index < pins.size(); ++index) {
    const int number = static_cast<int>(index) + 1;
    const ComPtr<Renderer> renderer = graph.AddLooseRenderer(MakeRecorder(pins[index]));
    // The allocator is the platform's, made by the splitter itself.
    renderer->allocatorResult = E_NOTIMPL;
    const ComPtr<IPin> pin = graph.Pin(number);
    EXPECT_EQ(graph->ConnectDirect(pin.Get(), renderer->Pin(), nullptr), S_OK);
    EXPECT_EQ(renderer->Pin()->AllocatorProperties().cBuffers, 2);
    pins[index].name = NameOf(pin.Get());
    AM_MEDIA_TYPE type = {};
    EXPECT_EQ(pin->ConnectionMediaType(&type), S_OK);
    if (type.pbFormat != nullptr) {
      pins[index].formatBlock.assign(type.pbFormat, type.pbFormat + type.cbFormat);
    }
    FreeMediaType(type);
  }
  ComPtr<IMediaSeeking> seeking;
  EXPECT_EQ(graph.Demultiplexer()->QueryInterface(IID_IMediaSeeking, seeking.Void()), S_OK);
  LONGLONG duration = 0;
  EXPECT_EQ(seeking->GetDuration(&duration), S_OK);
  for (const Range& range : RangesOf(duration)) {
    Clear(pins);
    EXPECT_EQ(Seek(seeking.Get(), range), S_OK);
    graph.PlayToEnd();
    plays.push_back(pins);
  }
  seeking.Reset();
  return plays;
}

void ExpectSame(const RecordedPin& native, const RecordedPin& seen) {
  EXPECT_EQ(seen.name, native.name);
  EXPECT_EQ(seen.formatBlock, native.formatBlock);
  EXPECT_TRUE(seen.segments == native.segments);
  EXPECT_EQ(seen.ends, native.ends);
  for (std::size_t index = 0; index < std::min(native.samples.size(), seen.samples.size()); ++index) {
    ASSERT_EQ(seen.samples[index], native.samples[index]) << "sample " << index;
  }
  EXPECT_EQ(seen.samples.size(), native.samples.size());
  EXPECT_FALSE(seen.sampleOutsideStream);
}

class Listing : public RealGraphTest, public testing::WithParamInterface<std::string> {};

TEST_P(Listing, IsTheSameInThePlatformsGraphWholeAndAfterSeeks) {
  const MediaCopy media(GetParam());
  LONGLONG duration = 0;
  const Plays native = InEmbeddedHost(media.Path(), duration);
  const Plays seen = InPlatformGraph(media.Path());
  const std::vector<Range> ranges = RangesOf(duration);
  ASSERT_EQ(seen.size(), native.size());
  std::size_t samples = 0;
  for (std::size_t play = 0; play < native.size(); ++play) {
    ASSERT_EQ(seen[play].size(), native[play].size());
    for (std::size_t pin = 0; pin < native[play].size(); ++pin) {
      SCOPED_TRACE(native[play][pin].name + ", from " + std::to_string(ranges[play].start) + " to " +
                   std::to_string(ranges[play].stop));
      ExpectSame(native[play][pin], seen[play][pin]);
      samples += seen[play][pin].samples.size();
    }
  }
  EXPECT_GT(samples, 0U);
}

INSTANTIATE_TEST_SUITE_P(Media, Listing, testing::ValuesIn(MediaNames()), [](const auto& media) {
  std::string name = media.param;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
});

}  // namespace
}  // namespace vantor::test
