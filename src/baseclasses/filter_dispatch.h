// IDispatch for a filter's automation interface, described by the server's type library.
//
//   class CMyFilter : public CBaseFilter, public CFilterDispatchImpl<IMyFilter> {
//    public:
//     DECLARE_IUNKNOWN
//     CMyFilter(LPUNKNOWN outer, CCritSec* lock)
//         : CBaseFilter(OLESTR("My Filter"), outer, lock, CLSID_MyFilter),
//           CFilterDispatchImpl<IMyFilter>(LIBID_My, 1, 0, IID_IMyFilter) {}
//   };
#pragma once

#include <atomic>

#include "platform/com.h"

// The description of one interface, looked up at its first use and held until destruction. Any thread.
class CTypeInfoHolder {
 public:
  CTypeInfoHolder(REFGUID libraryId, WORD wMajor, WORD wMinor, REFIID interfaceId);
  ~CTypeInfoHolder();
  CTypeInfoHolder(const CTypeInfoHolder&) = delete;
  CTypeInfoHolder& operator=(const CTypeInfoHolder&) = delete;

  HRESULT GetTypeInfo(UINT iTInfo, ITypeInfo** ppTInfo);
  HRESULT GetIDsOfNames(REFIID riid, LPOLESTR* rgszNames, UINT cNames, DISPID* rgDispId);
  // `pInstance` is the object's interface that the description is of.
  HRESULT Invoke(void* pInstance, DISPID dispIdMember, REFIID riid, WORD wFlags, DISPPARAMS* pDispParams,
                 VARIANT* pVarResult, EXCEPINFO* pExcepInfo, UINT* puArgErr);

 private:
  // Not counted for the caller.
  HRESULT Acquire(ITypeInfo** ppTInfo);

  const GUID m_LibraryId;
  const WORD m_wMajor;
  const WORD m_wMinor;
  const IID m_InterfaceId;
  std::atomic<ITypeInfo*> m_pTypeInfo{nullptr};
};

// T is a dispatch interface; IUnknown is left to the filter (DECLARE_IUNKNOWN).
template <typename T>
class CFilterDispatchImpl : public T {
 public:
  STDMETHODIMP GetTypeInfoCount(UINT* pctinfo) override {
    if (!pctinfo) return E_POINTER;
    *pctinfo = 1;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT iTInfo, LCID, ITypeInfo** ppTInfo) override {
    return m_TypeInfo.GetTypeInfo(iTInfo, ppTInfo);
  }
  STDMETHODIMP GetIDsOfNames(REFIID riid, LPOLESTR* rgszNames, UINT cNames, LCID, DISPID* rgDispId) override {
    return m_TypeInfo.GetIDsOfNames(riid, rgszNames, cNames, rgDispId);
  }
  STDMETHODIMP Invoke(DISPID dispIdMember, REFIID riid, LCID, WORD wFlags, DISPPARAMS* pDispParams, VARIANT* pVarResult,
                      EXCEPINFO* pExcepInfo, UINT* puArgErr) override {
    return m_TypeInfo.Invoke(static_cast<T*>(this), dispIdMember, riid, wFlags, pDispParams, pVarResult, pExcepInfo,
                             puArgErr);
  }

 protected:
  CFilterDispatchImpl(REFGUID libraryId, WORD wMajor, WORD wMinor, REFIID interfaceId)
      : m_TypeInfo(libraryId, wMajor, wMinor, interfaceId) {}
  ~CFilterDispatchImpl() = default;

 private:
  CTypeInfoHolder m_TypeInfo;
};
