// Task memory that runs out, where it is this library's own.
#include <gtest/gtest.h>

#include <cstdint>
#include <new>

#include "platform/com.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VANTOR_MALLOC_IS_WATCHED 1
#endif
#endif
#if !defined(VANTOR_MALLOC_IS_WATCHED)
#define VANTOR_MALLOC_IS_WATCHED 0
#endif

namespace vantor {
namespace {

constexpr SIZE_T kMoreThanThereIs = SIZE_MAX / 4;
int asked = 0;

class TaskMemory : public testing::Test {
 protected:
  void SetUp() override {
    if (VANTOR_MALLOC_IS_WATCHED != 0) GTEST_SKIP() << "a sanitizer ends the process where malloc fails";
    asked = 0;
    before_ = std::get_new_handler();
  }
  void TearDown() override { std::set_new_handler(before_); }

 private:
  std::new_handler before_ = nullptr;
};

TEST_F(TaskMemory, ThatRunsOutIsTold) {
  std::set_new_handler([] {
    ++asked;
    throw std::bad_alloc();
  });
  EXPECT_EQ(CoTaskMemAlloc(kMoreThanThereIs), nullptr);
  EXPECT_EQ(asked, 1);
}

TEST_F(TaskMemory, IsAskedForAgainAsLongAsTheHandlerReturns) {
  std::set_new_handler([] {
    if (++asked == 3) std::set_new_handler(nullptr);
  });
  EXPECT_EQ(CoTaskMemAlloc(kMoreThanThereIs), nullptr);
  EXPECT_EQ(asked, 3);
}

}  // namespace
}  // namespace vantor
