#include "filter/active_seek.h"

#include <thread>

namespace vantor::test {

std::vector<TimedCluster> NumberedClusters() {
  std::vector<TimedCluster> clusters;
  for (std::uint8_t c = 0; c < kBlocks / 2; ++c) {
    TimedCluster cluster{c * 100u, {}};
    for (const std::uint8_t half : {0, 1}) {
      const auto number = static_cast<std::uint8_t>(2 * c + half);
      for (const std::uint8_t track : {1, 2, 3}) {
        const bool key = track != 1 || half == 0;
        cluster.blocks.push_back(SimpleBlock(track, half * 50, key ? kKey : 0, {track, number}));
      }
    }
    clusters.push_back(cluster);
  }
  return clusters;
}

std::vector<Raw> NumberedTracks() {
  return {VideoTrack(1, 16, 16, {UInt(0x23E383, 40000000)}), AudioTrack(2), AudioTrack(3)};
}

void CallRecord::Add(int pin, const std::string& call) {
  const std::lock_guard<std::mutex> hold(lock_);
  calls_.emplace_back(pin, call);
}

std::vector<std::string> CallRecord::All(std::size_t mark) const {
  const std::lock_guard<std::mutex> hold(lock_);
  std::vector<std::string> all;
  for (std::size_t i = mark; i < calls_.size(); ++i) {
    all.push_back(std::to_string(calls_[i].first) + " " + calls_[i].second);
  }
  return all;
}

std::vector<std::string> CallRecord::Of(int pin, std::size_t mark) const {
  const std::lock_guard<std::mutex> hold(lock_);
  std::vector<std::string> calls;
  for (std::size_t i = mark; i < calls_.size(); ++i) {
    if (calls_[i].first == pin) calls.push_back(calls_[i].second);
  }
  return calls;
}

std::size_t CallRecord::Mark() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return calls_.size();
}

std::size_t CallRecord::Count(const std::string& call) const {
  const std::lock_guard<std::mutex> hold(lock_);
  std::size_t count = 0;
  for (const auto& entry : calls_) count += entry.second == call ? 1 : 0;
  return count;
}

HoldingSink::HoldingSink(int pinNumber, const CVXMkvDmxOutputPin& pin, CallRecord& record)
    : number(pinNumber), sink(FakeSink::Create()), pin_(pin), record_(record) {
  sink->onReceive = [this](IMediaSample* sample) { return Receive(sample); };
  sink->onCall = [this](const std::string& call) { Called(call); };
}

void HoldingSink::HoldAt(int sample) {
  const std::lock_guard<std::mutex> hold(lock_);
  holdAt_ = sample;
}

void HoldingSink::HoldSegments(bool hold) {
  const std::lock_guard<std::mutex> lock(lock_);
  holdSegments_ = hold;
}

void HoldingSink::WaitUntilHeld() {
  std::unique_lock<std::mutex> lock(lock_);
  changed_.wait(lock, [this] { return holding_; });
}

void HoldingSink::WaitForEnds(int count) {
  std::unique_lock<std::mutex> lock(lock_);
  changed_.wait(lock, [&] { return ends_ >= count; });
}

bool HoldingSink::IsHolding() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return holding_;
}

void HoldingSink::LetGo() {
  {
    const std::lock_guard<std::mutex> hold(lock_);
    letGo_ = true;
  }
  changed_.notify_all();
}

HRESULT HoldingSink::Receive(IMediaSample* sample) {
  BYTE* data = nullptr;
  sample->GetPointer(&data);
  record_.Add(number, "sample " + std::to_string(data[1]));
  std::unique_lock<std::mutex> lock(lock_);
  const int index = samples_++;
  if (onSample) {
    lock.unlock();
    onSample(index);
    lock.lock();
  }
  if (index == holdAt_) Hold(lock);
  return flushing_ ? S_FALSE : S_OK;
}

void HoldingSink::Called(const std::string& call) {
  if (call == "sample" || call == "active") return;
  std::unique_lock<std::mutex> lock(lock_);
  if (call == "end") {
    if (flushing_) return;
    ++ends_;
  }
  record_.Add(number, call);
  if (call == "begin flush") flushing_ = true;
  if (call == "end flush") flushing_ = false;
  if (call.rfind("segment", 0) == 0) {
    samples_ = 0;
    if (holdSegments_) Hold(lock);
  }
  changed_.notify_all();
}

void HoldingSink::Hold(std::unique_lock<std::mutex>& lock) {
  if (letGo_) return;
  holding_ = true;
  changed_.notify_all();
  changed_.wait(lock, [this] { return flushing_ || letGo_; });
  while (!letGo_ && !IsWorkerAsked(pin_)) {
    lock.unlock();
    std::this_thread::yield();
    lock.lock();
  }
  holding_ = false;
}

ActiveSeek::ActiveSeek(const Raw& file, const std::vector<int>& pins) : demux(file) {
  EXPECT_EQ(demux.Connect(), S_OK);
  for (const int pin : pins) {
    sinks.push_back(std::make_unique<HoldingSink>(pin, *demux.Pin(pin).Get(), record));
    demux.AddSink(pin, sinks.back()->sink);
  }
}

ActiveSeek::~ActiveSeek() {
  LetGo();
  demux.Close();
}

HoldingSink& ActiveSeek::Sink(int pin) {
  for (const auto& sink : sinks) {
    if (sink->number == pin) return *sink;
  }
  ADD_FAILURE() << "no sink on pin " << pin;
  return *sinks.front();
}

void ActiveSeek::HoldAt(int sample) {
  for (const auto& sink : sinks) sink->HoldAt(sample);
}

void ActiveSeek::HoldSegments(bool hold) {
  for (const auto& sink : sinks) sink->HoldSegments(hold);
}

void ActiveSeek::Start(FILTER_STATE state) {
  if (state == State_Stopped) return;
  EXPECT_EQ(state == State_Running ? demux.Run() : demux.Pause(), S_OK);
}

void ActiveSeek::WaitUntilHeld() {
  for (const auto& sink : sinks) sink->WaitUntilHeld();
}

void ActiveSeek::LetGo() {
  for (const auto& sink : sinks) sink->LetGo();
}

void ActiveSeek::WaitForEnds(int count) {
  for (const auto& sink : sinks) sink->WaitForEnds(count);
}

void ActiveSeek::PlayOut(int ends) {
  LetGo();
  WaitForEnds(ends);
  EXPECT_EQ(demux.Stop(), S_OK);
}

std::pair<std::int64_t, std::int64_t> ActiveSeek::Positions() {
  LONGLONG current = -1;
  LONGLONG stop = -1;
  EXPECT_EQ(demux.Filter().GetPositions(&current, &stop), S_OK);
  return {current, stop};
}

std::string SegmentCall(std::int64_t start, std::int64_t stop, int rate) {
  return "segment " + std::to_string(start) + "-" + std::to_string(stop) + " x" + std::to_string(rate);
}

std::vector<std::string> SampleCalls(int first, int last) {
  std::vector<std::string> calls;
  for (int i = first; i <= last; ++i) calls.push_back("sample " + std::to_string(i));
  return calls;
}

std::vector<std::string> Chain(const std::vector<std::vector<std::string>>& lists) {
  std::vector<std::string> all;
  for (const auto& list : lists) all.insert(all.end(), list.begin(), list.end());
  return all;
}

}  // namespace vantor::test
