// What is registered and unregistered, in which order, and what comes of a step that fails.
#include "filter/registration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

#include "baseclasses/dll_setup.h"
#include "filter/mkv_filter.h"
#include "published/component.h"
#include "support/fake_registration.h"

namespace vantor::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

#define STREAM "{E436EB83-524F-11CE-9F53-0020AF0BA770}"
#define PRIVATE_MATROSKA "{49952F4C-3EDC-4A9B-8906-1DE02A3D4BC2}"
#define MATROSKA "{1AC0BEBD-4D2B-45AD-BCEB-F2C41C5E3788}"
#define NONE "{00000000-0000-0000-0000-000000000000}"
#define FILTER "{5E1B2A64-90C3-4D0F-A7E2-6B8D54C9F311}"

#define FIRST_BYTES "Media Type\\" STREAM "\\" PRIVATE_MATROSKA

constexpr ServerSetup kCompleteServer = {kMkvDmxComplete.typeLibraryId, kClsidMkvDmx};

class Registration : public testing::Test {
 protected:
  ClassRegistrar Classes() {
    return [this](BOOL registering) { return system.Note(registering ? "register classes" : "unregister classes"); };
  }
  HRESULT Register() { return RegisterServer(system, Classes()); }
  HRESULT Unregister() { return UnregisterServer(system, Classes()); }
  HRESULT RegisterComplete() { return RegisterServer(system, Classes(), kCompleteServer); }
  HRESULT UnregisterComplete() { return UnregisterServer(system, Classes(), kCompleteServer); }

  FakeRegistration system;
};

const auto kRegistering = {
    "clear Media Type\\" STREAM "\\" PRIVATE_MATROSKA,
    "write Media Type\\" STREAM "\\" PRIVATE_MATROSKA " [0] = 0,4,,1A45DFA3",
    "write Media Type\\" STREAM "\\" PRIVATE_MATROSKA " [Source Filter] = {E436EBB5-524F-11CE-9F53-0020AF0BA770}",
    "delete Media Type\\Extensions\\.webm",
    "delete Media Type\\Extensions\\.mkv",
    "delete Media Type\\Extensions\\.mka",
    "delete Media Type\\Extensions\\.mks",
    "load C:\\Filters\\vantormkv.ax",
    "register library C:\\Filters\\vantormkv.ax",
    "register classes",
};

const auto kUnregistering = {
    "delete Media Type\\" STREAM "\\" PRIVATE_MATROSKA,
    "delete Media Type\\" STREAM "\\" MATROSKA,
    "delete Media Type\\Extensions\\.webm",
    "delete Media Type\\Extensions\\.mkv",
    "delete Media Type\\Extensions\\.mka",
    "delete Media Type\\Extensions\\.mks",
    "unregister library {8F4A6D3B-15E9-4C72-B0A8-3D92F7C1E564} 1.0",
    "unregister classes",
};

TEST_F(Registration, WritesTheFirstBytesDeletesTheExtensionsAndRegistersLibraryAndClasses) {
  EXPECT_EQ(Register(), S_OK);
  EXPECT_THAT(system.calls, testing::ElementsAreArray(kRegistering));
}

TEST_F(Registration, UnregistersBothSubtypesTheExtensionsTheLibraryAndTheClasses) {
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_THAT(system.calls, testing::ElementsAreArray(kUnregistering));
}

TEST_F(Registration, TheCompleteOneWritesTheFirstBytesWhereTheyAreMissing) {
  EXPECT_EQ(RegisterComplete(), S_OK);
  EXPECT_THAT(
      system.calls,
      ElementsAre("look for " FIRST_BYTES " [Source Filter]", "write " FIRST_BYTES " [0] = 0,4,,1A45DFA3",
                  "write " FIRST_BYTES " [Source Filter] = {E436EBB5-524F-11CE-9F53-0020AF0BA770}",
                  "delete Media Type\\Extensions\\.webm", "delete Media Type\\Extensions\\.mkv",
                  "delete Media Type\\Extensions\\.mka", "delete Media Type\\Extensions\\.mks",
                  "load C:\\Filters\\vantormkv.ax", "register library C:\\Filters\\vantormkv.ax", "register classes"));
}

TEST_F(Registration, TheCompleteOneLeavesTheFirstBytesThatAreThere) {
  system.values = {FIRST_BYTES " [Source Filter]"};
  EXPECT_EQ(RegisterComplete(), S_OK);
  EXPECT_THAT(system.calls, Not(Contains(StartsWith("clear"))));
  EXPECT_THAT(system.calls, Not(Contains(StartsWith("write"))));
  EXPECT_EQ(system.calls.back(), "register classes");
}

TEST_F(Registration, TheCompleteOneTakesTheFirstBytesAwayWhenItIsAlone) {
  EXPECT_EQ(UnregisterComplete(), S_OK);
  EXPECT_THAT(system.calls,
              ElementsAre("look for CLSID\\" FILTER "\\InprocServer32 []", "delete " FIRST_BYTES,
                          "delete Media Type\\Extensions\\.webm", "delete Media Type\\Extensions\\.mkv",
                          "delete Media Type\\Extensions\\.mka", "delete Media Type\\Extensions\\.mks",
                          "unregister library {FDE6ADDF-39AA-46D2-9EE8-945104573D8A} 1.0", "unregister classes"));
}

TEST_F(Registration, TheCompleteOneLeavesTheFirstBytesToTheOther) {
  system.values = {"CLSID\\" FILTER "\\InprocServer32 []"};
  EXPECT_EQ(UnregisterComplete(), S_OK);
  EXPECT_THAT(system.calls, Not(Contains(StartsWith("delete " FIRST_BYTES))));
  EXPECT_EQ(system.calls.back(), "unregister classes");
}

TEST_F(Registration, TheCompleteOneLeavesTheFirstBytesWhereItCannotFindOut) {
  system.throwing = "look for";
  EXPECT_EQ(RegisterComplete(), E_OUTOFMEMORY);
  EXPECT_EQ(UnregisterComplete(), S_OK);
  EXPECT_THAT(system.calls, Not(Contains(StartsWith("delete " FIRST_BYTES))));
}

TEST_F(Registration, ExtensionKeysThatCannotBeDeletedAreNoFailure) {
  system.Fail("delete", E_ACCESSDENIED);
  EXPECT_EQ(Register(), S_OK);
  EXPECT_THAT(system.calls, testing::ElementsAreArray(kRegistering));
}

TEST_F(Registration, AFailingMediaTypeKeyIsTheResultButStopsNothingElse) {
  system.Fail("write", E_ACCESSDENIED);
  system.Fail("register classes", E_FAIL);
  EXPECT_EQ(Register(), E_ACCESSDENIED);
  EXPECT_THAT(system.calls, Not(Contains(testing::HasSubstr("[Source Filter]"))));
  EXPECT_EQ(system.calls.size(), kRegistering.size() - 1);
  EXPECT_EQ(system.calls.back(), "register classes");
}

TEST_F(Registration, AFailingSourceFilterValueIsTheResultButStopsNothingElse) {
  system.Fail("write Media Type\\" STREAM "\\" PRIVATE_MATROSKA " [Source Filter]", E_ACCESSDENIED);
  EXPECT_EQ(Register(), E_ACCESSDENIED);
  EXPECT_THAT(system.calls, testing::ElementsAreArray(kRegistering));
}

TEST_F(Registration, AMediaTypeKeyThatKeepsItsOldValuesIsTheResultButIsWrittenAllTheSame) {
  system.Fail("clear", E_ACCESSDENIED);
  EXPECT_EQ(Register(), E_ACCESSDENIED);
  EXPECT_THAT(system.calls, testing::ElementsAreArray(kRegistering));
}

TEST_F(Registration, OfAMediaTypeKeyNeitherClearedNorWrittenTheFirstFailureIsTheResult) {
  system.Fail("clear", E_ACCESSDENIED);
  system.Fail("write", E_FAIL);
  EXPECT_EQ(Register(), E_ACCESSDENIED);
  system.throwing = "write";
  EXPECT_EQ(Register(), E_ACCESSDENIED);
}

TEST_F(Registration, AMediaTypeKeyWhoseClearingRunsOutOfMemoryIsWrittenAllTheSame) {
  system.throwing = "clear";
  EXPECT_EQ(Register(), E_OUTOFMEMORY);
  EXPECT_THAT(system.calls, testing::ElementsAreArray(kRegistering));
}

TEST_F(Registration, ALibraryThatDoesNotLoadStopsBeforeTheClassesWithAMessage) {
  system.Fail("load", TYPE_E_CANTLOADLIBRARY);
  EXPECT_EQ(Register(), TYPE_E_CANTLOADLIBRARY);
  // The result is named in builds that trace.
  EXPECT_EQ(system.calls.back(), "show Error: Failed  to register type library: words for 80029C4A");
  EXPECT_THAT(system.calls, Not(Contains(StartsWith("register"))));
}

TEST_F(Registration, ALibraryThatIsNotRegisteredStopsBeforeTheClassesWithAMessage) {
  system.Fail("register library", TYPE_E_REGISTRYACCESS);
  EXPECT_EQ(Register(), TYPE_E_REGISTRYACCESS);
  EXPECT_EQ(system.calls.back(), "show Error: Failed to register type library: words for 8002801C");
  EXPECT_THAT(system.calls, Not(Contains("register classes")));
}

TEST_F(Registration, AMessageThatRunsOutOfMemoryLeavesTheLibrarysFailureTheResult) {
  system.Fail("load", TYPE_E_CANTLOADLIBRARY);
  for (const char* step : {"show", "words"}) {
    system.throwing = step;
    EXPECT_EQ(Register(), TYPE_E_CANTLOADLIBRARY) << step;
  }
}

TEST_F(Registration, AMessageThatRunsOutOfMemoryLeavesTheRegisteringFailureTheResult) {
  system.Fail("register library", TYPE_E_REGISTRYACCESS);
  for (const char* step : {"show", "words"}) {
    system.throwing = step;
    EXPECT_EQ(Register(), TYPE_E_REGISTRYACCESS) << step;
    EXPECT_THAT(system.calls, Not(Contains("register classes"))) << step;
  }
}

TEST_F(Registration, FailingClassesAreTheResult) {
  system.Fail("register classes", E_ACCESSDENIED);
  EXPECT_EQ(Register(), E_ACCESSDENIED);
  EXPECT_THAT(system.calls, Not(Contains(StartsWith("show"))));
}

TEST_F(Registration, UnregisteringGoesThroughEveryStepAndGivesTheResultOfTheClasses) {
  system.Fail("delete", E_ACCESSDENIED);
  system.Fail("unregister library", TYPE_E_REGISTRYACCESS);
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_THAT(system.calls, testing::ElementsAreArray(kUnregistering));
  system.Fail("unregister classes", E_FAIL);
  EXPECT_EQ(Unregister(), E_FAIL);
}

TEST_F(Registration, NoExceptionLeavesIt) {
  const ClassRegistrar classes = [](BOOL) -> HRESULT { throw std::bad_alloc(); };
  EXPECT_EQ(RegisterServer(system, classes), E_OUTOFMEMORY);
  EXPECT_EQ(UnregisterServer(system, classes), E_OUTOFMEMORY);
}

TEST_F(Registration, AStepThatRunsOutOfMemoryDoesNotEndTheOthers) {
  for (const char* step : {"clear Media Type", "write Media Type", "delete Media Type\\Extensions"}) {
    system.calls.clear();
    system.throwing = step;
    EXPECT_EQ(Register(), std::string(step).starts_with("delete") ? S_OK : E_OUTOFMEMORY) << step;
    EXPECT_EQ(system.calls.back(), "register classes") << step;
  }
  for (const char* step : {"delete Media Type", "unregister library"}) {
    system.calls.clear();
    system.throwing = step;
    EXPECT_EQ(Unregister(), S_OK) << step;
    EXPECT_EQ(system.calls.back(), "unregister classes") << step;
    EXPECT_GE(system.calls.size(), 8u) << "both subtypes, four extensions, the library, the classes";
  }
}

TEST(ClassTable, HasTheDemultiplexerAsItsOneEntry) {
  ASSERT_EQ(g_cTemplates, 1);
  const CFactoryTemplate& entry = g_Templates[0];
  EXPECT_EQ(WideToUtf8(entry.m_Name), "Vantor MKV Demultiplexer");
  EXPECT_EQ(GuidText(*entry.m_ClsID), FILTER);
  EXPECT_EQ(entry.m_lpfnNew, &CVXMkvDmx::CreateInstance);
  EXPECT_EQ(entry.m_lpfnInit, nullptr);
  EXPECT_EQ(entry.m_pAMovieSetup_Filter, &kFilterSetup);
}

TEST(SetupRecord, ReachesTheMapperAsItIs) {
  FakeRegistration system;
  EXPECT_EQ(AMovieDllRegisterTemplates(g_Templates, g_cTemplates, TRUE, system), S_OK);
  // Flag 8: an output pin.
  EXPECT_THAT(system.calls,
              ElementsAre("write CLSID\\" FILTER " [] = Vantor MKV Demultiplexer",
                          "write CLSID\\" FILTER "\\InprocServer32 [] = C:\\Filters\\vantormkv.ax",
                          "write CLSID\\" FILTER "\\InprocServer32 [ThreadingModel] = Both", "open mapper",
                          "unregister filter " FILTER,
                          "register filter " FILTER
                          " Vantor MKV Demultiplexer merit 00600000 pins 2, flags 0 " STREAM PRIVATE_MATROSKA
                          " " STREAM MATROSKA " " NONE NONE ", flags 8"));
}

TEST(SetupRecord, OfTheCompleteOneDiffersInNameClassAndOneStepOfMerit) {
  EXPECT_EQ(WideToUtf8(kCompleteFilterSetup.strName), "Vantor MKV Demultiplexer (complete)");
  EXPECT_EQ(GuidText(*kCompleteFilterSetup.clsID), GuidText(kMkvDmxComplete.classId));
  EXPECT_EQ(kCompleteFilterSetup.dwMerit, kFilterSetup.dwMerit + 1);
  EXPECT_EQ(kCompleteFilterSetup.nPins, kFilterSetup.nPins);
  EXPECT_EQ(kCompleteFilterSetup.lpPin, kFilterSetup.lpPin);
}

TEST(SetupRecord, NamesThePinsAndConnectsThemToNothing) {
  ASSERT_EQ(kFilterSetup.nPins, 2u);
  const AMOVIESETUP_PIN& input = kFilterSetup.lpPin[0];
  const AMOVIESETUP_PIN& output = kFilterSetup.lpPin[1];
  EXPECT_EQ(WideToUtf8(input.strName), "Input");
  EXPECT_EQ(WideToUtf8(output.strName), "Output");
  EXPECT_FALSE(input.bOutput);
  EXPECT_TRUE(output.bOutput);
  for (const AMOVIESETUP_PIN* pin : {&input, &output}) {
    EXPECT_FALSE(pin->bRendered);
    EXPECT_FALSE(pin->bZero);
    EXPECT_FALSE(pin->bMany);
    EXPECT_TRUE(SameGuid(*pin->clsConnectsToFilter, CLSID_NULL));
    EXPECT_EQ(pin->strConnectsToPin, nullptr);
  }
}

}  // namespace
}  // namespace vantor::test
