#include "baseclasses/allocator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "platform/com_ptr.h"
#include "platform/platform.h"

using vantor::ComPtr;

namespace {

class Allocator : public testing::Test {
 protected:
  ~Allocator() override {
    if (allocator) allocator->Decommit();
    allocator.Reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
  }

  HRESULT Set(LONG count, LONG size, LONG align = 1, LONG prefix = 0) {
    ALLOCATOR_PROPERTIES request = {count, size, align, prefix};
    return allocator->SetProperties(&request, &actual);
  }
  void SetAndCommit(LONG count, LONG size, LONG align = 1, LONG prefix = 0) {
    ASSERT_EQ(Set(count, size, align, prefix), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
  }
  HRESULT Get(ComPtr<IMediaSample>& sample, DWORD flags = AM_GBF_NOWAIT) {
    return allocator->GetBuffer(sample.Out(), nullptr, nullptr, flags);
  }

  ComPtr<IMemAllocator> allocator{new CMemAllocator(OLESTR("allocator"), nullptr, nullptr)};
  ALLOCATOR_PROPERTIES actual = {};
};

TEST_F(Allocator, PropertiesAreGrantedAsAsked) {
  EXPECT_EQ(Set(3, 1000, 16, 8), S_OK);
  EXPECT_EQ(actual.cBuffers, 3);
  EXPECT_EQ(actual.cbBuffer, 1000);
  EXPECT_EQ(actual.cbAlign, 16);
  EXPECT_EQ(actual.cbPrefix, 8);
  ALLOCATOR_PROPERTIES read = {};
  EXPECT_EQ(allocator->GetProperties(&read), S_OK);
  EXPECT_EQ(std::memcmp(&read, &actual, sizeof(read)), 0);
}

TEST_F(Allocator, PropertiesAreZeroBeforeTheyAreSet) {
  ALLOCATOR_PROPERTIES read = {1, 2, 3, 4};
  EXPECT_EQ(allocator->GetProperties(&read), S_OK);
  EXPECT_EQ(read.cBuffers, 0);
  EXPECT_EQ(read.cbBuffer, 0);
}

TEST_F(Allocator, BadPropertiesAreRefused) {
  EXPECT_EQ(Set(1, 100, 0), VFW_E_BADALIGN);
  EXPECT_EQ(Set(1, 100, -1), VFW_E_BADALIGN);
  EXPECT_EQ(Set(1, 100, 3), VFW_E_BADALIGN);
  EXPECT_EQ(Set(1, 100, static_cast<LONG>(vantor::PageAlignment() * 2)), VFW_E_BADALIGN);
  EXPECT_EQ(Set(0, 100), E_INVALIDARG);
  EXPECT_EQ(Set(-1, 100), E_INVALIDARG);
  EXPECT_EQ(Set(1, 0), E_INVALIDARG);
  EXPECT_EQ(Set(1, -100), E_INVALIDARG);
  EXPECT_EQ(Set(1, 100, 1, -1), E_INVALIDARG);
  EXPECT_EQ(actual.cBuffers, 0);
  ALLOCATOR_PROPERTIES request = {1, 1, 1, 0};
  EXPECT_EQ(allocator->SetProperties(nullptr, &actual), E_POINTER);
  EXPECT_EQ(allocator->SetProperties(&request, nullptr), E_POINTER);
  EXPECT_EQ(allocator->GetProperties(nullptr), E_POINTER);
}

TEST_F(Allocator, CommitNeedsProperties) {
  EXPECT_EQ(allocator->Commit(), VFW_E_SIZENOTSET);
  EXPECT_EQ(Set(1, 100), S_OK);
  EXPECT_EQ(allocator->Commit(), S_OK);
  EXPECT_EQ(allocator->Commit(), S_OK);
}

TEST_F(Allocator, PropertiesStayWhileCommitted) {
  SetAndCommit(1, 100);
  EXPECT_EQ(Set(2, 100), VFW_E_ALREADY_COMMITTED);
  EXPECT_EQ(allocator->Decommit(), S_OK);
  EXPECT_EQ(allocator->Decommit(), S_OK);
  EXPECT_EQ(Set(2, 100), S_OK);
}

TEST_F(Allocator, PropertiesStayWhileSamplesAreInUse) {
  SetAndCommit(1, 100);
  ComPtr<IMediaSample> sample;
  ASSERT_EQ(Get(sample), S_OK);
  EXPECT_EQ(allocator->Decommit(), S_OK);
  EXPECT_EQ(Set(2, 200), VFW_E_BUFFERS_OUTSTANDING);
  sample.Reset();
  EXPECT_EQ(Set(2, 200), S_OK);
}

TEST_F(Allocator, WithoutCommitThereIsNoBuffer) {
  ComPtr<IMediaSample> sample;
  EXPECT_EQ(Get(sample, 0), VFW_E_NOT_COMMITTED);
  EXPECT_EQ(Set(1, 100), S_OK);
  EXPECT_EQ(Get(sample, 0), VFW_E_NOT_COMMITTED);
  EXPECT_EQ(allocator->GetBuffer(nullptr, nullptr, nullptr, 0), E_POINTER);
  EXPECT_EQ(allocator->ReleaseBuffer(nullptr), E_POINTER);
}

TEST_F(Allocator, BuffersAreAlignedApartAndBehindTheirPrefix) {
  constexpr LONG kCount = 5;
  constexpr LONG kSize = 1001;
  constexpr LONG kPrefix = 24;
  SetAndCommit(kCount, kSize, 64, kPrefix);
  std::vector<ComPtr<IMediaSample>> samples(kCount);
  std::set<BYTE*> begins;
  for (auto& sample : samples) {
    ASSERT_EQ(Get(sample), S_OK);
    EXPECT_EQ(sample->GetSize(), kSize);
    EXPECT_EQ(sample->GetActualDataLength(), kSize);
    BYTE* bytes = nullptr;
    EXPECT_EQ(sample->GetPointer(&bytes), S_OK);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes) % 64, 0u);
    std::memset(bytes - kPrefix, static_cast<int>(begins.size()), kSize + kPrefix);
    begins.insert(bytes);
  }
  ASSERT_EQ(begins.size(), static_cast<std::size_t>(kCount));
  BYTE* previous = nullptr;
  for (BYTE* begin : begins) {
    if (previous) {
      EXPECT_GE(begin - previous, kSize + kPrefix);
    }
    previous = begin;
  }
}

TEST_F(Allocator, NoWaitGivesATimeoutWhenAllAreInUse) {
  SetAndCommit(2, 100);
  ComPtr<IMediaSample> one;
  ComPtr<IMediaSample> two;
  ComPtr<IMediaSample> three;
  ASSERT_EQ(Get(one), S_OK);
  ASSERT_EQ(Get(two), S_OK);
  EXPECT_EQ(Get(three), VFW_E_TIMEOUT);
  EXPECT_FALSE(three);
  one.Reset();
  EXPECT_EQ(Get(three), S_OK);
}

TEST_F(Allocator, AWaitEndsWhenABufferComesBack) {
  SetAndCommit(1, 100);
  ComPtr<IMediaSample> first;
  ASSERT_EQ(Get(first), S_OK);
  HRESULT result = E_FAIL;
  std::thread waiting([&] {
    ComPtr<IMediaSample> second;
    result = Get(second, 0);
  });
  first.Reset();
  waiting.join();
  EXPECT_EQ(result, S_OK);
}

TEST_F(Allocator, DecommitEndsEveryWait) {
  SetAndCommit(1, 100);
  ComPtr<IMediaSample> first;
  ASSERT_EQ(Get(first), S_OK);
  std::vector<HRESULT> results(3, E_FAIL);
  std::vector<std::thread> waiting;
  waiting.reserve(results.size());
  for (HRESULT& result : results) {
    waiting.emplace_back([&] {
      ComPtr<IMediaSample> second;
      result = Get(second, 0);
    });
  }
  EXPECT_EQ(allocator->Decommit(), S_OK);
  for (std::thread& thread : waiting) thread.join();
  for (const HRESULT result : results) EXPECT_EQ(result, VFW_E_NOT_COMMITTED);
}

TEST_F(Allocator, MemoryStaysUntilTheLastSampleIsBack) {
  SetAndCommit(2, 100);
  ComPtr<IMediaSample> one;
  ComPtr<IMediaSample> two;
  ASSERT_EQ(Get(one), S_OK);
  ASSERT_EQ(Get(two), S_OK);
  EXPECT_EQ(allocator->Decommit(), S_OK);
  BYTE* bytes = nullptr;
  EXPECT_EQ(two->GetPointer(&bytes), S_OK);
  one.Reset();
  std::memset(bytes, 1, 100);
  two.Reset();
  ComPtr<IMediaSample> three;
  EXPECT_EQ(Get(three), VFW_E_NOT_COMMITTED);
}

TEST_F(Allocator, ACommitBeforeTheLastSampleIsBackGoesOnWithTheSameBuffers) {
  SetAndCommit(2, 100);
  ComPtr<IMediaSample> one;
  ASSERT_EQ(Get(one), S_OK);
  EXPECT_EQ(allocator->Decommit(), S_OK);
  EXPECT_EQ(allocator->Commit(), S_OK);
  ComPtr<IMediaSample> two;
  ComPtr<IMediaSample> three;
  EXPECT_EQ(Get(two), S_OK);
  EXPECT_EQ(Get(three), VFW_E_TIMEOUT);
  one.Reset();
  EXPECT_EQ(Get(three), S_OK);
}

TEST_F(Allocator, ItCommitsAgainAfterDecommitWithOtherProperties) {
  SetAndCommit(1, 100);
  EXPECT_EQ(allocator->Decommit(), S_OK);
  SetAndCommit(1, 5000);
  ComPtr<IMediaSample> sample;
  ASSERT_EQ(Get(sample), S_OK);
  EXPECT_EQ(sample->GetSize(), 5000);
}

TEST_F(Allocator, ASampleInUseKeepsTheAllocator) {
  SetAndCommit(2, 100);
  ComPtr<IMediaSample> one;
  ComPtr<IMediaSample> two;
  ASSERT_EQ(Get(one), S_OK);
  ASSERT_EQ(Get(two), S_OK);
  allocator.Reset();
  EXPECT_EQ(CBaseObject::ObjectsActive(), 1);
  BYTE* bytes = nullptr;
  EXPECT_EQ(two->GetPointer(&bytes), S_OK);
  std::memset(bytes, 1, 100);
  one.Reset();
  EXPECT_EQ(CBaseObject::ObjectsActive(), 1);
  two.Reset();
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

TEST_F(Allocator, AReusedSampleStartsAfresh) {
  SetAndCommit(1, 100);
  ComPtr<IMediaSample> sample;
  ASSERT_EQ(Get(sample), S_OK);
  REFERENCE_TIME start = 1;
  REFERENCE_TIME end = 2;
  AM_MEDIA_TYPE mt = {};
  sample->SetTime(&start, &end);
  sample->SetMediaTime(&start, &end);
  sample->SetSyncPoint(TRUE);
  sample->SetPreroll(TRUE);
  sample->SetDiscontinuity(TRUE);
  sample->SetMediaType(&mt);
  sample->SetActualDataLength(7);
  sample.Reset();
  ASSERT_EQ(Get(sample), S_OK);
  EXPECT_EQ(sample->GetTime(&start, &end), VFW_E_SAMPLE_TIME_NOT_SET);
  EXPECT_EQ(sample->GetMediaTime(&start, &end), VFW_E_MEDIA_TIME_NOT_SET);
  EXPECT_EQ(sample->IsSyncPoint(), S_FALSE);
  EXPECT_EQ(sample->IsPreroll(), S_FALSE);
  EXPECT_EQ(sample->IsDiscontinuity(), S_FALSE);
  AM_MEDIA_TYPE* changed = nullptr;
  EXPECT_EQ(sample->GetMediaType(&changed), S_FALSE);
  EXPECT_EQ(sample->GetActualDataLength(), 100);
}

TEST_F(Allocator, ASizeBeyondAllMemoryFailsAtCommit) {
  EXPECT_EQ(Set(0x7FFFFFFF, 0x7FFFFFFF, 1, 0x7FFFFFFF), S_OK);
  EXPECT_EQ(allocator->Commit(), E_OUTOFMEMORY);
  SetAndCommit(1, 100);
}

TEST_F(Allocator, TwoThreadsPassSamplesThroughASmallPool) {
  SetAndCommit(2, 64);
  constexpr int kRounds = 500;
  std::vector<std::thread> threads;
  threads.reserve(3);
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < kRounds; ++n) {
        ComPtr<IMediaSample> sample;
        ASSERT_EQ(Get(sample, 0), S_OK);
        BYTE* bytes = nullptr;
        sample->GetPointer(&bytes);
        bytes[0] = static_cast<BYTE>(n);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
