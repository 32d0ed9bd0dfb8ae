// Class factories, registration data and the dispatch interface: what a server shows to COM.
#include <gtest/gtest.h>

#include <map>
#include <new>

#include "baseclasses/class_factory.h"
#include "baseclasses/fakes.h"
#include "baseclasses/filter_dispatch.h"

using namespace vantor::test;
using vantor::ComPtr;
using vantor::SameGuid;
using vantor::WideString;

namespace {

HRESULT g_result = S_OK;
bool g_throw = false;
int g_loaded = 0;

CUnknown* CALLBACK Make(LPUNKNOWN outer, HRESULT* phr) {
  if (g_throw) throw std::bad_alloc();
  *phr = g_result;
  return new FakeFilter(outer);
}
CUnknown* CALLBACK MakeNothing(LPUNKNOWN, HRESULT*) { return nullptr; }
void CALLBACK Note(BOOL loading, const CLSID* clsid) {
  EXPECT_TRUE(SameGuid(*clsid, kTypeA));
  g_loaded += loading ? 1 : -1;
}

const CFactoryTemplate kTable[] = {
    {OLESTR("filter"), &kTypeA, Make, Note, nullptr},
    {OLESTR("nothing"), &kTypeB, MakeNothing, nullptr, nullptr},
};

class Factory : public testing::Test {
 protected:
  Factory() {
    g_result = S_OK;
    g_throw = false;
    EXPECT_EQ(Get(kTypeA, factory.Out()), S_OK);
  }
  ~Factory() override {
    factory.Reset();
    EXPECT_EQ(CClassFactory::CanUnloadNow(), S_OK);
  }
  static HRESULT Get(REFCLSID clsid, IClassFactory** out) {
    return CClassFactory::GetClassObject(kTable, 2, clsid, IID_IClassFactory, reinterpret_cast<void**>(out));
  }
  ComPtr<IClassFactory> factory;
};

TEST_F(Factory, MakesAnObjectOfItsClass) {
  ComPtr<IBaseFilter> filter;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.Void()), S_OK);
  CLSID clsid;
  EXPECT_EQ(filter->GetClassID(&clsid), S_OK);
  EXPECT_TRUE(SameGuid(clsid, kTypeA));
}

TEST_F(Factory, AClassNotInTheTableIsNotAvailable) {
  IClassFactory* none = factory.Get();
  EXPECT_EQ(Get(kTypeC, &none), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(Get(kTypeA, nullptr), E_POINTER);
  void* object = &object;
  EXPECT_EQ(CClassFactory::GetClassObject(kTable, 2, kTypeA, IID_IPin, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
}

TEST_F(Factory, AnObjectWithoutTheInterfaceIsGoneAgain) {
  void* object = &object;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPin, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(CBaseObject::ObjectsActive(), 1);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPin, nullptr), E_POINTER);
}

TEST_F(Factory, AFailureOfTheMakingIsTheAnswer) {
  void* object = &object;
  g_result = E_ACCESSDENIED;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, &object), E_ACCESSDENIED);
  EXPECT_EQ(object, nullptr);
  g_throw = true;
  object = &object;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, &object), E_OUTOFMEMORY);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(CBaseObject::ObjectsActive(), 1);
  ComPtr<IClassFactory> empty;
  EXPECT_EQ(Get(kTypeB, empty.Out()), S_OK);
  EXPECT_EQ(empty->CreateInstance(nullptr, IID_IUnknown, &object), E_OUTOFMEMORY);
}

// An outer object around a filter.
class Outer final : public IUnknown {
 public:
  virtual ~Outer() {
    if (inner) inner->Release();
  }
  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
    if (SameGuid(riid, IID_IUnknown)) return GetInterface(this, ppv);
    return inner->QueryInterface(riid, ppv);
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }
  IUnknown* inner = nullptr;
  ULONG references = 0;
};

TEST_F(Factory, AnOuterObjectMayAskForTheUnknownOnly) {
  Outer outer;
  void* object = &object;
  EXPECT_EQ(factory->CreateInstance(&outer, IID_IBaseFilter, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(CBaseObject::ObjectsActive(), 1);
}

TEST_F(Factory, AnAggregatedFilterShowsTheOuterIdentity) {
  Outer outer;
  ASSERT_EQ(factory->CreateInstance(&outer, IID_IUnknown, reinterpret_cast<void**>(&outer.inner)), S_OK);
  IBaseFilter* filter = nullptr;
  ASSERT_EQ(outer.QueryInterface(IID_IBaseFilter, reinterpret_cast<void**>(&filter)), S_OK);
  EXPECT_EQ(outer.references, 1u);
  IUnknown* identity = nullptr;
  EXPECT_EQ(filter->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
  EXPECT_EQ(identity, &outer);
  identity->Release();
  filter->Release();
  EXPECT_EQ(outer.references, 0u);
}

TEST_F(Factory, TheModuleStaysWhileAnythingLives) {
  EXPECT_EQ(CClassFactory::CanUnloadNow(), S_FALSE);
  ComPtr<IUnknown> object;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, object.Void()), S_OK);
  factory.Reset();
  EXPECT_EQ(CClassFactory::CanUnloadNow(), S_FALSE);
  object.Reset();
  EXPECT_EQ(CClassFactory::CanUnloadNow(), S_OK);
}

TEST_F(Factory, TheModuleStaysWhileItIsLocked) {
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  ComPtr<IClassFactory> other;
  std::swap(factory, other);
  other->AddRef();
  IClassFactory* last = other.Get();
  other.Reset();
  EXPECT_EQ(CClassFactory::CanUnloadNow(), S_FALSE);
  last->LockServer(FALSE);
  last->Release();
  EXPECT_EQ(CClassFactory::CanUnloadNow(), S_OK);
}

TEST_F(Factory, InitialisationRoutinesAreCalledWhereThereAreAny) {
  CClassFactory::InitClasses(kTable, 2, TRUE);
  EXPECT_EQ(g_loaded, 1);
  CClassFactory::InitClasses(kTable, 2, FALSE);
  EXPECT_EQ(g_loaded, 0);
}

// A filter mapper that keeps what it was told.
class Mapper final : public IFilterMapper2 {
 public:
  virtual ~Mapper() = default;
  STDMETHODIMP QueryInterface(REFIID, void** ppv) override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 1; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP CreateCategory(REFCLSID, DWORD, LPCWSTR) override { return E_NOTIMPL; }
  STDMETHODIMP UnregisterFilter(const CLSID* category, LPCOLESTR instance, REFCLSID filter) override {
    EXPECT_EQ(category, nullptr);
    EXPECT_EQ(instance, nullptr);
    EXPECT_TRUE(SameGuid(filter, kTypeA));
    ++unregistered;
    return E_FAIL;
  }
  STDMETHODIMP RegisterFilter(REFCLSID filter, LPCWSTR name, IMoniker**, const CLSID*, LPCOLESTR,
                              const REGFILTER2* data) override {
    EXPECT_TRUE(SameGuid(filter, kTypeA));
    EXPECT_EQ(WideString(name), WideString(OLESTR("The filter")));
    EXPECT_EQ(data->dwVersion, 2u);
    EXPECT_EQ(data->dwMerit, static_cast<DWORD>(MERIT_NORMAL));
    EXPECT_EQ(data->cPins2, 2u);
    if (data->cPins2 != 2) return E_FAIL;
    EXPECT_EQ(data->rgPins2[0].dwFlags, 0u);
    EXPECT_EQ(data->rgPins2[0].nMediaTypes, 2u);
    EXPECT_TRUE(SameGuid(*data->rgPins2[0].lpMediaType[1].clsMajorType, MEDIATYPE_Stream));
    EXPECT_TRUE(SameGuid(*data->rgPins2[0].lpMediaType[1].clsMinorType, kTypeC));
    EXPECT_EQ(data->rgPins2[1].dwFlags, static_cast<DWORD>(REG_PINFLAG_B_OUTPUT | REG_PINFLAG_B_MANY |
                                                           REG_PINFLAG_B_ZERO | REG_PINFLAG_B_RENDERER));
    EXPECT_EQ(data->rgPins2[1].nMediaTypes, 0u);
    ++registered;
    return S_OK;
  }
  STDMETHODIMP EnumMatchingFilters(IEnumMoniker**, DWORD, BOOL, DWORD, BOOL, DWORD, const GUID*, const REGPINMEDIUM*,
                                   const CLSID*, BOOL, BOOL, DWORD, const GUID*, const REGPINMEDIUM*,
                                   const CLSID*) override {
    return E_NOTIMPL;
  }
  int registered = 0;
  int unregistered = 0;
};

TEST(SetupData, ReachesTheMapperWhole) {
  const AMOVIESETUP_MEDIATYPE types[] = {{&MEDIATYPE_Stream, &kTypeB}, {&MEDIATYPE_Stream, &kTypeC}};
  const AMOVIESETUP_PIN pins[] = {
      {OLESTR("Input"), FALSE, FALSE, FALSE, FALSE, &CLSID_NULL, nullptr, 2, types},
      {OLESTR("Output"), TRUE, TRUE, TRUE, TRUE, &CLSID_NULL, nullptr, 0, nullptr},
  };
  const AMOVIESETUP_FILTER setup = {&kTypeA, OLESTR("The filter"), MERIT_NORMAL, 2, pins};
  Mapper mapper;
  EXPECT_EQ(AMovieSetupRegisterFilter2(&setup, &mapper, TRUE), S_OK);
  EXPECT_EQ(mapper.registered, 1);
  EXPECT_EQ(mapper.unregistered, 1);
  EXPECT_EQ(AMovieSetupRegisterFilter2(&setup, &mapper, FALSE), E_FAIL);
  EXPECT_EQ(mapper.registered, 1);
  EXPECT_EQ(mapper.unregistered, 2);
}

TEST(SetupData, NoneIsNothingToDo) {
  Mapper mapper;
  EXPECT_EQ(AMovieSetupRegisterFilter2(nullptr, &mapper, TRUE), S_FALSE);
  EXPECT_EQ(mapper.unregistered, 0);
}

// A filter with a dispatch interface that no type library describes.
class DispatchFilter final : public FakeFilter, public CFilterDispatchImpl<IDispatch> {
 public:
  DispatchFilter() : CFilterDispatchImpl<IDispatch>(kTypeB, 1, 0, kTypeC) {}
  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override {
    if (SameGuid(riid, IID_IDispatch)) return GetInterface(static_cast<IDispatch*>(this), ppv);
    return FakeFilter::NonDelegatingQueryInterface(riid, ppv);
  }
};

class Dispatch : public testing::Test {
 protected:
  Dispatch() {
    auto* filter = new DispatchFilter;
    EXPECT_EQ(filter->NonDelegatingQueryInterface(IID_IDispatch, dispatch.Void()), S_OK);
  }
  ~Dispatch() override {
    dispatch.Reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
  }
  ComPtr<IDispatch> dispatch;
};

TEST_F(Dispatch, ThereIsOneDescription) {
  UINT count = 0;
  EXPECT_EQ(dispatch->GetTypeInfoCount(&count), S_OK);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(dispatch->GetTypeInfoCount(nullptr), E_POINTER);
}

TEST_F(Dispatch, AnotherDescriptionThanTheFirstIsABadIndex) {
  ITypeInfo* info = reinterpret_cast<ITypeInfo*>(1);
  EXPECT_EQ(dispatch->GetTypeInfo(1, 0, &info), DISP_E_BADINDEX);
  EXPECT_EQ(info, nullptr);
  EXPECT_EQ(dispatch->GetTypeInfo(0, 0, nullptr), E_POINTER);
}

TEST_F(Dispatch, WithoutATypeLibraryEveryCallFails) {
  ITypeInfo* info = reinterpret_cast<ITypeInfo*>(1);
  EXPECT_TRUE(FAILED(dispatch->GetTypeInfo(0, 0, &info)));
  EXPECT_EQ(info, nullptr);
  WideString name = OLESTR("Name");
  LPOLESTR names[] = {name.data()};
  DISPID id = 0;
  EXPECT_TRUE(FAILED(dispatch->GetIDsOfNames(IID_NULL, names, 1, 0, &id)));
  DISPPARAMS parameters = {};
  EXPECT_TRUE(FAILED(dispatch->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr)));
}

TEST_F(Dispatch, TheReservedInterfaceIdMustBeNull) {
  WideString name = OLESTR("Name");
  LPOLESTR names[] = {name.data()};
  DISPID id = 0;
  EXPECT_EQ(dispatch->GetIDsOfNames(IID_IUnknown, names, 1, 0, &id), DISP_E_UNKNOWNINTERFACE);
  DISPPARAMS parameters = {};
  EXPECT_EQ(dispatch->Invoke(1, IID_IUnknown, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr),
            DISP_E_UNKNOWNINTERFACE);
}

}  // namespace
