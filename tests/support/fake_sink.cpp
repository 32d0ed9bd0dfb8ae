#include "support/fake_sink.h"

#include <algorithm>

namespace vantor::test {

namespace {

// {A7C6E1D2-3F40-4B8A-9E55-61D0C2B7F384}
constexpr GUID kFakeSinkId = {0xA7C6E1D2, 0x3F40, 0x4B8A, {0x9E, 0x55, 0x61, 0xD0, 0xC2, 0xB7, 0xF3, 0x84}};

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

FakeSinkPin::FakeSinkPin(FakeSink* sink, CCritSec* lock, HRESULT* result)
    : CBaseInputPin(OLESTR("fake sink pin"), sink, lock, result, OLESTR("Input")), sink_(sink) {}

HRESULT FakeSinkPin::CheckMediaType(const CMediaType* type) {
  return sink_->checkType ? sink_->checkType(*type) : S_OK;
}

HRESULT FakeSinkPin::CompleteConnect(IPin* connector) {
  const HRESULT result = CBaseInputPin::CompleteConnect(connector);
  return FAILED(result) || !sink_->onConnect ? result : sink_->onConnect(connector);
}

HRESULT FakeSinkPin::BreakConnect() {
  sink_->Record("break");
  sink_->agreed_.Reset();
  return CBaseInputPin::BreakConnect();
}

HRESULT FakeSinkPin::Active() {
  sink_->Record("active");
  return CBaseInputPin::Active();
}

STDMETHODIMP FakeSinkPin::Disconnect() {
  sink_->Record("disconnect");
  return CBaseInputPin::Disconnect();
}

STDMETHODIMP FakeSinkPin::QueryPinInfo(PIN_INFO* info) {
  if (FAILED(sink_->pinInfoResult)) return sink_->pinInfoResult;
  const HRESULT result = CBaseInputPin::QueryPinInfo(info);
  if (SUCCEEDED(result) && !sink_->pinHasFilter) {
    info->pFilter->Release();
    info->pFilter = nullptr;
  }
  return result;
}

STDMETHODIMP FakeSinkPin::GetAllocator(IMemAllocator** offered) {
  if (!sink_->allocator) return CBaseInputPin::GetAllocator(offered);
  *offered = ComPtr<IMemAllocator>(sink_->allocator).Detach();
  return S_OK;
}

STDMETHODIMP FakeSinkPin::NotifyAllocator(IMemAllocator* agreed, BOOL readOnly) {
  if (FAILED(sink_->notifyAllocatorResult)) return sink_->notifyAllocatorResult;
  sink_->agreed_ = ComPtr<IMemAllocator>(agreed);
  return CBaseInputPin::NotifyAllocator(agreed, readOnly);
}

STDMETHODIMP FakeSinkPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  {
    const std::lock_guard<std::mutex> hold(sink_->recordLock_);
    ++sink_->segments_;
  }
  sink_->Record("segment " + std::to_string(start) + "-" + std::to_string(stop) + " x" +
                std::to_string(static_cast<int>(rate)));
  if (FAILED(sink_->newSegmentResult)) return sink_->newSegmentResult;
  return CBaseInputPin::NewSegment(start, stop, rate);
}

STDMETHODIMP FakeSinkPin::Receive(IMediaSample* sample) {
  const HRESULT result = CBaseInputPin::Receive(sample);
  if (result != S_OK) return result;
  {
    const std::lock_guard<std::mutex> hold(sink_->recordLock_);
    ++sink_->sampleCount_;
    if (sink_->keepsSamples) sink_->samples_.push_back(Copy(sample));
  }
  if (sink_->keepsSamples) {
    sink_->Record("sample");
  } else {
    sink_->recorded_.notify_all();
  }
  return sink_->onReceive ? sink_->onReceive(sample) : S_OK;
}

STDMETHODIMP FakeSinkPin::EndOfStream() {
  {
    const std::lock_guard<std::mutex> hold(sink_->recordLock_);
    ++sink_->ends_;
  }
  sink_->Record("end");
  return S_OK;
}

STDMETHODIMP FakeSinkPin::BeginFlush() {
  const HRESULT refused = sink_->beginFlushResult;
  const HRESULT result = FAILED(refused) ? refused : CBaseInputPin::BeginFlush();
  sink_->Record("begin flush");
  if (sink_->onBeginFlush) sink_->onBeginFlush();
  return result;
}

STDMETHODIMP FakeSinkPin::EndFlush() {
  sink_->Record("end flush");
  const HRESULT refused = sink_->endFlushResult;
  return FAILED(refused) ? refused : CBaseInputPin::EndFlush();
}

ComPtr<FakeSink> FakeSink::Create() {
  HRESULT result = S_OK;
  return ComPtr<FakeSink>(new FakeSink(&result));
}

FakeSink::FakeSink(HRESULT* result)
    : CBaseFilter(OLESTR("fake sink"), nullptr, &lock_, kFakeSinkId), pin_(new FakeSinkPin(this, &lock_, result)) {
  pin_->HoldByFilter();
}

FakeSink::~FakeSink() { pin_->ReleaseByFilter(); }

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
