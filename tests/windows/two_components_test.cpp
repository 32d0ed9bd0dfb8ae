// Both components in the registry, by the system's own program, in every order.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "component/loaded_component.h"
#include "platform/text.h"
#include "published/component.h"
#include "windows/registry_snapshot.h"
#include "windows/regsvr32.h"

namespace vantor::test {
namespace {

namespace two_components {

using testing::IsEmpty;

const std::string kStreams = "Media Type\\" + GuidText(MEDIATYPE_Stream);
const std::string kFirstBytes = kStreams + "\\{49952F4C-3EDC-4A9B-8906-1DE02A3D4BC2}";

std::vector<std::string> KeysOf(const ComponentIdentity& identity) {
  return {"CLSID\\" + GuidText(identity.classId),
          "CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}\\Instance\\" + GuidText(identity.classId),
          "TypeLib\\" + GuidText(identity.typeLibraryId), "Interface\\" + GuidText(identity.interfaceId)};
}

RegistrySnapshot OwnKeys(const ComponentIdentity& identity) {
  RegistrySnapshot all;
  for (const std::string& key : KeysOf(identity)) all.merge(Snapshot(key));
  return all;
}

// All of HKEY_CLASSES_ROOT that either could touch, by mistake too.
RegistrySnapshot Everything() {
  RegistrySnapshot all = Snapshot({"Media Type", "TypeLib", "Filter", "CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}"});
  all.merge(OwnKeys(kMkvDmx));
  all.merge(OwnKeys(kMkvDmxComplete));
  return all;
}

class TwoComponents : public testing::Test {
 protected:
  enum Which { kPlain, kComplete };

  TwoComponents() {
    Regsvr32("/s /u", kComplete);
    Regsvr32("/s /u", kPlain);
    before_ = Everything();
  }
  ~TwoComponents() override {
    Regsvr32("/s /u", kComplete);
    Regsvr32("/s /u", kPlain);
    EXPECT_THAT(Changes(before_, Everything()), IsEmpty());
  }

  static void Regsvr32(const char* options, Which which) {
    const std::string path =
        LoadedComponent::PathOf(which == kPlain ? VANTOR_COMPONENT_FILE : VANTOR_COMPLETE_COMPONENT_FILE);
    EXPECT_EQ(RunRegsvr32(options, path), (Regsvr32Run{0, ""})) << options << " " << path;
  }
  static void Register(Which which) { Regsvr32("/s", which); }
  static void Unregister(Which which) { Regsvr32("/s /u", which); }

  RegistrySnapshot before_;
};

TEST_F(TwoComponents, InEitherOrderBothAreThereWhole) {
  Register(kPlain);
  const RegistrySnapshot plain = OwnKeys(kMkvDmx);
  const RegistrySnapshot bytes = Snapshot(kFirstBytes);
  Register(kComplete);
  const RegistrySnapshot complete = OwnKeys(kMkvDmxComplete);
  const RegistrySnapshot both = Everything();
  EXPECT_FALSE(plain.empty());
  EXPECT_FALSE(complete.empty());
  EXPECT_FALSE(bytes.empty());
  EXPECT_THAT(Changes(plain, OwnKeys(kMkvDmx)), IsEmpty());
  EXPECT_THAT(Changes(bytes, Snapshot(kFirstBytes)), IsEmpty());
  Unregister(kComplete);
  Unregister(kPlain);
  EXPECT_THAT(Changes(before_, Everything()), IsEmpty());
  Register(kComplete);
  Register(kPlain);
  EXPECT_THAT(Changes(both, Everything()), IsEmpty());
  Unregister(kPlain);
  Unregister(kComplete);
  EXPECT_THAT(Changes(before_, Everything()), IsEmpty());
}

TEST_F(TwoComponents, TheCompleteOneAloneBringsTheFirstBytesAndTakesThemAway) {
  Register(kComplete);
  EXPECT_EQ(Snapshot(kFirstBytes).size(), 2u);
  EXPECT_THAT(OwnKeys(kMkvDmx), IsEmpty());
  Unregister(kComplete);
  EXPECT_THAT(Changes(before_, Everything()), IsEmpty());
}

TEST_F(TwoComponents, TheCompleteOneComesAndGoesWithoutATraceInTheOthersKeys) {
  Register(kPlain);
  const RegistrySnapshot plain = Everything();
  for (int time = 0; time < 2; ++time) {
    Register(kComplete);
    Unregister(kComplete);
    EXPECT_THAT(Changes(plain, Everything()), IsEmpty());
  }
}

TEST_F(TwoComponents, TheOtherGoesWithTheFirstBytesAndTheCompleteOneBringsThemBack) {
  Register(kPlain);
  Register(kComplete);
  const RegistrySnapshot complete = OwnKeys(kMkvDmxComplete);
  Unregister(kPlain);
  EXPECT_THAT(Changes(complete, OwnKeys(kMkvDmxComplete)), IsEmpty());
  EXPECT_FALSE(KeyExists(kFirstBytes));
  Register(kComplete);
  EXPECT_EQ(Snapshot(kFirstBytes).size(), 2u);
}

TEST_F(TwoComponents, FirstBytesThatAnotherProgramWroteStayWithTheCompleteOne) {
  MakeKey(kFirstBytes, "of another program");
  MakeValue(kFirstBytes, "0", "0,4,,00000000");
  MakeValue(kFirstBytes, "Source Filter", GuidText(CLSID_AsyncReader));
  const RegistrySnapshot others = Snapshot(kFirstBytes);
  Register(kComplete);
  EXPECT_THAT(Changes(others, Snapshot(kFirstBytes)), IsEmpty());
}

}  // namespace two_components

}  // namespace
}  // namespace vantor::test
