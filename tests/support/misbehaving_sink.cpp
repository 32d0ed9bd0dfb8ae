#include "support/misbehaving_sink.h"

#include <utility>

namespace vantor::test {

namespace {

// An action that seeks leads to more flushes and samples, and each of them to the next action.
constexpr int kMostActs = 4;

thread_local bool isActing = false;

}  // namespace

STDMETHODIMP MisbehavingSinkPin::NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) {
  return Owner()->Pass(Callback::kNewSegment) ? S_OK : VFW_E_WRONG_STATE;
}

STDMETHODIMP MisbehavingSinkPin::Receive(IMediaSample* sample) {
  const HRESULT result = CBaseInputPin::Receive(sample);
  if (result != S_OK) return result;
  Owner()->Keep(sample);
  return Owner()->Pass(Callback::kReceive) ? S_OK : S_FALSE;
}

STDMETHODIMP MisbehavingSinkPin::EndOfStream() {
  if (CheckStreaming() != S_OK) return S_FALSE;
  Owner()->Pass(Callback::kEndOfStream);
  const std::lock_guard<std::mutex> hold(Owner()->lock_);
  ++Owner()->ends_;
  return S_OK;
}

STDMETHODIMP MisbehavingSinkPin::BeginFlush() {
  const HRESULT result = CBaseInputPin::BeginFlush();
  {
    const std::lock_guard<std::mutex> hold(Owner()->lock_);
    // A sink that seeks from inside a flush has asked for it.
    if (Owner()->openFlushes_ != 0 && !isActing) Owner()->fault_ = "a flush inside a flush";
    ++Owner()->openFlushes_;
    ++Owner()->flushes_;
  }
  Owner()->changed_.notify_all();
  Owner()->Act(Callback::kBeginFlush);
  return result;
}

STDMETHODIMP MisbehavingSinkPin::EndFlush() {
  {
    const std::lock_guard<std::mutex> hold(Owner()->lock_);
    // Who has forgotten the connection meanwhile has ended it himself.
    if (Owner()->openFlushes_ == 0 && IsConnected()) Owner()->fault_ = "the end of a flush that did not begin";
    if (Owner()->openFlushes_ != 0) --Owner()->openFlushes_;
  }
  const HRESULT result = CBaseInputPin::EndFlush();
  Owner()->Act(Callback::kEndFlush);
  return result;
}

ComPtr<MisbehavingSink> MisbehavingSink::Create() { return ComPtr<MisbehavingSink>(new MisbehavingSink()); }

void MisbehavingSink::StartRecord(std::unique_lock<std::mutex>& hold, Misbehaviour how) {
  how_ = std::move(how);
  ++record_;
  played_.clear();
  ends_ = 0;
  acts_ = 0;
  fault_.clear();
  // Outside the lock: the last reference to a sample may be the last to much else.
  std::vector<ComPtr<IMediaSample>> given = std::exchange(kept_, {});
  hold.unlock();
  changed_.notify_all();
}

void MisbehavingSink::Misbehave(Misbehaviour how) {
  std::unique_lock<std::mutex> hold(lock_);
  StartRecord(hold, std::move(how));
}

void MisbehavingSink::Behave() { Misbehave({}); }

void MisbehavingSinkPin::Forget() {
  CAutoLock hold(m_pLock);
  DisconnectInternal();
  EndOpenFlush();
}

HRESULT MisbehavingSinkPin::Inactive() {
  EndOpenFlush();
  return CBaseInputPin::Inactive();
}

void MisbehavingSinkPin::EndOpenFlush() {
  m_bFlushing = false;
  const std::lock_guard<std::mutex> hold(Owner()->lock_);
  Owner()->openFlushes_ = 0;
}

std::vector<Raw> MisbehavingSink::Played() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return played_;
}

int MisbehavingSink::Ends() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return ends_;
}

int MisbehavingSink::Acts() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return acts_;
}

std::size_t MisbehavingSink::Kept() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return kept_.size();
}

bool MisbehavingSink::IsHolding() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return holding_ != 0;
}

std::string MisbehavingSink::FaultOfFlushes() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return fault_.empty() && openFlushes_ != 0 ? "a flush that did not end" : fault_;
}

void MisbehavingSink::Keep(IMediaSample* sample) {
  BYTE* data = nullptr;
  sample->GetPointer(&data);
  Raw bytes(data, data + sample->GetActualDataLength());
  ComPtr<IMediaSample> last;
  const std::lock_guard<std::mutex> hold(lock_);
  played_.push_back(std::move(bytes));
  const bool keepsOne = how_.hold == Hold::kOneSample && kept_.empty();
  if (keepsOne || how_.hold == Hold::kEverySample) kept_.emplace_back(sample);
  if (how_.hold != Hold::kTheLastSample) return;
  if (!kept_.empty()) {
    last = std::move(kept_.back());
    kept_.clear();
  }
  kept_.emplace_back(sample);
}

bool MisbehavingSink::Pass(Callback callback) {
  Act(callback);
  {
    const std::lock_guard<std::mutex> hold(lock_);
    const bool isOfAFlush = how_.where == Callback::kBeginFlush || how_.where == Callback::kEndFlush;
    if (how_.hold != Hold::kTheCall || callback != (isOfAFlush ? Callback::kReceive : how_.where)) return true;
  }
  if (HoldTheCall()) return true;
  // Once more, while somebody waits for this call to return.
  Act(callback);
  return false;
}

void MisbehavingSink::Act(Callback callback) {
  if (isActing) return;
  std::function<void(Callback, IPin*)> action;
  ComPtr<IPin> peer;
  if (FAILED(Pin()->ConnectedTo(peer.Out()))) return;
  {
    const std::lock_guard<std::mutex> hold(lock_);
    if (callback != how_.where || !how_.action || acts_ == kMostActs) return;
    ++acts_;
    action = how_.action;
  }
  isActing = true;
  action(callback, peer.Get());
  isActing = false;
}

bool MisbehavingSink::HoldTheCall() {
  std::unique_lock<std::mutex> hold(lock_);
  const unsigned flushes = flushes_;
  const unsigned record = record_;
  ++holding_;
  changed_.wait(hold, [&] { return openFlushes_ != 0 || flushes_ != flushes || record_ != record; });
  --holding_;
  return record_ != record;
}

}  // namespace vantor::test
