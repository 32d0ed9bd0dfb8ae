// Which errors of the system a trace file's writer waits for, takes for a folder in its place, or gives up on.
#include "platform/windows/append_error.h"

#include <gtest/gtest.h>

namespace vantor::platform {
namespace {

TEST(AppendErrorOf, SharingAndLockViolationsAreBusyness) {
  EXPECT_EQ(AppendErrorOf(32), AppendError::kBusy);
  EXPECT_EQ(AppendErrorOf(33), AppendError::kBusy);
}

TEST(AppendErrorOf, DeniedAccessIsDenial) { EXPECT_EQ(AppendErrorOf(5), AppendError::kDenied); }

TEST(AppendErrorOf, AllElseIsAnotherError) {
  for (const DWORD code : {2, 3, 4, 6, 31, 34, 80, 112}) EXPECT_EQ(AppendErrorOf(code), AppendError::kOther) << code;
}

}  // namespace
}  // namespace vantor::platform
