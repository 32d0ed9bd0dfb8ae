#include "host/sink_filter.h"

#include <utility>

#include "platform/result.h"

namespace vantor {
namespace {

// {2F0C3E57-8B49-4D5C-A1F7-0E4C91B6D8A2}
constexpr GUID kSinkClassId = {0x2F0C3E57, 0x8B49, 0x4D5C, {0xA1, 0xF7, 0x0E, 0x4C, 0x91, 0xB6, 0xD8, 0xA2}};

void Increment(std::atomic<std::uint64_t>& count, std::uint64_t by = 1) noexcept {
  count.fetch_add(by, std::memory_order_relaxed);
}

}  // namespace

SinkPin::SinkPin(CBaseFilter* filter, CCritSec* lock, std::shared_ptr<SampleListener> listener, HRESULT* result)
    : CBaseInputPin(nullptr, filter, lock, result, OLESTR("Input")),
      listener_(listener ? std::move(listener) : std::make_shared<SampleListener>()) {}

SinkCounts SinkPin::Counts() const noexcept {
  return {segments_.load(), samples_.load(), bytes_.load(), refused_.load(), ends_.load(), flushes_.load()};
}

ALLOCATOR_PROPERTIES SinkPin::AllocatorProperties() const {
  ALLOCATOR_PROPERTIES properties = {};
  if (m_pAllocator != nullptr) {
    m_pAllocator->GetProperties(&properties);
  }
  return properties;
}

HRESULT SinkPin::CheckMediaType(const CMediaType*) { return S_OK; }

HRESULT SinkPin::Active() {
  gate_.Open();
  return CBaseInputPin::Active();
}

HRESULT SinkPin::Inactive() {
  gate_.Close();
  return CBaseInputPin::Inactive();
}

STDMETHODIMP SinkPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  const HRESULT hr = CBaseInputPin::NewSegment(start, stop, rate);
  Increment(segments_);
  Report(false);
  listener_->OnNewSegment(start, stop, rate);
  return hr;
}

STDMETHODIMP SinkPin::Receive(IMediaSample* sample) {
  HRESULT hr = CBaseInputPin::Receive(sample);
  if (hr != S_OK) {
    return hr;
  }
  hr = gate_.Pass(arrived_++);
  if (hr != S_OK) {
    Increment(refused_);
    return hr;
  }
  Increment(samples_);
  Increment(bytes_, static_cast<std::uint64_t>(sample->GetActualDataLength()));
  return listener_->OnSample(sample);
}

STDMETHODIMP SinkPin::EndOfStream() {
  HRESULT hr = CheckStreaming();
  if (hr == S_OK) {
    hr = gate_.PassEnd();
  }
  if (hr != S_OK) {
    return hr;
  }
  Increment(ends_);
  listener_->OnEndOfStream();
  Report(true);
  return S_OK;
}

STDMETHODIMP SinkPin::BeginFlush() {
  const HRESULT hr = CBaseInputPin::BeginFlush();
  gate_.Close();
  Increment(flushes_);
  Report(false);
  listener_->OnBeginFlush();
  return hr;
}

STDMETHODIMP SinkPin::EndFlush() {
  const HRESULT hr = CBaseInputPin::EndFlush();
  gate_.Open();
  // An end that was under way when the flush began may have been reported after it.
  Report(false);
  listener_->OnEndFlush();
  return hr;
}

void SinkPin::Report(bool ended) {
  if (reportEnded_) {
    reportEnded_(ended);
  }
}

SinkFilter* SinkFilter::Create(std::shared_ptr<SampleListener> listener) noexcept {
  SinkFilter* created = nullptr;
  Guarded([&] {
    HRESULT hr = S_OK;
    created = new SinkFilter(std::move(listener), &hr);
    created->AddRef();
    return hr;
  });
  return created;
}

SinkFilter::SinkFilter(std::shared_ptr<SampleListener> listener, HRESULT* result)
    : CBaseFilter(nullptr, nullptr, &lock_, kSinkClassId),
      pin_(new SinkPin(this, &lock_, std::move(listener), result)) {
  pin_->HoldByFilter();
}

SinkFilter::~SinkFilter() { pin_->ReleaseByFilter(); }

}  // namespace vantor
