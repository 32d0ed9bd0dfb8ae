// Reference counting and aggregation for every COM object.
//
// A class derives from CUnknown and from its interfaces, puts DECLARE_IUNKNOWN among its public members (which passes
// the interfaces' IUnknown to the owner: the outer object, or this object itself), and answers its own interfaces in
// NonDelegatingQueryInterface:
//
//   class CFoo : public CUnknown, public IFoo {
//    public:
//     DECLARE_IUNKNOWN
//     STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override {
//       if (riid == IID_IFoo) return GetInterface(static_cast<IFoo*>(this), ppv);
//       return CUnknown::NonDelegatingQueryInterface(riid, ppv);
//     }
//   };
#pragma once

#include <atomic>

#include "platform/com.h"

// Counts the objects alive in this module, for DllCanUnloadNow.
class CBaseObject {
 public:
  // The name is for a debugger's eyes; it must outlive the object.
  explicit CBaseObject(LPCWSTR pName) noexcept;
  ~CBaseObject();
  CBaseObject(const CBaseObject&) = delete;
  CBaseObject& operator=(const CBaseObject&) = delete;

  static LONG ObjectsActive() noexcept;

 private:
  [[maybe_unused]] LPCWSTR m_pObjectName;
};

// IUnknown's operations on the object itself, whatever it is aggregated into.
class INonDelegatingUnknown {
 public:
  virtual STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
  virtual STDMETHODIMP_(ULONG) NonDelegatingAddRef() = 0;
  virtual STDMETHODIMP_(ULONG) NonDelegatingRelease() = 0;

 protected:
  ~INonDelegatingUnknown() = default;
};

// Counts start at 0: whoever creates an object takes its first reference. The object deletes itself when the count
// returns to 0; references taken and given back while its destructor runs are harmless.
class CUnknown : public INonDelegatingUnknown, public CBaseObject {
 public:
  // `pUnk` is the outer object that aggregates this one, or null. It is not counted.
  CUnknown(LPCWSTR pName, LPUNKNOWN pUnk) noexcept;
  virtual ~CUnknown() = default;

  // IUnknown, and of no other interface: derived classes try their own first. Null `ppv` gives E_POINTER; any failure
  // nulls *ppv.
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
  STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

  // The unknown that stands for the whole object: the outer one, or this object's own.
  LPUNKNOWN GetOwner() const noexcept { return m_pUnknown.load(std::memory_order_acquire); }

 protected:
  // The last reference went. A class that must live on for a while overrides this and deletes itself later.
  virtual void FinalRelease() { delete this; }

  // For an object that lives on, for a worker's sake, when its outer object goes: from here on it is its own owner, and
  // references taken through its interfaces are its own. Those taken before were the outer object's and are gone with
  // it: none of them may be given back later.
  void LeaveOwner() noexcept { m_pUnknown.store(&m_Own, std::memory_order_release); }

 private:
  // This object's own IUnknown: the one that an aggregating object holds.
  class OwnUnknown final : public IUnknown {
   public:
    explicit OwnUnknown(CUnknown* pObject) noexcept : m_pObject(pObject) {}
    virtual ~OwnUnknown() = default;
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

   private:
    CUnknown* m_pObject;
  };

  std::atomic<LONG> m_cRef{0};
  OwnUnknown m_Own;
  std::atomic<LPUNKNOWN> m_pUnknown;  // not counted; read by any thread
};

// Gives out an interface with a reference on it: S_OK, or E_POINTER for a null `ppv`.
HRESULT GetInterface(LPUNKNOWN pUnk, void** ppv);

// Releases and nulls an interface pointer; null is allowed.
template <typename Interface>
void ReleaseInterface(Interface*& pInterface) {
  if (Interface* pReleased = pInterface) {
    pInterface = nullptr;
    pReleased->Release();
  }
}

#define DECLARE_IUNKNOWN                                                                                          \
  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override { return GetOwner()->QueryInterface(riid, ppv); } \
  STDMETHODIMP_(ULONG) AddRef() override { return GetOwner()->AddRef(); }                                         \
  STDMETHODIMP_(ULONG) Release() override { return GetOwner()->Release(); }
