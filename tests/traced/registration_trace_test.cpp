// What a failing registration writes to the trace log, and the name of its result in the message, in a build that
// traces.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diag/file_logger.h"
#include "diag/trace.h"
#include "diag/trace_folder.h"
#include "filter/registration.h"
#include "support/fake_registration.h"

namespace vantor::test {
namespace {

using testing::EndsWith;

class RegistrationTrace : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NO_FATAL_FAILURE(TraceTo(folder_.Path("trace.txt"))); }
  static std::string Traced() {
    const WideString path = TracePath();
    FileLogger::ForPath(path, TraceSystem::Real())->Flush();
    return TraceFolder::Content(path);
  }
  HRESULT Register() {
    return RegisterServer(system, [](BOOL) { return S_OK; });
  }

  FakeRegistration system;

 private:
  TraceFolder folder_;
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
