#include "baseclasses/unknown.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using vantor::SameGuid;

namespace {

// An object with one interface, IPersist.
class Object : public CUnknown, public IPersist {
 public:
  explicit Object(bool* destroyed, LPUNKNOWN outer = nullptr)
      : CUnknown(OLESTR("object"), outer), m_pDestroyed(destroyed) {}
  ~Object() override {
    // A destructor may use the object like anybody else.
    Object::AddRef();
    Object::Release();
    *m_pDestroyed = true;
  }

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override {
    if (SameGuid(riid, IID_IPersist)) return GetInterface(static_cast<IPersist*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
  }
  STDMETHODIMP GetClassID(CLSID*) override { return S_OK; }

  using CUnknown::LeaveOwner;

 private:
  bool* m_pDestroyed;
};

// With its first reference, as its maker takes it.
Object* Make(bool* destroyed) {
  auto* object = new Object(destroyed);
  object->NonDelegatingAddRef();
  return object;
}

// Aggregates an Object.
class OuterUnknown final : public IUnknown {
 public:
  explicit OuterUnknown(bool* destroyed) : m_pInner(new Object(destroyed, this)) { m_pInner->NonDelegatingAddRef(); }
  virtual ~OuterUnknown() { m_pInner->NonDelegatingRelease(); }
  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
    if (SameGuid(riid, IID_IUnknown)) return GetInterface(this, ppv);
    return m_pInner->NonDelegatingQueryInterface(riid, ppv);
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++m_cRef; }
  STDMETHODIMP_(ULONG) Release() override { return --m_cRef; }

  ULONG m_cRef = 0;
  Object* m_pInner;
};

TEST(Unknown, TheLastReleaseDestroysAndGivesZero) {
  bool destroyed = false;
  Object* object = Make(&destroyed);
  EXPECT_EQ(object->AddRef(), 2u);
  EXPECT_EQ(object->Release(), 1u);
  EXPECT_FALSE(destroyed);
  EXPECT_EQ(object->Release(), 0u);
  EXPECT_TRUE(destroyed);
}

TEST(Unknown, LiveObjectsAreCounted) {
  bool destroyed = false;
  const LONG before = CBaseObject::ObjectsActive();
  Object* object = Make(&destroyed);
  EXPECT_EQ(CBaseObject::ObjectsActive(), before + 1);
  object->Release();
  EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

TEST(Unknown, EveryInterfaceAnswersWithTheSameIdentity) {
  bool destroyed = false;
  Object* object = Make(&destroyed);
  IUnknown* identity = nullptr;
  IPersist* persist = nullptr;
  IUnknown* again = nullptr;
  EXPECT_EQ(object->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
  EXPECT_EQ(identity->QueryInterface(IID_IPersist, reinterpret_cast<void**>(&persist)), S_OK);
  EXPECT_EQ(persist->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&again)), S_OK);
  EXPECT_EQ(identity, again);
  EXPECT_EQ(again->Release(), 3u);
  EXPECT_EQ(persist->Release(), 2u);
  EXPECT_EQ(identity->Release(), 1u);
  EXPECT_EQ(object->Release(), 0u);
  EXPECT_TRUE(destroyed);
}

TEST(Unknown, AnUnknownInterfaceNullsTheOutPointer) {
  bool destroyed = false;
  Object* object = Make(&destroyed);
  void* out = &out;
  EXPECT_EQ(object->QueryInterface(IID_IClassFactory, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(object->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  EXPECT_EQ(object->QueryInterface(IID_IPersist, nullptr), E_POINTER);
  EXPECT_EQ(object->QueryInterface(IID_IClassFactory, nullptr), E_POINTER);
  EXPECT_EQ(object->Release(), 0u);
}

TEST(Unknown, AnAggregatedObjectCountsOnItsOuter) {
  bool destroyed = false;
  {
    OuterUnknown outer(&destroyed);
    IPersist* persist = nullptr;
    EXPECT_EQ(outer.QueryInterface(IID_IPersist, reinterpret_cast<void**>(&persist)), S_OK);
    EXPECT_EQ(outer.m_cRef, 1u);
    IUnknown* identity = nullptr;
    EXPECT_EQ(persist->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
    EXPECT_EQ(identity, &outer);
    EXPECT_EQ(identity->Release(), 1u);
    EXPECT_EQ(persist->Release(), 0u);
    EXPECT_FALSE(destroyed);
  }
  EXPECT_TRUE(destroyed);
}

TEST(Unknown, TheOwnUnknownOfAnAggregatedObjectIsNotTheOuter) {
  bool destroyed = false;
  {
    OuterUnknown outer(&destroyed);
    IUnknown* own = nullptr;
    EXPECT_EQ(outer.m_pInner->NonDelegatingQueryInterface(IID_IUnknown, reinterpret_cast<void**>(&own)), S_OK);
    EXPECT_NE(own, &outer);
    EXPECT_EQ(own->Release(), 1u);
    EXPECT_EQ(outer.m_cRef, 0u);
  }
  EXPECT_TRUE(destroyed);
}

TEST(Unknown, CountsAreAtomic) {
  bool destroyed = false;
  Object* object = Make(&destroyed);
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([object] {
      for (int n = 0; n < 2000; ++n) {
        object->AddRef();
        object->Release();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(destroyed);
  EXPECT_EQ(object->Release(), 0u);
  EXPECT_TRUE(destroyed);
}

TEST(Unknown, ReleaseInterfaceNullsThePointer) {
  bool destroyed = false;
  IPersist* persist = Make(&destroyed);
  ReleaseInterface(persist);
  EXPECT_EQ(persist, nullptr);
  EXPECT_TRUE(destroyed);
  ReleaseInterface(persist);
}

TEST(Unknown, AnObjectThatOutlivesItsOuterObjectIsItsOwnOwner) {
  bool destroyed = false;
  Object* object = nullptr;
  {
    OuterUnknown outer(&destroyed);
    object = outer.m_pInner;
    EXPECT_EQ(object->GetOwner(), &outer);
    object->NonDelegatingAddRef();  // as a worker does
    object->LeaveOwner();
    EXPECT_EQ(object->AddRef(), 3u);
    EXPECT_EQ(object->Release(), 2u);
    EXPECT_EQ(outer.m_cRef, 0u);
  }
  EXPECT_FALSE(destroyed);
  IUnknown* identity = nullptr;
  EXPECT_EQ(object->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
  EXPECT_EQ(identity, object->GetOwner());
  EXPECT_EQ(object->Release(), 1u);
  EXPECT_EQ(identity->Release(), 0u);
  EXPECT_TRUE(destroyed);
}

}  // namespace
