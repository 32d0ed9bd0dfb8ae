#include "support/fake_sink.h"

#include <algorithm>

namespace vantor::test {

namespace {

ReceivedSample Copy(IMediaSample* sample) {
  ReceivedSample copy;
  sample->GetTime(&copy.start, &copy.stop);
  BYTE* data = nullptr;
  sample->GetPointer(&data);
  copy.bytes.assign(data, data + sample->GetActualDataLength());
  copy.syncPoint = sample->IsSyncPoint() == S_OK;
  copy.preroll = sample->IsPreroll() == S_OK;
  copy.discontinuity = sample->IsDiscontinuity() == S_OK;
  LONGLONG first = 0;
  LONGLONG last = 0;
  copy.hasMediaTime = SUCCEEDED(sample->GetMediaTime(&first, &last));
  AM_MEDIA_TYPE* type = nullptr;
  copy.hasMediaType = sample->GetMediaType(&type) == S_OK;
  DeleteMediaType(type);
  return copy;
}

}  // namespace

HRESULT FakeSinkPin::CheckMediaType(const CMediaType* type) {
  return Owner()->checkType ? Owner()->checkType(*type) : S_OK;
}

HRESULT FakeSinkPin::CompleteConnect(IPin* connector) {
  const HRESULT result = CBaseInputPin::CompleteConnect(connector);
  return FAILED(result) || !Owner()->onConnect ? result : Owner()->onConnect(connector);
}

HRESULT FakeSinkPin::BreakConnect() {
  Owner()->Record("break");
  Owner()->agreed_.Reset();
  return CBaseInputPin::BreakConnect();
}

HRESULT FakeSinkPin::Active() {
  Owner()->Record("active");
  return CBaseInputPin::Active();
}

STDMETHODIMP FakeSinkPin::Disconnect() {
  Owner()->Record("disconnect");
  return CBaseInputPin::Disconnect();
}

STDMETHODIMP FakeSinkPin::QueryPinInfo(PIN_INFO* info) {
  if (FAILED(Owner()->pinInfoResult)) return Owner()->pinInfoResult;
  const HRESULT result = CBaseInputPin::QueryPinInfo(info);
  if (SUCCEEDED(result) && !Owner()->pinHasFilter) {
    info->pFilter->Release();
    info->pFilter = nullptr;
  }
  return result;
}

STDMETHODIMP FakeSinkPin::GetAllocator(IMemAllocator** offered) {
  if (!Owner()->allocator) return CBaseInputPin::GetAllocator(offered);
  *offered = ComPtr<IMemAllocator>(Owner()->allocator).Detach();
  return S_OK;
}

STDMETHODIMP FakeSinkPin::NotifyAllocator(IMemAllocator* agreed, BOOL readOnly) {
  if (FAILED(Owner()->notifyAllocatorResult)) return Owner()->notifyAllocatorResult;
  Owner()->agreed_ = ComPtr<IMemAllocator>(agreed);
  return CBaseInputPin::NotifyAllocator(agreed, readOnly);
}

STDMETHODIMP FakeSinkPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  {
    const std::lock_guard<std::mutex> hold(Owner()->recordLock_);
    ++Owner()->segments_;
  }
  Owner()->Record("segment " + std::to_string(start) + "-" + std::to_string(stop) + " x" +
                  std::to_string(static_cast<int>(rate)));
  if (FAILED(Owner()->newSegmentResult)) return Owner()->newSegmentResult;
  return CBaseInputPin::NewSegment(start, stop, rate);
}

STDMETHODIMP FakeSinkPin::Receive(IMediaSample* sample) {
  const HRESULT result = CBaseInputPin::Receive(sample);
  if (result != S_OK) return result;
  {
    const std::lock_guard<std::mutex> hold(Owner()->recordLock_);
    ++Owner()->sampleCount_;
    if (Owner()->keepsSamples) Owner()->samples_.push_back(Copy(sample));
  }
  if (Owner()->keepsSamples) {
    Owner()->Record("sample");
  } else {
    Owner()->recorded_.notify_all();
  }
  return Owner()->onReceive ? Owner()->onReceive(sample) : S_OK;
}

STDMETHODIMP FakeSinkPin::EndOfStream() {
  {
    const std::lock_guard<std::mutex> hold(Owner()->recordLock_);
    ++Owner()->ends_;
  }
  Owner()->Record("end");
  return S_OK;
}

STDMETHODIMP FakeSinkPin::BeginFlush() {
  const HRESULT refused = Owner()->beginFlushResult;
  const HRESULT result = FAILED(refused) ? refused : CBaseInputPin::BeginFlush();
  Owner()->Record("begin flush");
  if (Owner()->onBeginFlush) Owner()->onBeginFlush();
  return result;
}

STDMETHODIMP FakeSinkPin::EndFlush() {
  Owner()->Record("end flush");
  const HRESULT refused = Owner()->endFlushResult;
  return FAILED(refused) ? refused : CBaseInputPin::EndFlush();
}

ComPtr<FakeSink> FakeSink::Create() { return ComPtr<FakeSink>(new FakeSink()); }

STDMETHODIMP FakeSink::QueryFilterInfo(FILTER_INFO* info) {
  if (FAILED(filterInfoResult)) return filterInfoResult;
  const HRESULT result = CBaseFilter::QueryFilterInfo(info);
  if (FAILED(result) || filterName.empty()) return result;
  const std::size_t length = std::min<std::size_t>(filterName.size(), std::size(info->achName) - 1);
  std::copy_n(filterName.begin(), length, info->achName);
  info->achName[length] = 0;
  return result;
}

void FakeSink::ForgetHooks() {
  checkType = nullptr;
  onConnect = nullptr;
  onReceive = nullptr;
  onBeginFlush = nullptr;
  onCall = nullptr;
}

void FakeSink::Record(const std::string& entry) {
  {
    const std::lock_guard<std::mutex> hold(recordLock_);
    log_.push_back(entry);
  }
  recorded_.notify_all();
  if (onCall) onCall(entry);
}

ComPtr<IMemAllocator> FakeSink::Agreed() const { return agreed_; }

std::vector<ReceivedSample> FakeSink::Samples() const {
  const std::lock_guard<std::mutex> hold(recordLock_);
  return samples_;
}

std::size_t FakeSink::SampleCount() const {
  const std::lock_guard<std::mutex> hold(recordLock_);
  return sampleCount_;
}

std::vector<std::string> FakeSink::Log() const {
  const std::lock_guard<std::mutex> hold(recordLock_);
  return log_;
}

int FakeSink::Ends() const {
  const std::lock_guard<std::mutex> hold(recordLock_);
  return ends_;
}

int FakeSink::Segments() const {
  const std::lock_guard<std::mutex> hold(recordLock_);
  return segments_;
}

void FakeSink::WaitForSegments(int count) {
  std::unique_lock<std::mutex> hold(recordLock_);
  recorded_.wait(hold, [&] { return segments_ >= count; });
}

void FakeSink::WaitForEnds(int count) {
  std::unique_lock<std::mutex> hold(recordLock_);
  recorded_.wait(hold, [&] { return ends_ >= count; });
}

void FakeSink::WaitForSamples(std::size_t count) {
  std::unique_lock<std::mutex> hold(recordLock_);
  recorded_.wait(hold, [&] { return sampleCount_ >= count; });
}

}  // namespace vantor::test
