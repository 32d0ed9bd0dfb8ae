// The exported functions of the components as built.
#include <gtest/gtest.h>

#include "component/loaded_component.h"
#include "platform/com_ptr.h"
#include "published/component.h"

namespace vantor::test {
namespace {

struct BuiltComponent {
  const char* file;
  const ComponentIdentity& identity;
  const ComponentIdentity& other;
};

class EntryPoints : public testing::WithParamInterface<BuiltComponent>, public LoadedComponent {
 protected:
  EntryPoints() : LoadedComponent(GetParam().file) {}
  const ComponentIdentity& Identity() const { return GetParam().identity; }
};

INSTANTIATE_TEST_SUITE_P(, EntryPoints,
                         testing::Values(BuiltComponent{VANTOR_COMPONENT_FILE, kMkvDmx, kMkvDmxComplete},
                                         BuiltComponent{VANTOR_COMPLETE_COMPONENT_FILE, kMkvDmxComplete, kMkvDmx}),
                         [](const auto& component) {
                           return &component.param.identity == &kMkvDmx ? "Demultiplexer" : "Complete";
                         });

TEST_P(EntryPoints, TheOneClassIsTheDemultiplexer) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(GetClassObject(Identity().classId, IID_IClassFactory, factory.Void()), S_OK);
  ComPtr<IBaseFilter> filter;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.Void()), S_OK);
  CLSID clsid = {};
  EXPECT_EQ(filter->GetClassID(&clsid), S_OK);
  EXPECT_TRUE(SameGuid(clsid, Identity().classId));
}

TEST_P(EntryPoints, TheFilterHasTheInterfaceOfItsOwnAndNotTheOthers) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(GetClassObject(Identity().classId, IID_IClassFactory, factory.Void()), S_OK);
  ComPtr<IDispatch> dispatch;
  EXPECT_EQ(factory->CreateInstance(nullptr, Identity().interfaceId, dispatch.Void()), S_OK);
  ComPtr<IDispatch> foreign;
  EXPECT_EQ(factory->CreateInstance(nullptr, GetParam().other.interfaceId, foreign.Void()), E_NOINTERFACE);
}

TEST_P(EntryPoints, AnotherClassIsNotAvailable) {
  for (const GUID& other : {kIidMkvDmx, GetParam().other.classId}) {
    void* object = &object;
    EXPECT_EQ(GetClassObject(other, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
  }
}

TEST_P(EntryPoints, TheModuleStaysWhileAFactoryAFilterOrALockOfTheFactoryLives) {
  EXPECT_EQ(Call("DllCanUnloadNow"), S_OK);
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(GetClassObject(Identity().classId, IID_IClassFactory, factory.Void()), S_OK);
  EXPECT_EQ(Call("DllCanUnloadNow"), S_FALSE);
  ComPtr<IBaseFilter> filter;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.Void()), S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  factory.Reset();
  EXPECT_EQ(Call("DllCanUnloadNow"), S_FALSE);
  filter.Reset();
  EXPECT_EQ(Call("DllCanUnloadNow"), S_FALSE);
  ASSERT_EQ(GetClassObject(Identity().classId, IID_IClassFactory, factory.Void()), S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  factory.Reset();
  EXPECT_EQ(Call("DllCanUnloadNow"), S_OK);
}

}  // namespace
}  // namespace vantor::test
