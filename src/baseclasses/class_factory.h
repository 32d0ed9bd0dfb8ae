// Class factories over a server's table of classes.
//
// A server defines the table and forwards its exported functions:
//
//   CFactoryTemplate g_Templates[] = {
//       {OLESTR("My Filter"), &CLSID_MyFilter, CMyFilter::CreateInstance, nullptr, nullptr},
//   };
//   int g_cTemplates = 1;
//   STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
//     return CClassFactory::GetClassObject(g_Templates, g_cTemplates, rclsid, riid, ppv);
//   }
//   STDAPI DllCanUnloadNow() { return CClassFactory::CanUnloadNow(); }
#pragma once

#include "baseclasses/setup_data.h"
#include "baseclasses/unknown.h"
#include "platform/com.h"

// Makes an object without references; null or a failure in *phr otherwise. It may raise exceptions.
using LPFNNewCOMObject = CUnknown*(CALLBACK*)(LPUNKNOWN pUnkOuter, HRESULT* phr);
// Called when the module is loaded and unloaded.
using LPFNInitRoutine = void(CALLBACK*)(BOOL bLoading, const CLSID* rclsid);

class CFactoryTemplate {
 public:
  const WCHAR* m_Name;
  const CLSID* m_ClsID;
  LPFNNewCOMObject m_lpfnNew;
  LPFNInitRoutine m_lpfnInit;
  const AMOVIESETUP_FILTER* m_pAMovieSetup_Filter;

  bool IsClassID(REFCLSID rclsid) const { return vantor::SameGuid(*m_ClsID, rclsid); }
};

// The server's table.
extern CFactoryTemplate g_Templates[];
extern int g_cTemplates;

class CClassFactory final : public CBaseObject, public IClassFactory {
 public:
  explicit CClassFactory(const CFactoryTemplate* pTemplate);
  virtual ~CClassFactory() = default;

  // The factory for the class: CLASS_E_CLASSNOTAVAILABLE for one not in the table.
  static HRESULT GetClassObject(const CFactoryTemplate* pTemplates, int cTemplates, REFCLSID rclsid, REFIID riid,
                                void** ppv);
  // S_OK when no object is alive, no thread runs and no factory is locked; otherwise S_FALSE.
  static HRESULT CanUnloadNow();
  // Calls every initialisation routine of the table.
  static void InitClasses(const CFactoryTemplate* pTemplates, int cTemplates, BOOL bLoading);

  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  // E_NOINTERFACE for an outer object with any interface id but IID_IUnknown.
  STDMETHODIMP CreateInstance(LPUNKNOWN pUnkOuter, REFIID riid, void** ppv) override;
  STDMETHODIMP LockServer(BOOL fLock) override;

 private:
  const CFactoryTemplate* const m_pTemplate;
  std::atomic<LONG> m_cRef{0};
};
