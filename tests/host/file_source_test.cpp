#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "baseclasses/allocator.h"
#include "host/file_source_filter.h"
#include "host/host_test.h"
#include "platform/com_ptr.h"
#include "platform/text.h"

namespace vantor::test {
namespace {

class FailingStore final : public ByteStore {
 public:
  std::int64_t Length() const noexcept override { return 100; }
  bool Read(std::int64_t, void*, std::size_t) noexcept override { return false; }
};

class FileSource : public HostTest {
 protected:
  FileSource() : source_(ComPtr<FileSourceFilter>::Adopt(FileSourceFilter::Create())) {}

  void TearDown() override {
    allocator_.Reset();
    reader_.Reset();
    source_.Reset();
    HostTest::TearDown();
  }

  // The source over ten bytes, 10 to 19.
  IAsyncReader* Reader() {
    if (!reader_) {
      if (!source_->OutputPin()->Bytes()) {
        source_->SetBytes(MakeMemoryStore({10, 11, 12, 13, 14, 15, 16, 17, 18, 19}), OLESTR("ten"));
      }
      EXPECT_EQ(source_->OutputPin()->QueryInterface(IID_IAsyncReader, reader_.Void()), S_OK);
    }
    return reader_.Get();
  }

  // A sample of an allocator of its own, for the bytes from begin to end.
  ComPtr<IMediaSample> Sample(LONGLONG begin, LONGLONG end) {
    if (!allocator_) {
      ALLOCATOR_PROPERTIES properties = {4, 8, 1, 0};
      EXPECT_EQ(Reader()->RequestAllocator(nullptr, &properties, allocator_.Out()), S_OK);
      EXPECT_EQ(allocator_->Commit(), S_OK);
    }
    ComPtr<IMediaSample> sample;
    EXPECT_EQ(allocator_->GetBuffer(sample.Out(), nullptr, nullptr, 0), S_OK);
    REFERENCE_TIME start = begin * 10000000;
    REFERENCE_TIME stop = end * 10000000;
    EXPECT_EQ(sample->SetTime(&start, &stop), S_OK);
    return sample;
  }

  ComPtr<FileSourceFilter> source_;
  ComPtr<IAsyncReader> reader_;
  ComPtr<IMemAllocator> allocator_;
};

TEST_F(FileSource, ReadsAnyRangeWithinTheFile) {
  BYTE bytes[4] = {};
  EXPECT_EQ(Reader()->SyncRead(3, 4, bytes), S_OK);
  EXPECT_EQ(bytes[0], 13);
  EXPECT_EQ(bytes[3], 16);
  EXPECT_EQ(Reader()->SyncRead(9, 1, bytes), S_OK);
  EXPECT_EQ(bytes[0], 19);
}

TEST_F(FileSource, AReadThatTheEndCutsShortGivesWhatIsThereAndSFalse) {
  BYTE bytes[4] = {0, 0, 77, 77};
  EXPECT_EQ(Reader()->SyncRead(8, 4, bytes), S_FALSE);
  EXPECT_EQ(bytes[0], 18);
  EXPECT_EQ(bytes[1], 19);
  EXPECT_EQ(bytes[2], 77);
  EXPECT_EQ(Reader()->SyncRead(10, 1, bytes), S_FALSE);
  EXPECT_EQ(Reader()->SyncRead(1000, 1, bytes), S_FALSE);
}

TEST_F(FileSource, AReadOfNothingSucceeds) {
  BYTE byte = 0;
  EXPECT_EQ(Reader()->SyncRead(0, 0, &byte), S_OK);
  EXPECT_EQ(Reader()->SyncRead(10, 0, &byte), S_OK);
}

TEST_F(FileSource, RefusesPositionsAndLengthsBelowZeroAndNullBuffers) {
  BYTE byte = 0;
  EXPECT_EQ(Reader()->SyncRead(-1, 1, &byte), E_INVALIDARG);
  EXPECT_EQ(Reader()->SyncRead(0, -1, &byte), E_INVALIDARG);
  EXPECT_EQ(Reader()->SyncRead(0, 1, nullptr), E_POINTER);
}

TEST_F(FileSource, AFailingStoreGivesAFailingRead) {
  source_->SetBytes(std::make_shared<FailingStore>(), OLESTR("bad"));
  BYTE byte = 0;
  EXPECT_EQ(Reader()->SyncRead(0, 1, &byte), HRESULT_FROM_WIN32(ERROR_READ_FAULT));
  EXPECT_EQ(source_->Totals().reads, 1u);
  EXPECT_EQ(source_->Totals().bytes, 0u);
}

TEST_F(FileSource, AnswersItsLengthTwice) {
  LONGLONG total = 0;
  LONGLONG available = 0;
  EXPECT_EQ(Reader()->Length(&total, &available), S_OK);
  EXPECT_EQ(total, 10);
  EXPECT_EQ(available, 10);
}

TEST_F(FileSource, CountsReadsAndBytesOfAllThreads) {
  IAsyncReader* const reader = Reader();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      BYTE bytes[4];
      for (int i = 0; i < 1000; ++i) {
        reader->SyncRead(i % 7, 3, bytes);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(source_->Totals().reads, 4000u);
  EXPECT_EQ(source_->Totals().bytes, 12000u);
}

TEST_F(FileSource, CountsEveryReadOfMoreThreadsThanHaveSlotsOfTheirOwn) {
  IAsyncReader* const reader = Reader();
  std::vector<std::thread> threads;
  for (int t = 0; t < 100; ++t) {
    threads.emplace_back([&] {
      BYTE byte = 0;
      for (int i = 0; i < 50; ++i) {
        reader->SyncRead(1, 1, &byte);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(source_->Totals().reads, 5000u);
}

TEST_F(FileSource, QueuedRequestsComeBackInOrderWithTheirBytes) {
  const auto first = Sample(0, 4);
  const auto second = Sample(4, 8);
  ASSERT_EQ(Reader()->Request(first.Get(), 41), S_OK);
  ASSERT_EQ(Reader()->Request(second.Get(), 42), S_OK);
  IMediaSample* sample = nullptr;
  DWORD_PTR user = 0;
  EXPECT_EQ(Reader()->WaitForNext(INFINITE, &sample, &user), S_OK);
  EXPECT_EQ(sample, first.Get());
  EXPECT_EQ(user, 41u);
  EXPECT_EQ(Reader()->WaitForNext(0, &sample, &user), S_OK);
  EXPECT_EQ(sample, second.Get());
  EXPECT_EQ(user, 42u);
  BYTE* bytes = nullptr;
  ASSERT_EQ(sample->GetPointer(&bytes), S_OK);
  EXPECT_EQ(bytes[0], 14);
  EXPECT_EQ(sample->GetActualDataLength(), 4);
}

TEST_F(FileSource, WaitingForARequestThatNobodyMadeTimesOut) {
  IMediaSample* sample = nullptr;
  DWORD_PTR user = 0;
  EXPECT_EQ(Reader()->WaitForNext(0, &sample, &user), VFW_E_TIMEOUT);
  EXPECT_EQ(sample, nullptr);
}

TEST_F(FileSource, FlushingRefusesRequestsAndEndsWaits) {
  IAsyncReader* const reader = Reader();
  const auto sample = Sample(0, 1);
  std::atomic<HRESULT> waited{S_OK};
  std::thread waiter([&] {
    IMediaSample* next = nullptr;
    DWORD_PTR user = 0;
    waited = reader->WaitForNext(INFINITE, &next, &user);
  });
  EXPECT_EQ(reader->BeginFlush(), S_OK);
  waiter.join();
  EXPECT_EQ(waited, VFW_E_WRONG_STATE);
  EXPECT_EQ(reader->Request(sample.Get(), 0), VFW_E_WRONG_STATE);
  EXPECT_EQ(reader->EndFlush(), S_OK);
  EXPECT_EQ(reader->Request(sample.Get(), 0), S_OK);
  IMediaSample* next = nullptr;
  DWORD_PTR user = 0;
  EXPECT_EQ(reader->WaitForNext(0, &next, &user), S_OK);
}

TEST_F(FileSource, AnAlignedReadCutShortByTheEndSetsTheLengthThatIsThere) {
  const auto sample = Sample(6, 14);
  EXPECT_EQ(Reader()->SyncReadAligned(sample.Get()), S_FALSE);
  EXPECT_EQ(sample->GetActualDataLength(), 4);
}

TEST_F(FileSource, AnAlignedReadLargerThanItsSampleIsRefused) {
  const auto sample = Sample(0, 9);
  EXPECT_EQ(Reader()->SyncReadAligned(sample.Get()), E_INVALIDARG);
}

TEST_F(FileSource, TakesThePreferredAllocatorWhereItAgrees) {
  HRESULT hr = S_OK;
  const ComPtr<CMemAllocator> preferred(new CMemAllocator(nullptr, nullptr, &hr));
  ALLOCATOR_PROPERTIES properties = {3, 100, 1, 0};
  ComPtr<IMemAllocator> actual;
  EXPECT_EQ(Reader()->RequestAllocator(preferred.Get(), &properties, actual.Out()), S_OK);
  EXPECT_EQ(actual.Get(), preferred.Get());
  EXPECT_EQ(properties.cBuffers, 3);
}

TEST_F(FileSource, LoadsAFileAndTellsItsNameAndType) {
  const TemporaryFile file(PatternBytes(50));
  const WideString name = Utf8ToWide(file.Path());
  ASSERT_EQ(source_->Load(name.c_str(), nullptr), S_OK);
  EXPECT_EQ(source_->Load(name.c_str(), nullptr), E_FAIL);
  ComPtr<IFileSourceFilter> byInterface;
  ASSERT_EQ(source_->QueryInterface(IID_IFileSourceFilter, byInterface.Void()), S_OK);
  LPOLESTR told = nullptr;
  AM_MEDIA_TYPE type = {};
  ASSERT_EQ(byInterface->GetCurFile(&told, &type), S_OK);
  EXPECT_EQ(WideString(told), name);
  EXPECT_TRUE(SameGuid(type.majortype, MEDIATYPE_Stream));
  EXPECT_TRUE(SameGuid(type.subtype, kSubtypePrivateMatroska));
  FreeMediaType(type);
  CoTaskMemFree(told);
  EXPECT_EQ(source_->OutputPin()->Bytes()->Length(), 50);
  // Lets go of the file before it is removed.
  byInterface.Reset();
  source_.Reset();
}

TEST_F(FileSource, HasNoNameBeforeAFileIsLoaded) {
  LPOLESTR told = nullptr;
  EXPECT_EQ(source_->GetCurFile(&told, nullptr), E_FAIL);
  EXPECT_EQ(told, nullptr);
}

TEST_F(FileSource, FailsToLoadAMissingFileWithTheSystemsCode) {
  EXPECT_EQ(source_->Load(OLESTR("no/such/file.mkv"), nullptr), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
}

TEST_F(FileSource, OffersOneStreamTypeOfTheSubtypeSet) {
  source_->SetStreamSubtype(GUID{});
  ComPtr<IEnumMediaTypes> types;
  ASSERT_EQ(source_->OutputPin()->EnumMediaTypes(types.Out()), S_OK);
  AM_MEDIA_TYPE* type = nullptr;
  ASSERT_EQ(types->Next(1, &type, nullptr), S_OK);
  EXPECT_TRUE(SameGuid(type->majortype, MEDIATYPE_Stream));
  EXPECT_TRUE(SameGuid(type->subtype, GUID{}));
  DeleteMediaType(type);
  EXPECT_EQ(types->Next(1, &type, nullptr), S_FALSE);
}

}  // namespace
}  // namespace vantor::test
