// What a failing registration writes to the trace log, and the name of its result in the message, in a build that
// traces.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "filter/registration.h"
#include "support/fake_registration.h"
#include "traced/process_trace.h"

namespace vantor::test {
namespace {

using testing::EndsWith;

class RegistrationTrace : public testing::Test {
 protected:
  std::string Traced() const { return trace_.Content(); }
  HRESULT Register() {
    return RegisterServer(system, [](BOOL) { return S_OK; });
  }

  FakeRegistration system;

 private:
  ProcessTrace trace_;
};

TEST_F(RegistrationTrace, ALibraryThatDoesNotLoadIsTracedAndItsResultNamed) {
  system.Fail("load", E_ACCESSDENIED);
  EXPECT_EQ(Register(), E_ACCESSDENIED);
  EXPECT_THAT(Traced(), EndsWith(": VX_RegisterTypeLibrary: LoadTypeLib failed 0x80070005"));
  EXPECT_EQ(system.calls.back(), "show Error: Failed E_ACCESSDENIED to register type library: words for 80070005");
}

TEST_F(RegistrationTrace, ALibraryThatIsNotRegisteredIsTraced) {
  system.Fail("register library", E_ACCESSDENIED);
  EXPECT_EQ(Register(), E_ACCESSDENIED);
  EXPECT_THAT(Traced(), EndsWith(": VX_RegisterTypeLibrary: RegisterTypeLib failed 0x80070005"));
}

TEST_F(RegistrationTrace, ARegistrationThatSucceedsTracesNothing) {
  EXPECT_EQ(Register(), S_OK);
  EXPECT_EQ(Traced(), "");
}

}  // namespace
}  // namespace vantor::test
