#include "diag/byte_buffer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace vantor::test {
namespace {

// Memory functions that record sizes and run out when told to.
struct Memory {
  std::vector<std::size_t> resizes;
  int frees = 0;
  bool empty = false;
};
Memory g_memory;

void CountedFree(void* block) {
  ++g_memory.frees;
  std::free(block);
}

void* CountedResize(void* block, std::size_t size) {
  if (g_memory.empty) return nullptr;
  g_memory.resizes.push_back(size);
  return std::realloc(block, size);
}

using Sizes = std::vector<std::size_t>;

class ByteBuffer : public testing::Test {
 protected:
  ByteBuffer() { g_memory = {}; }

  static std::string Content(const CBaseBuffer& buffer) {
    return buffer.Length() == 0 ? std::string() : std::string(buffer.Data(), buffer.Data() + buffer.Length());
  }

  CBuffer buffer_{CountedFree, CountedResize};
};

TEST_F(ByteBuffer, StartsWithoutMemory) {
  EXPECT_EQ(buffer_.Data(), nullptr);
  EXPECT_EQ(buffer_.Length(), 0);
  EXPECT_EQ(buffer_.Capacity(), 0);
  EXPECT_EQ(buffer_.companion, nullptr);
  EXPECT_EQ(buffer_.context, nullptr);
}

TEST_F(ByteBuffer, AppendingGrowsToExactlyWhatIsNeeded) {
  EXPECT_EQ(buffer_.Append("0123456789", 10), S_OK);
  EXPECT_EQ(buffer_.Capacity(), 10);
  EXPECT_EQ(buffer_.Append("x", 1), S_OK);
  EXPECT_EQ(buffer_.Capacity(), 11);
  EXPECT_EQ(Content(buffer_), "0123456789x");
  EXPECT_EQ(g_memory.resizes, (Sizes{10, 11}));
}

TEST_F(ByteBuffer, ResetKeepsTheMemoryForTheNextAppend) {
  EXPECT_EQ(buffer_.Append("0123456789", 10), S_OK);
  const std::uint8_t* data = buffer_.Data();
  buffer_.Reset();
  EXPECT_EQ(buffer_.Length(), 0);
  EXPECT_EQ(buffer_.Capacity(), 10);
  EXPECT_EQ(buffer_.Append("abc", 3), S_OK);
  EXPECT_EQ(buffer_.Data(), data);
  EXPECT_EQ(Content(buffer_), "abc");
  EXPECT_EQ(g_memory.resizes, Sizes{10});
}

TEST_F(ByteBuffer, AppendWithoutMemoryLeavesTheBufferUnchanged) {
  EXPECT_EQ(buffer_.Append("0123456789", 10), S_OK);
  g_memory.empty = true;
  EXPECT_EQ(buffer_.Append("x", 1), E_OUTOFMEMORY);
  EXPECT_EQ(Content(buffer_), "0123456789");
  EXPECT_EQ(buffer_.Capacity(), 10);
}

TEST_F(ByteBuffer, AppendingNothingOrLess) {
  EXPECT_EQ(buffer_.Append(nullptr, 0), S_OK);
  EXPECT_EQ(buffer_.Append("x", -1), E_INVALIDARG);
  EXPECT_EQ(buffer_.Length(), 0);
  EXPECT_EQ(g_memory.resizes, Sizes{});
}

TEST_F(ByteBuffer, LengthsBeyond31BitsAreOutOfMemory) {
  EXPECT_EQ(buffer_.Append("0123456789", 10), S_OK);
  EXPECT_EQ(buffer_.Append("x", INT32_MAX), E_OUTOFMEMORY);
  EXPECT_EQ(buffer_.Reserve(INT32_MAX), E_OUTOFMEMORY);
  EXPECT_EQ(buffer_.Capacity(), 10);
  EXPECT_EQ(g_memory.resizes, Sizes{10});
}

TEST_F(ByteBuffer, EnsureCapacityResizesExactlyAndOnlyUpwards) {
  EXPECT_TRUE(buffer_.EnsureCapacity(7));
  EXPECT_TRUE(buffer_.EnsureCapacity(7));
  EXPECT_TRUE(buffer_.EnsureCapacity(3));
  EXPECT_TRUE(buffer_.EnsureCapacity(8));
  EXPECT_EQ(buffer_.Capacity(), 8);
  EXPECT_EQ(buffer_.Length(), 0);
  EXPECT_EQ(g_memory.resizes, (Sizes{7, 8}));
}

TEST_F(ByteBuffer, EnsureCapacityWithoutMemoryLeavesTheBufferUnchanged) {
  EXPECT_EQ(buffer_.Append("abc", 3), S_OK);
  g_memory.empty = true;
  EXPECT_FALSE(buffer_.EnsureCapacity(4));
  EXPECT_TRUE(buffer_.EnsureCapacity(3));
  EXPECT_EQ(Content(buffer_), "abc");
  EXPECT_EQ(buffer_.Capacity(), 3);
}

TEST_F(ByteBuffer, ReserveCountsFromTheBytesInUse) {
  EXPECT_EQ(buffer_.Append("abc", 3), S_OK);
  EXPECT_EQ(buffer_.Reserve(5), S_OK);
  EXPECT_EQ(buffer_.Capacity(), 8);
  EXPECT_EQ(buffer_.Reserve(0), S_OK);
  EXPECT_EQ(buffer_.Reserve(-1), E_INVALIDARG);
  g_memory.empty = true;
  EXPECT_EQ(buffer_.Reserve(6), E_OUTOFMEMORY);
  EXPECT_EQ(Content(buffer_), "abc");
}

TEST_F(ByteBuffer, FreeReleasesTheMemory) {
  EXPECT_EQ(buffer_.Append("abc", 3), S_OK);
  EXPECT_EQ(buffer_.Free(), 0);
  EXPECT_EQ(g_memory.frees, 1);
  EXPECT_EQ(buffer_.Data(), nullptr);
  EXPECT_EQ(buffer_.Length(), 0);
  EXPECT_EQ(buffer_.Capacity(), 0);
  EXPECT_EQ(buffer_.Free(), 0);
  EXPECT_EQ(g_memory.frees, 1);
}

TEST_F(ByteBuffer, DestructionReleasesTheMemory) {
  {
    CBuffer buffer(CountedFree, CountedResize);
    EXPECT_EQ(buffer.Append("abc", 3), S_OK);
  }
  EXPECT_EQ(g_memory.frees, 1);
}

TEST_F(ByteBuffer, SwapExchangesTheBytes) {
  CBuffer other(CountedFree, CountedResize);
  EXPECT_EQ(buffer_.Append("abc", 3), S_OK);
  EXPECT_EQ(other.Append("wxyz", 4), S_OK);
  EXPECT_TRUE(other.EnsureCapacity(9));
  EXPECT_EQ(buffer_.Swap(&other), S_OK);
  EXPECT_EQ(Content(buffer_), "wxyz");
  EXPECT_EQ(buffer_.Capacity(), 9);
  EXPECT_EQ(Content(other), "abc");
  EXPECT_EQ(other.Capacity(), 3);
  EXPECT_EQ(buffer_.Swap(&buffer_), S_OK);
  EXPECT_EQ(Content(buffer_), "wxyz");
}

TEST_F(ByteBuffer, SwapWithNullIsAPointerError) { EXPECT_EQ(buffer_.Swap(nullptr), E_POINTER); }

TEST_F(ByteBuffer, FormatCountsTheTerminatingZero) {
  EXPECT_EQ(buffer_.Format("%d", 42), S_OK);
  EXPECT_EQ(buffer_.Length(), 3);
  EXPECT_EQ(buffer_.Capacity(), 3);
  EXPECT_EQ(Content(buffer_), std::string("42\0", 3));
}

TEST_F(ByteBuffer, FormatReplacesTheContentAndKeepsTheCapacity) {
  EXPECT_EQ(buffer_.Append("0123456789", 10), S_OK);
  EXPECT_EQ(buffer_.Format("%s-%05u", "ab", 7U), S_OK);
  EXPECT_EQ(Content(buffer_), std::string("ab-00007\0", 9));
  EXPECT_EQ(buffer_.Capacity(), 10);
}

TEST_F(ByteBuffer, FormatOfNothingIsTheZeroAlone) {
  EXPECT_EQ(buffer_.Format("%s", ""), S_OK);
  EXPECT_EQ(Content(buffer_), std::string("\0", 1));
}

TEST_F(ByteBuffer, FormatWithoutMemoryLeavesTheBufferUnchanged) {
  EXPECT_EQ(buffer_.Append("ab", 2), S_OK);
  g_memory.empty = true;
  EXPECT_EQ(buffer_.Format("%d", 42), E_OUTOFMEMORY);
  EXPECT_EQ(Content(buffer_), "ab");
}

TEST_F(ByteBuffer, TextThatCannotBeFormattedGivesLengthZero) {
  EXPECT_EQ(buffer_.Append("ab", 2), S_OK);
  const wchar_t unrepresentable[] = {0xD800, 0};
  if (std::snprintf(nullptr, 0, "%ls", unrepresentable) >= 0) GTEST_SKIP() << "this library formats anything";
  EXPECT_EQ(buffer_.Format("%ls", unrepresentable), S_OK);
  EXPECT_EQ(buffer_.Length(), 0);
}

// ---- The owned companion ----

class Companion final : public CBufferCompanion {
 public:
  explicit Companion(int& deleted) : deleted_(deleted) {}
  ~Companion() override { ++deleted_; }

 private:
  int& deleted_;
};

TEST_F(ByteBuffer, CompanionIsReleasedWithTheBytes) {
  int deleted = 0;
  buffer_.companion = new Companion(deleted);
  EXPECT_EQ(buffer_.Append("abc", 3), S_OK);
  EXPECT_EQ(buffer_.Free(), 0);
  EXPECT_EQ(deleted, 1);
  EXPECT_EQ(buffer_.companion, nullptr);
  EXPECT_EQ(buffer_.Data(), nullptr);
}

TEST_F(ByteBuffer, CompanionIsReleasedAtDestruction) {
  int deleted = 0;
  {
    CBuffer buffer;
    buffer.companion = new Companion(deleted);
  }
  EXPECT_EQ(deleted, 1);
}

// ---- The heaps ----

TEST_F(ByteBuffer, RuntimeHeapKeepsTheContentWhileItGrows) {
  CBuffer buffer;
  std::string expected;
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(buffer.Append("0123456", 7), S_OK);
    expected += "0123456";
  }
  EXPECT_EQ(Content(buffer), expected);
}

TEST_F(ByteBuffer, ProcessHeapKeepsTheContentWhileItGrows) {
  CHeapBuffer buffer;
  std::string expected;
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(buffer.Append("0123456", 7), S_OK);
    expected += "0123456";
  }
  EXPECT_EQ(Content(buffer), expected);
  EXPECT_EQ(buffer.Capacity(), 7000);
}

TEST_F(ByteBuffer, HeapBufferItselfCanBeMadeAndDeletedOnTheProcessHeap) {
  std::unique_ptr<CBaseBuffer> buffer = std::make_unique<CHeapBuffer>();
  EXPECT_EQ(buffer->Format("%s", "text"), S_OK);
  EXPECT_EQ(Content(*buffer), std::string("text\0", 5));
}

}  // namespace
}  // namespace vantor::test
