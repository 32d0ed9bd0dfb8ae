// How it works. Everything that a cell may leave behind is undone by one way for all: reader and sinks behave again,
// the filter is stopped until that succeeds, and what is no longer connected is connected anew. Calls that answer
// VFW_E_TIMEOUT because a worker has not come home yet are made again; the watchdog of the test bounds that.
//
// The calls of the scene's threads are spared by the source: when a seek meets the stubborn place itself, before its
// worker does, nobody is left to let it go.
#include "support/control_scene.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "platform/platform.h"
#include "support/control_file.h"
#include "support/filter_calls.h"

namespace vantor::test {

namespace {

constexpr std::size_t kMostComplaints = 4;

std::string Hex(HRESULT result) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text = "0x";
  for (int shift = 28; shift >= 0; shift -= 4) {
    text.push_back(kDigits[static_cast<std::uint32_t>(result) >> static_cast<unsigned>(shift) & 15U]);
  }
  return text;
}

bool IsOnAWorker(Callback where) { return where != Callback::kBeginFlush && where != Callback::kEndFlush; }

ULONG References(IUnknown* object) {
  object->AddRef();
  return object->Release();
}

// Makes a call until it no longer has to wait for a worker that was given up.
template <typename Call>
HRESULT UntilInTime(const Call& call) {
  HRESULT result = call();
  for (; result == VFW_E_TIMEOUT; result = call()) SleepMilliseconds(1);
  return result;
}

}  // namespace

ControlScene::ControlScene(const ControlCell& cell, ComPtr<IFilterGraph> graph, MakeFilter makeFilter)
    : cell_(cell),
      graph_(std::move(graph)),
      makeFilter_(std::move(makeFilter)),
      reader_(StubbornReader::Create(ControlFile::Get().bytes)),
      source_(FakeSource::Create(reader_.Get())),
      sinks_{MisbehavingSink::Create(), MisbehavingSink::Create()} {
  graph_->QueryInterface(IID_IMediaControl, control_.Void());
  graph_->AddFilter(source_.Get(), OLESTR("Source"));
  graph_->AddFilter(sinks_[0].Get(), OLESTR("Misbehaving sink"));
  graph_->AddFilter(sinks_[1].Get(), OLESTR("Good sink"));
}

std::string ControlScene::Stage() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return round_ + stage_;
}

void ControlScene::Enter(const std::string& stage) {
  const std::lock_guard<std::mutex> hold(lock_);
  stage_ = stage;
}

void ControlScene::Complain(const std::string& text) {
  const std::lock_guard<std::mutex> hold(lock_);
  if (complaints_.size() < kMostComplaints) complaints_.push_back(round_ + stage_ + ": " + text);
}

// A source that blocks may outlast every step; a sink that keeps all buffers yields to a later step than the first,
// and the steps are short.
bool ControlScene::MayTimeOut() const {
  return cell_.source == Stubbornness::kBlocksUntilFlushed || cell_.source == Stubbornness::kBlocksUntilLetGo ||
         cell_.hold == Hold::kEverySample;
}

void ControlScene::Expect(const std::string& call, HRESULT result, std::initializer_list<HRESULT> allowed) {
  if (std::find(allowed.begin(), allowed.end(), result) != allowed.end()) return;
  if (result == VFW_E_TIMEOUT && MayTimeOut()) return;
  Complain(call + " gave " + Hex(result));
}

void ControlScene::ExpectState(IBaseFilter* filter, FILTER_STATE expected) {
  FILTER_STATE state = State_Stopped;
  if (FAILED(filter->GetState(0, &state)) || state != expected) Complain("the state is " + std::to_string(state));
}

std::vector<std::string> ControlScene::Play() {
  for (const std::size_t stubbornTrack : {1U, 0U}) {
    {
      const std::lock_guard<std::mutex> hold(lock_);
      if (!complaints_.empty()) break;
      round_ = stubbornTrack == 1 ? "first round, " : "second round, ";
    }
    PlayRound(stubbornTrack);
  }
  Enter("closing");
  Close();
  const std::lock_guard<std::mutex> hold(lock_);
  return complaints_;
}

void ControlScene::PlayRound(std::size_t stubbornTrack) {
  Enter("connecting");
  if (!Connect()) return;
  Misbehave(stubbornTrack);
  Enter("starting");
  const HRESULT started = Start();
  if (FAILED(started)) return Complain("gave " + Hex(started));
  Enter("coming to rest");
  while (!IsQuiet(stubbornTrack)) SleepMilliseconds(1);
  MakeCalls();
  Enter("letting go");
  LetGo();
  Enter("playing right");
  PlayRight();
}

void ControlScene::Misbehave(std::size_t stubbornTrack) {
  Misbehaviour how;
  how.hold = cell_.hold;
  how.where = cell_.where;
  if (cell_.action != Action::kNone) how.action = [this](Callback where, IPin* peer) { Act(where, peer); };
  sinks_[0]->Misbehave(std::move(how));
  sinks_[1]->Behave();
  reader_->Arm(cell_.source, ControlFile::Get().secondBlock[stubbornTrack]);
}

// From the file's beginning: two seeks, since the first may go where the filter is already.
HRESULT ControlScene::Start() {
  for (const LONGLONG time : {LONGLONG{10000}, LONGLONG{0}}) {
    const HRESULT sought = UntilInTime([&] { return SeekTo(filter_.Get(), time); });
    if (FAILED(sought)) return sought;
  }
  if (control_) return control_->Run();
  return UntilInTime([&] {
    // Each time: what a late worker had under way until now is not of this run.
    for (const auto& sink : sinks_) sink->Run(0);
    return filter_->Run(0);
  });
}

// Whether the calls shall come now. A source that is stubborn at the other track is met in any case.
bool ControlScene::IsQuiet(std::size_t stubbornTrack) const {
  if (stubbornTrack == 0) return reader_->Held() != 0 || IsSinkAtRest();
  return (cell_.source == Stubbornness::kNone || reader_->IsEngaged()) && IsSinkAtRest();
}

bool ControlScene::IsSinkAtRest() const {
  const MisbehavingSink& sink = *sinks_[0];
  if (sink.Ends() != 0) return true;
  if (cell_.hold == Hold::kTheCall) return sink.IsHolding();
  // Both buffers: the worker waits for a third.
  if (cell_.hold == Hold::kEverySample) return sink.Kept() >= 2;
  return cell_.where != Callback::kEndOfStream && !sink.Played().empty();
}

void ControlScene::MakeCalls() {
  // Each thread holds the filter for as long as it calls it.
  ComPtr<IBaseFilter> mine = filter_;
  ComPtr<IBaseFilter> others = IsAlone() ? nullptr : filter_;
  if (cell_.call == ControlCall::kRelease || cell_.other == ControlCall::kRelease) {
    Enter("leaving the graph");
    if (LeaveGraph()) filter_.Reset();
  }
  Enter(NameOf(cell_.call) + (IsAlone() ? "" : " beside " + NameOf(*cell_.other)));
  std::thread second;
  if (!IsAlone()) {
    second = std::thread([this, &others] { Make(*cell_.other, std::move(others)); });
  }
  Make(cell_.call, std::move(mine));
  if (second.joinable()) {
    Enter("the call of the second thread: " + NameOf(*cell_.other));
    second.join();
  }
  CheckFlushes();
}

// What a call lets go by a flush, it flushes no longer than it lasts. The flush of a seek is another matter: a
// neighbour that stops the filter, or goes away, from inside it ends it so, for all sinks, and until they are stopped
// themselves the next flush is one inside it.
void ControlScene::CheckFlushes() {
  const bool seeksMayBeCut = cell_.action != Action::kNone && cell_.action != Action::kAsks;
  const auto mayLeaveOne = [&](ControlCall call) {
    return call == ControlCall::kRelease || (call == ControlCall::kSeek && seeksMayBeCut);
  };
  if (mayLeaveOne(cell_.call) || (cell_.other && mayLeaveOne(*cell_.other))) return;
  for (const auto& sink : sinks_) {
    const std::string fault = sink->FaultOfFlushes();
    if (!fault.empty()) Complain("a sink saw " + fault);
  }
  const std::string fault = reader_->FaultOfFlushes();
  if (!fault.empty()) Complain("the source saw " + fault);
}

// A graph may insist on a filter being stopped and disconnected first; one with a late worker then stays.
bool ControlScene::LeaveGraph() {
  HRESULT left = graph_->RemoveFilter(filter_.Get());
  if (left == VFW_E_NOT_STOPPED) {
    filter_->Stop();
    left = graph_->RemoveFilter(filter_.Get());
  }
  return SUCCEEDED(left);
}

void ControlScene::Make(ControlCall call, ComPtr<IBaseFilter> filter) {
  switch (call) {
    case ControlCall::kRelease:
      // The references of the neighbours go first: this one shall be the last.
      ForgetAll();
      filter.Reset();
      break;
    case ControlCall::kSeek:
      Seek(filter.Get());
      break;
    case ControlCall::kDisconnectInput:
    case ControlCall::kDisconnectOutput:
      Disconnect(call, filter.Get());
      break;
    default:
      MakeStateCall(call, filter.Get());
      break;
  }
}

void ControlScene::MakeStateCall(ControlCall call, IBaseFilter* filter) {
  const HRESULT result = call == ControlCall::kStop    ? filter->Stop()
                         : call == ControlCall::kPause ? filter->Pause()
                                                       : filter->Run(0);
  Expect(NameOf(call), result, {S_OK});
  if (!IsAlone()) return;
  const FILTER_STATE expected = call == ControlCall::kStop    ? State_Stopped
                                : call == ControlCall::kPause ? State_Paused
                                                              : State_Running;
  if (SUCCEEDED(result) || call == ControlCall::kStop) ExpectState(filter, expected);
}

void ControlScene::Seek(IBaseFilter* filter) {
  const LONGLONG target = ControlFile::Get().seekTarget;
  LONGLONG settled = 0;
  const HRESULT result = SeekTo(filter, target, &settled);
  Expect("SetPositions", result, {S_OK});
  // An action in between may have gone elsewhere, or taken the file away.
  const bool isUndisturbed = IsAlone() && (cell_.action == Action::kNone || cell_.action == Action::kAsks);
  if (isUndisturbed && result == S_OK && settled != target) {
    Complain("SetPositions settled on " + std::to_string(settled));
  }
}

void ControlScene::Disconnect(ControlCall call, IBaseFilter* filter) {
  const bool isInput = call == ControlCall::kDisconnectInput;
  const ComPtr<IPin> pin = isInput ? InputOf(filter) : OutputOf(filter, 1);
  if (!pin) return IsAlone() ? Complain("no such pin") : void();
  const HRESULT early = pin->Disconnect();
  if (IsAlone() && early != VFW_E_NOT_STOPPED) Complain("Disconnect while it streams gave " + Hex(early));
  const HRESULT stopped = filter->Stop();
  Expect("Stop", stopped, {S_OK});
  if (IsAlone()) ExpectState(filter, State_Stopped);
  const HRESULT result = pin->Disconnect();
  const HRESULT restarted = IsAlone() ? S_OK : VFW_E_NOT_STOPPED;
  Expect("Disconnect", result, {S_OK, S_FALSE, restarted});
  if (result == VFW_E_TIMEOUT && !NeighbourOf(pin.Get()))
    Complain("a Disconnect that ran out of time has disconnected");
  if (result != S_OK) return;
  if (isInput) source_->Forget();
  if (!isInput) sinks_[0]->Forget();
}

void ControlScene::Act(Callback where, IPin* peer) {
  std::vector<HRESULT> results;
  switch (cell_.action) {
    case Action::kControls:
      results = ControlEverything(peer, sinks_[0]->Pin(), false);
      break;
    case Action::kStops:
      results = {StopFilterOf(peer)};
      break;
    case Action::kDisconnectsInput:
      results = StopAndDisconnectInputOf(peer);
      break;
    case Action::kDisconnectsPin:
      results = StopAndDisconnect(peer);
      if (results.back() == S_OK) sinks_[0]->Forget();
      break;
    default:
      AskEverything(peer);
      break;
  }
  if (!IsOnAWorker(where)) return;
  for (const HRESULT result : results) {
    if (result != VFW_E_WRONG_STATE) Complain("a control call on a worker gave " + Hex(result));
  }
}

void ControlScene::LetGo() {
  reader_->Behave();
  for (const auto& sink : sinks_) sink->Behave();
  StopAll();
  if (filter_ && control_) {
    // A graph that was refused once takes itself for running all the same: late workers come home before.
    UntilInTime([&] { return filter_->Pause(); });
    filter_->Stop();
  }
  CheckFlushes();
  if (filter_) return;
  // A filter that was released with a late worker takes leave of its neighbours at the very end: they cannot be
  // another's before that.
  Enter("waiting for the released filter to end");
  WaitForReader(2);
}

// Whoever was left to himself holds the reader until he ends. The scene and its source have a reference each.
void ControlScene::WaitForReader(ULONG references) const {
  while (References(static_cast<IAsyncReader*>(reader_.Get())) > references) SleepMilliseconds(1);
}

void ControlScene::StopAll() {
  if (control_) UntilInTime([&] { return control_->Stop(); });
  if (filter_) Expect("Stop", UntilInTime([&] { return filter_->Stop(); }), {S_OK});
  for (const auto& sink : sinks_) sink->Stop();
  source_->Stop();
}

void ControlScene::PlayRight() {
  if (!Connect()) return;
  for (const auto& sink : sinks_) sink->Behave();
  const HRESULT started = Start();
  if (FAILED(started)) return Complain("Run gave " + Hex(started));
  for (const auto& sink : sinks_) {
    while (sink->Ends() == 0) SleepMilliseconds(1);
  }
  Enter("stopping after the second run");
  StopAll();
  const ControlFile& file = ControlFile::Get();
  for (std::size_t i = 0; i < sinks_.size(); ++i) {
    const std::vector<Raw> played = sinks_[i]->Played();
    if (played != file.frames[i]) {
      Complain("track " + std::to_string(i + 1) + " played " + std::to_string(played.size()) + " frames of " +
               std::to_string(file.frames[i].size()) + ", not all as they are");
    }
    if (sinks_[i]->Ends() != 1) Complain("track " + std::to_string(i + 1) + " ended more than once");
    const std::string fault = sinks_[i]->FaultOfFlushes();
    if (!fault.empty()) Complain("track " + std::to_string(i + 1) + " saw " + fault);
  }
  const std::string fault = reader_->FaultOfFlushes();
  if (!fault.empty()) Complain("the source saw " + fault);
}

bool ControlScene::Connect() {
  if (!filter_) {
    filter_ = makeFilter_();
    graph_->AddFilter(filter_.Get(), OLESTR("Demultiplexer"));
  }
  const ComPtr<IPin> input = InputOf(filter_.Get());
  if (!NeighbourOf(input.Get())) {
    ForgetAll();
    const HRESULT result =
        UntilInTime([&] { return graph_->ConnectDirect(source_->Pin(), input.Get(), &source_->type); });
    if (FAILED(result)) return Complain("connecting the input gave " + Hex(result)), false;
  }
  for (int i = 0; i < 2; ++i) {
    const ComPtr<IPin> pin = OutputOf(filter_.Get(), i + 1);
    MisbehavingSink& sink = *sinks_[static_cast<std::size_t>(i)];
    if (!pin) return Complain("a pin is missing"), false;
    if (NeighbourOf(pin.Get())) continue;
    sink.Forget();
    const HRESULT result = UntilInTime([&] { return graph_->ConnectDirect(pin.Get(), sink.Pin(), nullptr); });
    if (FAILED(result)) return Complain("connecting an output gave " + Hex(result)), false;
  }
  return true;
}

void ControlScene::ForgetAll() {
  for (const auto& sink : sinks_) sink->Forget();
  source_->Forget();
}

void ControlScene::Close() {
  LetGo();
  if (filter_) {
    UntilInTime([&] { return InputOf(filter_.Get())->Disconnect(); });
    ForgetAll();
    if (!LeaveGraph()) Complain("the filter does not leave the graph");
  }
  ForgetAll();
  filter_.Reset();
  for (const auto& sink : sinks_) graph_->RemoveFilter(sink.Get());
  graph_->RemoveFilter(source_.Get());
  source_.Reset();
  Enter("waiting for the last reference to the reader");
  WaitForReader(1);
}

}  // namespace vantor::test
