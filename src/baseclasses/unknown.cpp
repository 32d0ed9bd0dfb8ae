#include "baseclasses/unknown.h"

namespace {
std::atomic<LONG> g_objects{0};
}

CBaseObject::CBaseObject(LPCWSTR pName) noexcept : m_pObjectName(pName) { ++g_objects; }

CBaseObject::~CBaseObject() { --g_objects; }

LONG CBaseObject::ObjectsActive() noexcept { return g_objects; }

CUnknown::CUnknown(LPCWSTR pName, LPUNKNOWN pUnk) noexcept
    : CBaseObject(pName), m_Own(this), m_pUnknown(pUnk ? pUnk : &m_Own) {}

STDMETHODIMP CUnknown::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  if (vantor::SameGuid(riid, IID_IUnknown)) return GetInterface(&m_Own, ppv);
  *ppv = nullptr;
  return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CUnknown::NonDelegatingAddRef() {
  return static_cast<ULONG>(m_cRef.fetch_add(1, std::memory_order_relaxed) + 1);
}

STDMETHODIMP_(ULONG) CUnknown::NonDelegatingRelease() {
  const LONG left = m_cRef.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) {
    m_cRef.store(1, std::memory_order_relaxed);  // the destructor may use references without ending in here again
    FinalRelease();
  }
  return static_cast<ULONG>(left);
}

STDMETHODIMP CUnknown::OwnUnknown::QueryInterface(REFIID riid, void** ppv) {
  return m_pObject->NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP_(ULONG) CUnknown::OwnUnknown::AddRef() { return m_pObject->NonDelegatingAddRef(); }

STDMETHODIMP_(ULONG) CUnknown::OwnUnknown::Release() { return m_pObject->NonDelegatingRelease(); }

HRESULT GetInterface(LPUNKNOWN pUnk, void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = pUnk;
  pUnk->AddRef();
  return S_OK;
}
