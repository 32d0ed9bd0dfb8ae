#include "baseclasses/filter_dispatch.h"

#include "platform/platform.h"
#include "platform/result.h"

using vantor::SameGuid;

CTypeInfoHolder::CTypeInfoHolder(REFGUID libraryId, WORD wMajor, WORD wMinor, REFIID interfaceId)
    : m_LibraryId(libraryId), m_wMajor(wMajor), m_wMinor(wMinor), m_InterfaceId(interfaceId) {}

CTypeInfoHolder::~CTypeInfoHolder() {
  if (ITypeInfo* pTypeInfo = m_pTypeInfo) pTypeInfo->Release();
}

HRESULT CTypeInfoHolder::Acquire(ITypeInfo** ppTInfo) {
  *ppTInfo = m_pTypeInfo;
  if (*ppTInfo) return S_OK;
  ITypeInfo* pLoaded = nullptr;
  const HRESULT hr =
      vantor::Guarded([&] { return vantor::LoadTypeInfo(m_LibraryId, m_wMajor, m_wMinor, m_InterfaceId, &pLoaded); });
  if (FAILED(hr)) return hr;
  ITypeInfo* pExpected = nullptr;
  if (m_pTypeInfo.compare_exchange_strong(pExpected, pLoaded)) {
    *ppTInfo = pLoaded;
  } else {
    pLoaded->Release();  // another thread was first
    *ppTInfo = pExpected;
  }
  return S_OK;
}

HRESULT CTypeInfoHolder::GetTypeInfo(UINT iTInfo, ITypeInfo** ppTInfo) {
  if (!ppTInfo) return E_POINTER;
  *ppTInfo = nullptr;
  if (iTInfo != 0) return DISP_E_BADINDEX;
  const HRESULT hr = Acquire(ppTInfo);
  if (SUCCEEDED(hr)) (*ppTInfo)->AddRef();
  return hr;
}

HRESULT CTypeInfoHolder::GetIDsOfNames(REFIID riid, LPOLESTR* rgszNames, UINT cNames, DISPID* rgDispId) {
  if (!SameGuid(riid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
  ITypeInfo* pTypeInfo;
  const HRESULT hr = Acquire(&pTypeInfo);
  return FAILED(hr) ? hr : pTypeInfo->GetIDsOfNames(rgszNames, cNames, rgDispId);
}

HRESULT CTypeInfoHolder::Invoke(void* pInstance, DISPID dispIdMember, REFIID riid, WORD wFlags, DISPPARAMS* pDispParams,
                                VARIANT* pVarResult, EXCEPINFO* pExcepInfo, UINT* puArgErr) {
  if (!SameGuid(riid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
  ITypeInfo* pTypeInfo;
  const HRESULT hr = Acquire(&pTypeInfo);
  if (FAILED(hr)) return hr;
  return pTypeInfo->Invoke(pInstance, dispIdMember, wFlags, pDispParams, pVarResult, pExcepInfo, puArgErr);
}
