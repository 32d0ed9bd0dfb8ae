// What a module still does when the system has ended all threads but one.
#include <gtest/gtest.h>

#include "support/child_process.h"

namespace vantor::test {
namespace {

TEST(EndingProcess, TimerDoesNotWaitForACallWhoseThreadIsGone) {
  ChildProcess writer(ProgramBeside("trace_writer"), {"call", "none", "none", "0"});
  EXPECT_EQ(writer.Wait(), 0);
}

}  // namespace
}  // namespace vantor::test
