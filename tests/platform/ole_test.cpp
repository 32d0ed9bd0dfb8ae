// The COM library's own functions, whoever supplies them.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/com.h"

namespace vantor {
namespace {

TEST(Ole, TaskMemoryGrowsAndKeepsItsContent) {
  auto* block = static_cast<BYTE*>(CoTaskMemAlloc(4));
  ASSERT_NE(block, nullptr);
  std::memset(block, 0x5A, 4);
  block = static_cast<BYTE*>(CoTaskMemRealloc(block, 100000));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(std::memcmp(block, "ZZZZ", 4), 0);
  CoTaskMemFree(block);
}

TEST(Ole, TaskMemoryOfNoBytesIsABlock) {
  void* block = CoTaskMemAlloc(0);
  EXPECT_NE(block, nullptr);
  CoTaskMemFree(block);
}

TEST(Ole, ReallocOfNullAllocatesAndToNothingFrees) {
  void* block = CoTaskMemRealloc(nullptr, 10);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(CoTaskMemRealloc(block, 0), nullptr);
  CoTaskMemFree(nullptr);
}

TEST(Ole, GuidTextIsTheUpperCaseRegistryForm) {
  const GUID guid = {0x1ac0bebd, 0x4d2b, 0x45ad, {0xbc, 0xeb, 0xf2, 0xc4, 0x1c, 0x5e, 0x37, 0x08}};
  WCHAR text[64];
  EXPECT_EQ(StringFromGUID2(guid, text, 64), 39);
  EXPECT_EQ(WideString(text), WideString(OLESTR("{1AC0BEBD-4D2B-45AD-BCEB-F2C41C5E3708}")));
}

TEST(Ole, GuidTextNeedsRoomForItsTerminator) {
  WCHAR text[39] = {};
  EXPECT_EQ(StringFromGUID2(GUID_NULL, text, 38), 0);
  EXPECT_EQ(text[0], 0);
  EXPECT_EQ(StringFromGUID2(GUID_NULL, text, 39), 39);
}

TEST(Ole, AClassThatNobodyRegisteredIsNotMade) {
  const CLSID unknown = {0x12345678, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
  void* object = &object;
  const HRESULT prepared = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  EXPECT_EQ(CoCreateInstance(unknown, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(object, nullptr);
  if (SUCCEEDED(prepared)) CoUninitialize();
}

}  // namespace
}  // namespace vantor
