// Arbitrary bytes through the whole chain: a byte source, the filter, a sink behind every pin, played to the end of all
// streams, sought as the input's last bytes say, stopped and taken apart. As they say, too, switches of the filter are
// on, and reads fail: one, or all from one on, as of a file that is cut while it plays.
//
// Besides what the sanitizers find: every sample lies in its buffer, memory stays in proportion to the input, fonts
// that were installed are removed, and in the end no object is alive.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "baseclasses/unknown.h"
#include "filter/mkv_filter.h"
#include "fuzz/drawn_policy.h"
#include "fuzz/expect.h"
#include "fuzz/fault_plan.h"
#include "fuzz/heap_bound.h"
#include "host/graph.h"
#include "platform/com_ptr.h"
#include "platform/font_functions.h"

namespace vantor::fuzz {

namespace {

// What is played of an input, so that every input is done in a fraction of a second: pins, and samples of all of them
// in each run.
constexpr std::size_t kPins = 32;
constexpr std::uint64_t kSamples = 20000;

std::atomic<unsigned> byteSum{0};
void Touch(const void* bytes, std::size_t size) {
  unsigned sum = 0;
  for (const std::uint8_t byte : std::span(static_cast<const std::uint8_t*>(bytes), size)) sum += byte;
  byteSum.store(sum, std::memory_order_relaxed);
}

// Fonts that are installed nowhere. Every second font in memory is refused, and goes through a file then.
std::atomic<int> fontsInstalled{0};
std::atomic<int> fontsOffered{0};
HANDLE WINAPI AddFontInMemory(void* data, DWORD size, void*, DWORD* count) {
  Touch(data, size);
  if (++fontsOffered % 2 == 0) return nullptr;
  if (count != nullptr) *count = 1;
  ++fontsInstalled;
  return &fontsInstalled;
}
BOOL WINAPI RemoveFontInMemory(HANDLE) { return --fontsInstalled >= 0; }
int WINAPI AddFontFile(const char*, DWORD, void*) { return ++fontsInstalled > 0 ? 1 : 0; }
BOOL WINAPI RemoveFontFile(const char*, DWORD, void*) { return --fontsInstalled >= 0; }
BOOL WINAPI MoveFontFile(const char*, const char*, DWORD) { return TRUE; }

class NoFiles final : public platform::TemporaryFiles {
 public:
  bool MakeName(const char* prefix, std::string& name) override {
    name = prefix;
    return true;
  }
  bool Write(const std::string&, const void* data, std::size_t size) override {
    Touch(data, size);
    return true;
  }
  bool Delete(const std::string&) override { return true; }
};

class Listener final : public SampleListener {
 public:
  Listener(IPin* pin, std::uint64_t most) : pin_(pin), most_(most) {}

  void OnNewSegment(REFERENCE_TIME, REFERENCE_TIME, double) noexcept override { samples_ = 0; }

  HRESULT OnSample(IMediaSample* sample) noexcept override {
    BYTE* bytes = nullptr;
    const LONG length = sample->GetActualDataLength();
    Expect(SUCCEEDED(sample->GetPointer(&bytes)) && bytes != nullptr, "a sample has a buffer");
    Expect(length >= 0 && length <= sample->GetSize(), "a sample's bytes lie in its buffer");
    Touch(bytes, static_cast<std::size_t>(length));
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    Expect(sample->GetTime(&start, &stop) == S_OK, "a sample has its times");
    if (samples_ == 0) {
      // Downstream may ask back from inside Receive.
      AM_MEDIA_TYPE type = {};
      Expect(SUCCEEDED(pin_->ConnectionMediaType(&type)), "a connected pin has a media type");
      Touch(type.pbFormat, type.cbFormat);
      FreeMediaType(type);
    }
    return ++samples_ < most_ ? S_OK : S_FALSE;
  }

 private:
  IPin* const pin_;
  const std::uint64_t most_;
  std::uint64_t samples_ = 0;
};

// Bytes of which reads fail as planned; where one is to come short, the second half is missing from that read on.
class FailingStore final : public ByteStore {
 public:
  explicit FailingStore(std::span<const std::uint8_t> input)
      : bytes_(MakeMemoryStore(std::vector<unsigned char>(input.begin(), input.end()))), plan_(ReadFaultPlan(input)) {}

  std::int64_t Length() const noexcept override { return bytes_->Length(); }
  bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override {
    return !Fails(++reads_, position + static_cast<std::int64_t>(size)) && bytes_->Read(position, buffer, size);
  }

 private:
  bool Fails(std::uint64_t read, std::int64_t end) const {
    switch (plan_.kind) {
      case FaultPlan::Kind::kNone:
        break;
      case FaultPlan::Kind::kOneRead:
        return read == plan_.read;
      case FaultPlan::Kind::kAllFrom:
        return read >= plan_.read;
      case FaultPlan::Kind::kShortRead:
        return read >= plan_.read && end > Length() / 2;
    }
    return false;
  }

  const std::shared_ptr<ByteStore> bytes_;
  const FaultPlan plan_;
  std::atomic<std::uint64_t> reads_{0};
};

struct SeekPlan {
  enum class When { kStopped, kAtEnd, kWhileStreaming };
  When when;
  std::uint8_t place;  // 255ths of the duration
};

// The last bytes of the input: how many seeks, then two bytes for each.
std::vector<SeekPlan> ReadPlan(std::span<const std::uint8_t> input) {
  std::vector<SeekPlan> plan;
  if (input.empty()) return plan;
  const std::size_t count = std::min<std::size_t>(input.back() % 4, (input.size() - 1) / 2);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t* const at = input.data() + input.size() - 3 - 2 * i;
    plan.push_back({static_cast<SeekPlan::When>(at[0] % 3), at[1]});
  }
  return plan;
}

void SeekTo(Graph& graph, const SeekPlan& seek) {
  const ComPtr<IMediaSeeking> seeking = graph.Seeking();
  if (!seeking) return;
  LONGLONG duration = 0;
  seeking->GetDuration(&duration);
  LONGLONG target = duration / 255 * seek.place;
  LONGLONG stop = duration;
  seeking->SetPositions(&target, AM_SEEKING_AbsolutePositioning, &stop, AM_SEEKING_AbsolutePositioning);
}

void Play(Graph& graph, std::span<const std::uint8_t> input) {
  if (FAILED(graph.Run())) return;
  graph.Wait();
  for (const SeekPlan& seek : ReadPlan(input)) {
    if (seek.when != SeekPlan::When::kAtEnd) graph.Stop();
    if (seek.when == SeekPlan::When::kWhileStreaming && FAILED(graph.Run())) return;
    SeekTo(graph, seek);
    if (seek.when == SeekPlan::When::kStopped && FAILED(graph.Run())) return;
    graph.Wait();
  }
  graph.Stop();
}

ComPtr<IBaseFilter> MakeFilter(const PlaybackPolicy& policy) {
  static NoFiles files;
  static const platform::FontFunctions fonts = {AddFontInMemory, AddFontFile, RemoveFontInMemory, RemoveFontFile,
                                                MoveFontFile};
  HRESULT result = S_OK;
  auto* const filter = new CVXMkvDmx(nullptr, &result, fonts, files, {}, kMkvDmx, policy);
  Expect(SUCCEEDED(result), "the filter can be made");
  return ComPtr<IBaseFilter>(filter);
}

void PlayWhole(std::span<const std::uint8_t> input) {
  Graph graph;
  Expect(SUCCEEDED(graph.Adopt(MakeFilter(DrawPolicy(input)).Get())), "the filter joins a graph");
  if (FAILED(graph.ConnectInput(std::make_shared<FailingStore>(input), OLESTR("/no/such/folder/input.mkv")))) return;
  const auto pins = std::span(graph.Pins()).first(std::min(graph.Pins().size(), kPins));
  bool connected = false;
  for (GraphPin& pin : pins) {
    connected |= SUCCEEDED(graph.ConnectSink(pin, std::make_shared<Listener>(pin.pin.Get(), kSamples / pins.size())));
  }
  if (connected) Play(graph, input);
}

}  // namespace

}  // namespace vantor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vantor::fuzz;
  {
    const HeapBound bound(size);
    PlayWhole({data, size});
  }
  Expect(fontsInstalled == 0, "every font is removed");
  Expect(CBaseObject::ObjectsActive() == 0, "no object stays alive");
  return 0;
}
