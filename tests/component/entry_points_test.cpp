// The exported functions of the component as built.
#include <gtest/gtest.h>

#include "component/loaded_component.h"
#include "platform/com_ptr.h"
#include "published/component.h"

namespace vantor::test {
namespace {

using EntryPoints = LoadedComponent;

TEST_F(EntryPoints, TheOneClassIsTheDemultiplexer) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(GetClassObject(kClsidMkvDmx, IID_IClassFactory, factory.Void()), S_OK);
  ComPtr<IBaseFilter> filter;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.Void()), S_OK);
  CLSID clsid = {};
  EXPECT_EQ(filter->GetClassID(&clsid), S_OK);
  EXPECT_TRUE(SameGuid(clsid, kClsidMkvDmx));
}

TEST_F(EntryPoints, AnotherClassIsNotAvailable) {
  void* object = &object;
  EXPECT_EQ(GetClassObject(kIidMkvDmx, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, nullptr);
}

TEST_F(EntryPoints, TheModuleStaysWhileAFactoryAFilterOrALockOfTheFactoryLives) {
  EXPECT_EQ(Call("DllCanUnloadNow"), S_OK);
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(GetClassObject(kClsidMkvDmx, IID_IClassFactory, factory.Void()), S_OK);
  EXPECT_EQ(Call("DllCanUnloadNow"), S_FALSE);
  ComPtr<IBaseFilter> filter;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.Void()), S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  factory.Reset();
  EXPECT_EQ(Call("DllCanUnloadNow"), S_FALSE);
  filter.Reset();
  EXPECT_EQ(Call("DllCanUnloadNow"), S_FALSE);
  ASSERT_EQ(GetClassObject(kClsidMkvDmx, IID_IClassFactory, factory.Void()), S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  factory.Reset();
  EXPECT_EQ(Call("DllCanUnloadNow"), S_OK);
}

}  // namespace
}  // namespace vantor::test
