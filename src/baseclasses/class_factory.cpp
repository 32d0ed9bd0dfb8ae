#include "baseclasses/class_factory.h"

#include "platform/result.h"

using vantor::Guarded;
using vantor::SameGuid;

namespace {
std::atomic<LONG> g_locks{0};
}

CClassFactory::CClassFactory(const CFactoryTemplate* pTemplate)
    : CBaseObject(OLESTR("class factory")), m_pTemplate(pTemplate) {}

HRESULT CClassFactory::GetClassObject(const CFactoryTemplate* pTemplates, int cTemplates, REFCLSID rclsid, REFIID riid,
                                      void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  return Guarded([&]() -> HRESULT {
    for (int i = 0; i < cTemplates; ++i) {
      if (!pTemplates[i].IsClassID(rclsid)) continue;
      auto* pFactory = new CClassFactory(&pTemplates[i]);
      pFactory->AddRef();
      const HRESULT hr = pFactory->QueryInterface(riid, ppv);
      pFactory->Release();
      return hr;
    }
    return CLASS_E_CLASSNOTAVAILABLE;
  });
}

HRESULT CClassFactory::CanUnloadNow() { return g_locks == 0 && ObjectsActive() == 0 ? S_OK : S_FALSE; }

void CClassFactory::InitClasses(const CFactoryTemplate* pTemplates, int cTemplates, BOOL bLoading) {
  for (int i = 0; i < cTemplates; ++i) {
    if (pTemplates[i].m_lpfnInit) pTemplates[i].m_lpfnInit(bLoading, pTemplates[i].m_ClsID);
  }
}

STDMETHODIMP CClassFactory::QueryInterface(REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  if (SameGuid(riid, IID_IUnknown) || SameGuid(riid, IID_IClassFactory)) {
    return GetInterface(static_cast<IClassFactory*>(this), ppv);
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CClassFactory::AddRef() { return static_cast<ULONG>(++m_cRef); }

STDMETHODIMP_(ULONG) CClassFactory::Release() {
  const LONG left = --m_cRef;
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

STDMETHODIMP CClassFactory::CreateInstance(LPUNKNOWN pUnkOuter, REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (pUnkOuter && !SameGuid(riid, IID_IUnknown)) return E_NOINTERFACE;
  return Guarded([&]() -> HRESULT {
    HRESULT hr = S_OK;
    CUnknown* pObject = m_pTemplate->m_lpfnNew(pUnkOuter, &hr);
    if (!pObject) return FAILED(hr) ? hr : E_OUTOFMEMORY;
    // A reference of ours keeps the object through the query and deletes it when that, or the making, failed.
    pObject->NonDelegatingAddRef();
    if (SUCCEEDED(hr)) hr = pObject->NonDelegatingQueryInterface(riid, ppv);
    pObject->NonDelegatingRelease();
    return hr;
  });
}

STDMETHODIMP CClassFactory::LockServer(BOOL fLock) {
  g_locks += fLock ? 1 : -1;
  return S_OK;
}
