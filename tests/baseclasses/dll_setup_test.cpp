// Registration of a server's classes and filters.
#include "baseclasses/dll_setup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/fake_registration.h"

namespace vantor::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr CLSID kFirst = {0x11111111, 0x1111, 0x1111, {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11}};
constexpr CLSID kSecond = {0x22222222, 0x2222, 0x2222, {0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22}};
const AMOVIESETUP_FILTER kFirstSetup = {&kFirst, OLESTR("First"), MERIT_UNLIKELY, 0, nullptr};
const AMOVIESETUP_FILTER kSecondSetup = {&kSecond, OLESTR("Second filter"), MERIT_NORMAL, 0, nullptr};
const CFactoryTemplate kTable[] = {
    {OLESTR("First"), &kFirst, nullptr, nullptr, &kFirstSetup},
    {OLESTR("No filter"), &CLSID_NULL, nullptr, nullptr, nullptr},
    {OLESTR("Second"), &kSecond, nullptr, nullptr, &kSecondSetup},
};

#define FIRST "{11111111-1111-1111-1111-111111111111}"
#define SECOND "{22222222-2222-2222-2222-222222222222}"

class DllSetup : public testing::Test {
 protected:
  ~DllSetup() override { EXPECT_EQ(system.MapperReferences(), 0u); }
  HRESULT Register() { return AMovieDllRegisterTemplates(kTable, 3, TRUE, system); }
  HRESULT Unregister() { return AMovieDllRegisterTemplates(kTable, 3, FALSE, system); }

  FakeRegistration system;
};

TEST_F(DllSetup, RegistersTheClassesAndThenTheFiltersOfEntriesWithSetupData) {
  EXPECT_EQ(Register(), S_OK);
  EXPECT_THAT(
      system.calls,
      ElementsAre(
          "write CLSID\\" FIRST " [] = First", "write CLSID\\" FIRST "\\InprocServer32 [] = C:\\Filters\\vantormkv.ax",
          "write CLSID\\" FIRST "\\InprocServer32 [ThreadingModel] = Both", "write CLSID\\" SECOND " [] = Second",
          "write CLSID\\" SECOND "\\InprocServer32 [] = C:\\Filters\\vantormkv.ax",
          "write CLSID\\" SECOND "\\InprocServer32 [ThreadingModel] = Both", "open mapper", "unregister filter " FIRST,
          "register filter " FIRST " First merit 00400000 pins 0", "unregister filter " SECOND,
          "register filter " SECOND " Second filter merit 00600000 pins 0"));
}

TEST_F(DllSetup, UnregistersTheFiltersAndDeletesTheClassesWhole) {
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_THAT(system.calls, ElementsAre("open mapper", "unregister filter " FIRST, "delete all of CLSID\\" FIRST,
                                        "unregister filter " SECOND, "delete all of CLSID\\" SECOND));
}

TEST_F(DllSetup, RegisteringEndsAtTheFirstFailureWhicheverItIs) {
  ASSERT_EQ(Register(), S_OK);
  const std::vector<std::string> all = system.calls;
  for (std::size_t failing = 0; failing < all.size(); ++failing) {
    if (all[failing].starts_with("unregister")) continue;  // what was not registered before
    FakeRegistration partly;
    partly.Fail(all[failing], E_ACCESSDENIED);
    EXPECT_EQ(AMovieDllRegisterTemplates(kTable, 3, TRUE, partly), E_ACCESSDENIED) << all[failing];
    // No two lines begin alike, so it is this one that failed, and nothing came after it.
    EXPECT_EQ(partly.calls.back(), all[failing]);
    EXPECT_EQ(partly.calls.size(), failing + 1);
    EXPECT_EQ(partly.MapperReferences(), 0u);
  }
}

TEST_F(DllSetup, UnregisteringGoesThroughAllOfItWhateverFails) {
  ASSERT_EQ(Unregister(), S_OK);
  const std::vector<std::string> all = system.calls;
  for (const std::string& failing : all) {
    if (failing == "open mapper") continue;
    FakeRegistration partly;
    partly.Fail(failing, E_ACCESSDENIED);
    EXPECT_EQ(AMovieDllRegisterTemplates(kTable, 3, FALSE, partly), E_ACCESSDENIED) << failing;
    EXPECT_EQ(partly.calls, all);
  }
}

TEST_F(DllSetup, TheFirstFailureOfUnregisteringIsItsResult) {
  system.Fail("unregister filter " FIRST, E_ACCESSDENIED);
  system.Fail("delete all of CLSID\\" SECOND, E_FAIL);
  EXPECT_EQ(Unregister(), E_ACCESSDENIED);
}

TEST_F(DllSetup, WithoutAMapperTheClassesAreDeletedAllTheSame) {
  system.Fail("open mapper", REGDB_E_CLASSNOTREG);
  EXPECT_EQ(Unregister(), REGDB_E_CLASSNOTREG);
  EXPECT_THAT(system.calls, ElementsAre("open mapper", "delete all of CLSID\\" FIRST, "delete all of CLSID\\" SECOND));
}

TEST_F(DllSetup, UnregisteringWhatWasNotRegisteredSucceeds) {
  system.Fail("unregister filter", HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  system.Fail("delete", HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(Unregister(), S_OK);
}

TEST_F(DllSetup, AModuleThatDoesNotKnowItsPathIsNotRegistered) {
  system.modulePath.clear();
  EXPECT_EQ(Register(), E_UNEXPECTED);
  EXPECT_THAT(system.calls, IsEmpty());
}

}  // namespace
}  // namespace vantor::test
