// Where there is no registry, the component cannot be registered, and says so.
#include <gtest/gtest.h>

#include "component/loaded_component.h"
#include "platform/registration.h"

namespace vantor::test {
namespace {

using NoRegistry = LoadedComponent;

TEST_F(NoRegistry, RegisteringAndUnregisteringAreNotImplemented) {
  EXPECT_EQ(platform::SystemRegistration(), nullptr);
  EXPECT_EQ(Call("DllRegisterServer"), E_NOTIMPL);
  EXPECT_EQ(Call("DllUnregisterServer"), E_NOTIMPL);
}

}  // namespace
}  // namespace vantor::test
