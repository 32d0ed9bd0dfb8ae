// What the system says about its error codes.
#include "platform/windows/system_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vantor::test {
namespace {

using testing::EndsWith;
using testing::Not;
using testing::StartsWith;

TEST(SystemMessageTest, ACodeWithoutATextIsShownInHexadecimal) {
  EXPECT_EQ(SystemMessage(0xA0ABCDEF), "error 0xA0ABCDEF");
  EXPECT_EQ(SystemMessage(0x20000001), "error 0x20000001");
}

TEST(SystemMessageTest, ACodeWithATextIsThatTextWithoutItsLineEnd) {
  for (const DWORD code : {DWORD{ERROR_FILE_NOT_FOUND}, static_cast<DWORD>(E_ACCESSDENIED)}) {
    const std::string message = SystemMessage(code);
    EXPECT_FALSE(message.empty());
    EXPECT_THAT(message, Not(StartsWith("error 0x")));
    EXPECT_THAT(message, Not(EndsWith("\n")));
    EXPECT_THAT(message, Not(EndsWith("\r")));
  }
}

}  // namespace
}  // namespace vantor::test
