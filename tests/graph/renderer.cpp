#include "graph/renderer.h"

#include <algorithm>
#include <utility>

namespace vantor::test {

namespace {

// {6B7C2A10-3D1E-4C55-9F60-A1B2C3D4E5F6}
constexpr GUID kRendererClassId = {0x6B7C2A10, 0x3D1E, 0x4C55, {0x9F, 0x60, 0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6}};

}  // namespace

RendererPin::RendererPin(Renderer* renderer, CCritSec* lock, HRESULT* result)
    : CBaseInputPin(nullptr, renderer, lock, result, OLESTR("Input")), renderer_(renderer) {}

HRESULT RendererPin::CheckMediaType(const CMediaType* type) {
  return renderer_->checkType ? renderer_->checkType(*type) : S_OK;
}

HRESULT RendererPin::CompleteConnect(IPin* connector) {
  renderer_->Record("connect");
  const HRESULT hr = renderer_->onConnect ? renderer_->onConnect(connector) : S_OK;
  return FAILED(hr) ? hr : CBaseInputPin::CompleteConnect(connector);
}

HRESULT RendererPin::BreakConnect() {
  renderer_->Record("disconnect");
  if (renderer_->onDisconnect) {
    renderer_->onDisconnect();
  }
  return CBaseInputPin::BreakConnect();
}

HRESULT RendererPin::Active() {
  renderer_->Record("active");
  renderer_->gate_.Open();
  return CBaseInputPin::Active();
}

HRESULT RendererPin::Inactive() {
  renderer_->gate_.Close();
  renderer_->Record("inactive");
  if (renderer_->onInactive) {
    renderer_->onInactive();
  }
  return CBaseInputPin::Inactive();
}

STDMETHODIMP RendererPin::GetAllocator(IMemAllocator** allocator) {
  if (FAILED(renderer_->allocatorResult)) {
    *allocator = nullptr;
    return renderer_->allocatorResult;
  }
  return CBaseInputPin::GetAllocator(allocator);
}

STDMETHODIMP RendererPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  renderer_->Record("segment");
  renderer_->listener_->OnNewSegment(start, stop, rate);
  return CBaseInputPin::NewSegment(start, stop, rate);
}

STDMETHODIMP RendererPin::Receive(IMediaSample* sample) {
  HRESULT hr = CBaseInputPin::Receive(sample);
  if (hr != S_OK) {
    return hr;
  }
  hr = renderer_->gate_.Pass(renderer_->arrived_++);
  if (hr != S_OK) {
    return hr;
  }
  renderer_->Record("sample");
  hr = renderer_->listener_->OnSample(sample);
  return hr == S_OK && renderer_->onReceive ? renderer_->onReceive(sample) : hr;
}

STDMETHODIMP RendererPin::EndOfStream() {
  HRESULT hr = CheckStreaming();
  if (hr == S_OK) {
    hr = renderer_->gate_.PassEnd();
  }
  if (hr != S_OK) {
    return hr;
  }
  renderer_->Record("end");
  renderer_->listener_->OnEndOfStream();
  renderer_->Ended();
  return S_OK;
}

STDMETHODIMP RendererPin::BeginFlush() {
  const HRESULT hr = CBaseInputPin::BeginFlush();
  renderer_->gate_.Close();
  renderer_->Record("begin flush");
  renderer_->listener_->OnBeginFlush();
  return hr;
}

STDMETHODIMP RendererPin::EndFlush() {
  {
    const std::scoped_lock lock(renderer_->recordLock_);
    renderer_->ended_ = false;
    renderer_->announced_ = false;
  }
  renderer_->Record("end flush");
  renderer_->gate_.Open();
  renderer_->listener_->OnEndFlush();
  return CBaseInputPin::EndFlush();
}

ComPtr<Renderer> Renderer::Create(std::shared_ptr<SampleListener> listener) {
  HRESULT hr = S_OK;
  ComPtr<Renderer> created(new Renderer(std::move(listener), &hr));
  // The helper counts on the outer object, which must be held by somebody meanwhile.
  ComPtr<ISeekingPassThru> seeking;
  hr = CoCreateInstance(CLSID_SeekingPassThru, created->GetOwner(), CLSCTX_INPROC_SERVER, IID_IUnknown,
                        created->seeking_.Void());
  if (SUCCEEDED(hr) && SUCCEEDED(created->seeking_->QueryInterface(IID_ISeekingPassThru, seeking.Void()))) {
    seeking->Init(TRUE, created->pin_);
  }
  return created;
}

Renderer::Renderer(std::shared_ptr<SampleListener> listener, HRESULT* result)
    : CBaseFilter(nullptr, nullptr, &lock_, kRendererClassId),
      pin_(new RendererPin(this, &lock_, result)),
      listener_(listener ? std::move(listener) : std::make_shared<SampleListener>()) {
  pin_->HoldByFilter();
}

Renderer::~Renderer() {
  // References that an aggregated object gives back as it goes are the outer object's, which is going itself.
  seeking_.Reset();
  pin_->ReleaseByFilter();
}

HRESULT Renderer::NonDelegatingQueryInterface(REFIID riid, void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  if (SameGuid(riid, IID_IAMFilterMiscFlags)) {
    return GetInterface(static_cast<IAMFilterMiscFlags*>(this), object);
  }
  if (seeking_ && (SameGuid(riid, IID_IMediaSeeking) || SameGuid(riid, IID_IMediaPosition))) {
    return seeking_->QueryInterface(riid, object);
  }
  return CBaseFilter::NonDelegatingQueryInterface(riid, object);
}

HRESULT Renderer::Run(REFERENCE_TIME start) {
  const HRESULT hr = CBaseFilter::Run(start);
  {
    const std::scoped_lock lock(recordLock_);
    announced_ = false;
    if (!ended_) {
      return hr;
    }
    ended_ = false;
    announced_ = true;
  }
  NotifyEvent(EC_COMPLETE, S_OK, 0);
  return hr;
}

void Renderer::Ended() {
  {
    const std::scoped_lock lock(recordLock_);
    if (m_State != State_Running) {
      ended_ = true;
      return;
    }
    if (announced_) {
      return;
    }
    announced_ = true;
  }
  NotifyEvent(EC_COMPLETE, S_OK, 0);
}

void Renderer::Record(const std::string& entry) {
  const std::scoped_lock lock(recordLock_);
  log_.push_back(entry);
  recorded_.notify_all();
}

std::vector<std::string> Renderer::Log() const {
  const std::scoped_lock lock(recordLock_);
  return log_;
}

int Renderer::Count(const std::string& entry) const {
  const std::scoped_lock lock(recordLock_);
  return static_cast<int>(std::count(log_.begin(), log_.end(), entry));
}

void Renderer::WaitFor(const std::string& entry, int count) {
  std::unique_lock lock(recordLock_);
  recorded_.wait(lock, [&] { return std::count(log_.begin(), log_.end(), entry) >= count; });
}

ALLOCATOR_PROPERTIES RendererPin::AllocatorProperties() const {
  ALLOCATOR_PROPERTIES properties = {};
  if (m_pAllocator != nullptr) {
    m_pAllocator->GetProperties(&properties);
  }
  return properties;
}

}  // namespace vantor::test
