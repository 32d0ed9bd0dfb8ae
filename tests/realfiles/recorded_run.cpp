#include "realfiles/recorded_run.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <utility>

#include "realfiles/packet_list.h"

namespace vantor::test {

namespace {

constexpr std::array<std::uint32_t, 256> MakeCrcTable() {
  std::array<std::uint32_t, 256> table = {};
  for (std::uint32_t index = 0; index < table.size(); ++index) {
    std::uint32_t value = index;
    for (int bit = 0; bit < 8; ++bit) {
      value = (value & 1) != 0 ? value >> 1 ^ 0xEDB88320U : value >> 1;
    }
    table[index] = value;
  }
  return table;
}

std::uint32_t Crc32(const BYTE* bytes, std::size_t size) {
  static constexpr std::array<std::uint32_t, 256> kTable = MakeCrcTable();
  std::uint32_t crc = 0xFFFFFFFFU;
  for (std::size_t index = 0; index < size; ++index) {
    crc = crc >> 8 ^ kTable[(crc ^ bytes[index]) & 0xFF];
  }
  return ~crc;
}

class Recorder final : public SampleListener {
 public:
  explicit Recorder(RecordedPin& record) : record_(record) {}

  void OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept override {
    record_.segments.push_back({start, stop, rate});
    open_ = true;
  }

  HRESULT OnSample(IMediaSample* sample) noexcept override {
    ExpectedSample seen;
    BYTE* bytes = nullptr;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    if (FAILED(sample->GetPointer(&bytes)) || sample->GetTime(&start, &stop) != S_OK) {
      return E_UNEXPECTED;
    }
    seen.start = start;
    seen.stop = stop;
    seen.sync = sample->IsSyncPoint() == S_OK;
    seen.discontinuity = sample->IsDiscontinuity() == S_OK;
    seen.preroll = sample->IsPreroll() == S_OK;
    seen.size = static_cast<std::uint32_t>(sample->GetActualDataLength());
    seen.crc32 = Crc32(bytes, seen.size);
    record_.samples.push_back(seen);
    record_.sampleOutsideStream |= !open_;
    return S_OK;
  }

  void OnEndOfStream() noexcept override {
    ++record_.ends;
    open_ = false;
  }

 private:
  RecordedPin& record_;
  bool open_ = false;
};

// Names of the test media are plain ASCII; another character shows as a question mark.
std::string Plain(const WideString& wide) {
  std::string text;
  for (const WCHAR letter : wide) {
    text.push_back(letter < 0x80 ? static_cast<char>(letter) : '?');
  }
  return text;
}

int CountPins(IBaseFilter* filter) {
  ComPtr<IEnumPins> pins;
  if (FAILED(filter->EnumPins(pins.Out()))) {
    return -1;
  }
  int count = 0;
  for (ComPtr<IPin> pin; pins->Next(1, pin.Out(), nullptr) == S_OK;) {
    ++count;
  }
  return count;
}

void Play(Graph& graph, RecordedRun& run) {
  ASSERT_EQ(ConnectRecorders(graph, run.pins), S_OK);
  if (const ComPtr<IMediaSeeking> seeking = graph.Seeking()) {
    EXPECT_EQ(seeking->GetDuration(&run.duration), S_OK);
  }
  ASSERT_GE(graph.Run(), S_OK);
  EXPECT_EQ(graph.Wait(), WaitResult::kEnded);
  EXPECT_GE(graph.Stop(), S_OK);
  for (const RecordedPin& pin : run.pins) {
    EXPECT_EQ(pin.ends, 1) << pin.name;
    EXPECT_EQ(pin.segments.size(), 1U) << pin.name;
    EXPECT_FALSE(pin.sampleOutsideStream) << pin.name;
  }
}

}  // namespace

const Component& TestedComponent() {
  static const std::unique_ptr<Component> component = [] {
    std::string error;
    std::unique_ptr<Component> loaded = Component::LoadBesideProgram(error);
    if (!loaded) {
      std::cerr << "the component cannot be loaded: " << error << '\n';
      std::abort();
    }
    return loaded;
  }();
  return *component;
}

std::shared_ptr<SampleListener> MakeRecorder(RecordedPin& record) { return std::make_shared<Recorder>(record); }

HRESULT ConnectRecorders(Graph& graph, std::vector<RecordedPin>& pins) {
  pins.assign(graph.Pins().size(), {});
  std::size_t next = 0;
  return graph.ConnectSinks([&](const GraphPin& pin) {
    RecordedPin& record = pins[next++];
    record.name = Plain(pin.name);
    if (!pin.types.empty() && pin.types.front().pbFormat != nullptr) {
      const CMediaType& type = pin.types.front();
      record.formatBlock.assign(type.pbFormat, type.pbFormat + type.cbFormat);
    }
    return MakeRecorder(record);
  });
}

RecordedRun Record(std::shared_ptr<ByteStore> bytes) {
  RecordedRun run;
  ComPtr<IBaseFilter> filter;
  {
    Graph graph;
    EXPECT_EQ(graph.Create(TestedComponent()), S_OK);
    filter = ComPtr<IBaseFilter>(graph.Splitter());
    run.connect = graph.ConnectInput(std::move(bytes), OLESTR("test.mkv"));
    if (SUCCEEDED(run.connect)) {
      Play(graph, run);
    } else {
      EXPECT_EQ(graph.PinCount(), 1) << "a refused file leaves the input pin alone";
    }
    for (const CountedEvent& counted : graph.Events()) {
      run.events.insert(run.events.end(), counted.count, counted.event.code);
    }
    run.reads = graph.Totals().reads;
    graph.Close();
  }
  EXPECT_EQ(CountPins(filter.Get()), 1) << "the output pins go with the connection";
  filter.Reset();
  EXPECT_TRUE(TestedComponent().CanUnloadNow()) << "an object of the component is left";
  return run;
}

std::vector<unsigned char> ReadMedia(const std::string& name) {
  std::ifstream file(MediaPath(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace vantor::test
