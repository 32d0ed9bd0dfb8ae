#include "graph/faulted_player.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "support/watchdog.h"

namespace vantor::test {

FaultedPlayer::FaultedPlayer(const Component& component, Raw bytes)
    : graph_(component, kClsidMkvDmx),
      reader_(ComPtr<MemoryReader>::Adopt(MemoryReader::Create(std::move(bytes)))),
      source_(FakeSource::Create(reader_.Get())) {
  EXPECT_EQ(graph_->AddFilter(source_.Get(), L"Source"), S_OK);
}

FaultedPlayer::~FaultedPlayer() {
  graph_.Close();
  source_.Reset();
  EXPECT_EQ(reader_->References(), 0U) << "somebody holds the reader";
}

HRESULT FaultedPlayer::Connect() {
  const ComPtr<IPin> input = graph_.Pin(0);
  begin();
  const HRESULT hr = graph_->ConnectDirect(source_->Pin(), input.Get(), nullptr);
  end();
  const auto count = static_cast<std::size_t>(graph_.PinCount() - 1);
  if (FAILED(hr)) {
    EXPECT_EQ(count, 0U) << "a refused connection leaves output pins";
  }
  pins_.assign(std::min(count, mostPins), {});
  isConnected_.assign(pins_.size(), false);
  return hr;
}

void FaultedPlayer::Disconnect() {
  for (const ComPtr<Renderer>& renderer : graph_.Renderers()) {
    EXPECT_EQ(graph_->RemoveFilter(renderer.Get()), S_OK);
  }
  graph_.Renderers().clear();
  EXPECT_EQ(graph_->Disconnect(graph_.Pin(0).Get()), S_OK);
  EXPECT_EQ(graph_->Disconnect(source_->Pin()), S_OK);
  EXPECT_EQ(graph_.PinCount(), 1) << "the output pins go with the connection";
}

HRESULT FaultedPlayer::ConnectPins() {
  HRESULT result = S_OK;
  for (std::size_t index = 0; index < pins_.size(); ++index) {
    if (isConnected_[index]) {
      continue;
    }
    const ComPtr<IPin> pin = graph_.Pin(static_cast<int>(index) + 1);
    pins_[index].name = NameOf(pin.Get());
    const ComPtr<Renderer> renderer = graph_.AddLooseRenderer(MakeRecorder(pins_[index]));
    begin();
    const HRESULT hr = graph_->ConnectDirect(pin.Get(), renderer->Pin(), nullptr);
    end();
    isConnected_[index] = SUCCEEDED(hr);
    if (SUCCEEDED(hr)) {
      AM_MEDIA_TYPE type = {};
      EXPECT_EQ(pin->ConnectionMediaType(&type), S_OK);
      pins_[index].formatBlock.assign(type.pbFormat, type.pbFormat + type.cbFormat);
      FreeMediaType(type);
      continue;
    }
    EXPECT_FALSE(PeerOf(pin.Get())) << "a pin that failed is not connected";
    EXPECT_EQ(graph_->RemoveFilter(renderer.Get()), S_OK);
    graph_.Renderers().pop_back();
    result = SUCCEEDED(result) ? hr : result;
  }
  return result;
}

HRESULT FaultedPlayer::Seek(LONGLONG position) {
  ComPtr<IMediaSeeking> seeking;
  EXPECT_EQ(graph_.Demultiplexer()->QueryInterface(IID_IMediaSeeking, seeking.Void()), S_OK);
  begin();
  const HRESULT hr =
      seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning);
  end();
  return hr;
}

HRESULT FaultedPlayer::Rewind() {
  const HRESULT hr = Seek(Duration() / 2);
  return FAILED(hr) ? hr : Seek(0);
}

LONGLONG FaultedPlayer::Duration() {
  ComPtr<IMediaSeeking> seeking;
  EXPECT_EQ(graph_.Demultiplexer()->QueryInterface(IID_IMediaSeeking, seeking.Void()), S_OK);
  LONGLONG duration = 0;
  EXPECT_EQ(seeking->GetDuration(&duration), S_OK);
  return duration;
}

HRESULT FaultedPlayer::Play() {
  for (RecordedPin& pin : pins_) {
    pin.segments.clear();
    pin.samples.clear();
    pin.ends = 0;
    pin.sampleOutsideStream = false;
  }
  graph_.Events();
  events_.clear();
  if (pins_.empty()) {
    return S_FALSE;
  }
  const HRESULT hr = PlayPaused();
  bool isStopping = false;
  if (SUCCEEDED(hr)) {
    graph_.Run();
    graph_.WaitForEvent(EC_COMPLETE, &events_);
    for (const ComPtr<Renderer>& renderer : graph_.Renderers()) {
      renderer->onInactive = [&] {
        if (!std::exchange(isStopping, true)) {
          begin();
        }
      };
    }
    graph_.Stop();
    EXPECT_TRUE(isStopping);
    end();
    for (const ComPtr<Renderer>& renderer : graph_.Renderers()) {
      renderer->onInactive = nullptr;
    }
  }
  // A worker tells what ended its run after the end of its stream; the stop has waited for it.
  const std::vector<long> later = graph_.Events();
  events_.insert(events_.end(), later.begin(), later.end());
  return hr;
}

// The graph itself does not survive, or miscounts its renderers, when a filter has no memory to list its pins, and it
// lists them whenever it starts. So the test starts the filters for it, from the last to the first as a graph does, and
// lets the streams be played while they are paused. The graph finds them so.
HRESULT FaultedPlayer::PlayPaused() {
  const Watchdog watchdog("the end of every stream of a graph with a fault");
  for (const ComPtr<Renderer>& renderer : graph_.Renderers()) {
    EXPECT_GE(renderer->Pause(), S_OK);
  }
  std::vector<int> ends;
  for (const ComPtr<Renderer>& renderer : graph_.Renderers()) {
    ends.push_back(renderer->Count("end"));
  }
  begin();
  const HRESULT hr = graph_.Demultiplexer()->Pause();
  for (std::size_t index = 0; SUCCEEDED(hr) && index < ends.size(); ++index) {
    graph_.Renderers()[index]->WaitFor("end", ends[index] + 1);
  }
  if (FAILED(hr)) {
    EXPECT_EQ(graph_.Demultiplexer()->Stop(), S_OK);
  }
  end();
  for (const ComPtr<Renderer>& renderer : graph_.Renderers()) {
    if (FAILED(hr)) {
      EXPECT_EQ(renderer->Stop(), S_OK);
    }
  }
  return hr;
}

bool FaultedPlayer::ToldOfLoss() const {
  return std::any_of(events_.begin(), events_.end(), [](long code) {
    return code == EC_ERRORABORT || code == EC_STREAM_ERROR_STOPPED || code == EC_STREAM_ERROR_STILLPLAYING;
  });
}

FaultlessPlay PlayWithoutFault(const Component& component, const Raw& bytes, std::size_t mostPins) {
  FaultlessPlay play;
  FaultedPlayer player(component, bytes);
  player.mostPins = mostPins;
  EXPECT_EQ(player.Connect(), S_OK);
  EXPECT_EQ(player.ConnectPins(), S_OK);
  EXPECT_GE(player.Play(), S_OK);
  EXPECT_FALSE(player.ToldOfLoss());
  play.reads = player.Reader().Reads();
  play.pins = player.Pins();
  EXPECT_EQ(player.Seek(player.Duration() / 2), S_OK);
  EXPECT_GE(player.Play(), S_OK);
  play.fromTheMiddle = player.Pins();
  EXPECT_FALSE(play.pins.empty());
  for (const RecordedPin& pin : play.pins) {
    EXPECT_FALSE(pin.samples.empty()) << pin.name;
  }
  return play;
}

namespace {

// The samples that are none of the pin's, or out of their order.
int CountStrangers(const RecordedPin& whole, const RecordedPin& part, const SameSample& isSame) {
  int strangers = 0;
  auto next = whole.samples.begin();
  for (const ExpectedSample& sample : part.samples) {
    const auto found =
        std::find_if(next, whole.samples.end(), [&](const ExpectedSample& one) { return isSame(one, sample); });
    if (found == whole.samples.end()) {
      ++strangers;
    } else {
      next = found + 1;
    }
  }
  return strangers;
}

void ExpectOneStream(const RecordedPin& pin) {
  EXPECT_EQ(pin.ends, 1) << pin.name;
  EXPECT_EQ(pin.segments.size(), 1U) << pin.name;
  EXPECT_FALSE(pin.sampleOutsideStream) << pin.name;
}

}  // namespace

void ExpectPartOf(const std::vector<RecordedPin>& whole, const std::vector<RecordedPin>& part, const SameSample& isSame,
                  int strangers) {
  auto next = whole.begin();
  for (const RecordedPin& pin : part) {
    ExpectOneStream(pin);
    next = std::find_if(next, whole.end(),
                        [&](const RecordedPin& one) { return CountStrangers(one, pin, isSame) <= strangers; });
    ASSERT_NE(next, whole.end()) << pin.name << " has what no pin of the file has, or in another order";
    ++next;
  }
}

void ExpectWhole(const std::vector<RecordedPin>& whole, const std::vector<RecordedPin>& seen) {
  ASSERT_EQ(seen.size(), whole.size());
  for (std::size_t pin = 0; pin < whole.size(); ++pin) {
    SCOPED_TRACE(whole[pin].name);
    ExpectOneStream(seen[pin]);
    EXPECT_TRUE(seen[pin] == whole[pin]) << seen[pin].samples.size() << " samples of " << whole[pin].samples.size();
  }
}

std::vector<std::uint64_t> NumbersToTry(std::uint64_t count, std::uint64_t every) {
  std::vector<std::uint64_t> numbers;
  for (std::uint64_t number = 1; number <= count; number += number < every ? 1 : 1 + number / 7) {
    numbers.push_back(number);
  }
  // The last one, too.
  if (!numbers.empty() && numbers.back() != count) {
    numbers.push_back(count);
  }
  return numbers;
}

}  // namespace vantor::test
