// What the running system's registry does for registration, call by call, below a key of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/registration.h"
#include "platform/result.h"
#include "support/allocation_monitor.h"
#include "windows/registry_snapshot.h"

namespace vantor::test {
namespace {

using testing::IsEmpty;

constexpr HRESULT kMissing = static_cast<HRESULT>(0x80070002);
constexpr char kKey[] = "VantorSystemRegistrationTest";
const std::string kParent = std::string(kKey) + "\\parent";
const std::string kChild = kParent + "\\child";

class SystemRegistration : public testing::Test {
 protected:
  SystemRegistration() { DeleteTree(kKey); }
  ~SystemRegistration() override {
    DeleteTree(kKey);
    EXPECT_FALSE(KeyExists(kKey));
  }

  platform::RegistrationSystem& system_ = *platform::SystemRegistration();
};

TEST_F(SystemRegistration, ATreeIsDeletedOnceAndMissingAfterwards) {
  MakeKey(kChild, "below");
  EXPECT_EQ(system_.DeleteClassesTree(kParent), S_OK);
  EXPECT_FALSE(KeyExists(kParent));
  EXPECT_EQ(system_.DeleteClassesTree(kParent), kMissing);
}

TEST_F(SystemRegistration, AKeyBelowAnotherIsDeletedOnceAndMissingAfterwards) {
  MakeKey(kChild, "below");
  EXPECT_TRUE(system_.DeleteClassesKey(kParent, "child"));
  EXPECT_FALSE(KeyExists(kChild));
  EXPECT_TRUE(KeyExists(kParent));
  EXPECT_FALSE(system_.DeleteClassesKey(kParent, "child"));
}

TEST_F(SystemRegistration, AKeyWithKeysBelowItIsNotDeleted) {
  MakeKey(kChild, "below");
  EXPECT_FALSE(system_.DeleteClassesKey(kKey, "parent"));
  EXPECT_TRUE(KeyExists(kChild));
}

TEST_F(SystemRegistration, AnEmptyNameDeletesNothing) {
  MakeKey(kParent, "with nothing below");
  EXPECT_FALSE(system_.DeleteClassesKey(kParent, ""));
  EXPECT_TRUE(KeyExists(kParent));
}

TEST_F(SystemRegistration, BelowAMissingKeyNothingIsDeleted) {
  EXPECT_FALSE(system_.DeleteClassesKey(kParent, "child"));
  EXPECT_FALSE(KeyExists(kKey));
}

TEST_F(SystemRegistration, ClearingTakesTheValuesAndLeavesTheKeysBelow) {
  MakeKey(kChild, "below");
  MakeKey(kParent, "the default value");
  MakeValue(kParent, "another", "value");
  EXPECT_EQ(system_.ClearClassesKey(kParent), S_OK);
  EXPECT_EQ(Snapshot(kParent), (RegistrySnapshot{{kParent, ""}, {kChild + " []", "below"}}));
  DeleteTree(kKey);
  EXPECT_EQ(system_.ClearClassesKey(kParent), S_OK) << "of a missing key";
  EXPECT_FALSE(KeyExists(kKey));
}

// The registry keys among the first thousand handles, which are given out first: the system's own threads may open
// others meanwhile. A key opened for writing only denies the question; what is no key is an invalid handle to it.
int OpenKeys() {
  int count = 0;
  for (std::uintptr_t handle = 4; handle < 4096; handle += 4) {
    const LSTATUS status = RegQueryInfoKeyW(reinterpret_cast<HKEY>(handle), nullptr, nullptr, nullptr, nullptr, nullptr,
                                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_SUCCESS || status == ERROR_ACCESS_DENIED) ++count;
  }
  return count;
}

// Every allocation fails in its turn, until one call needs no more of them.
template <typename Call>
void ExpectNoKeyLeftOpen(Call call) {
  EXPECT_EQ(Guarded(call), S_OK);
  const int before = OpenKeys();
  std::uint64_t n = 0;
  HRESULT result = E_OUTOFMEMORY;
  while (result == E_OUTOFMEMORY) {
    FailAllocation(++n);
    result = Guarded(call);
    FailAllocation(0);
    EXPECT_EQ(OpenKeys(), before) << "after allocation " << n << " failed";
  }
  EXPECT_EQ(result, S_OK);
  EXPECT_GT(n, 1u) << "nothing failed";
}

TEST_F(SystemRegistration, KeysAreClosedWhenMemoryRunsOut) {
  const std::string name = "a name that is too long to be kept without memory of its own";
  ExpectNoKeyLeftOpen([&] { return system_.WriteClassesValue(kParent, name, "text"); });
  ExpectNoKeyLeftOpen([&] { return system_.ClearClassesKey(kParent); });
}

}  // namespace
}  // namespace vantor::test
