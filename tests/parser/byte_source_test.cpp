#include "parser/byte_source.h"

#include <gtest/gtest.h>

#include <vector>

#include "fixture.h"

namespace vantor::test {
namespace {

TEST(ByteSource, StartsAtZeroWithTheReadersTotalLength) {
  Source source(Ramp(100));
  EXPECT_EQ(source.file.position, 0u);
  EXPECT_EQ(source.file.length, 100u);
  EXPECT_EQ(source.file.Remaining(), 100u);
}

TEST(ByteSource, HoldsOneReferenceOnTheReaderWhileItLives) {
  MemoryReader reader(Ramp(4));
  {
    PlainFile file(&reader);
    EXPECT_EQ(reader.References(), 1u);
    CMkvFileClone clone(file);
    EXPECT_EQ(reader.References(), 2u);
  }
  EXPECT_EQ(reader.References(), 0u);
}

TEST(ByteSource, ReaderWithoutALengthGivesAnEmptySource) {
  MemoryReader reader(Ramp(4));
  reader.FailLength(E_NOTIMPL);
  PlainFile file(&reader);
  EXPECT_EQ(file.length, 0u);
  std::uint8_t byte = 0;
  EXPECT_EQ(file.Read(&byte, 1), E_FAIL);
}

TEST(ByteSource, NegativeLengthGivesAnEmptySource) {
  MemoryReader reader(Ramp(4));
  reader.SetLength(-1);
  PlainFile file(&reader);
  EXPECT_EQ(file.length, 0u);
}

TEST(ByteSource, ReadsAtTheCursorInOneCallAndMovesIt) {
  Source source(Ramp(100));
  source.file.position = 40;
  Raw bytes(10);
  EXPECT_EQ(source.file.Read(bytes.data(), 10), S_OK);
  EXPECT_EQ(bytes, (Raw{40, 41, 42, 43, 44, 45, 46, 47, 48, 49}));
  EXPECT_EQ(source.file.position, 50u);
  EXPECT_EQ(source.reader.Reads(), 1u);
}

TEST(ByteSource, ReadThatTheEndCutsShortConsumesTheRestAndFails) {
  Source source(Ramp(10));
  source.file.position = 7;
  Raw bytes(5, 0xEE);
  EXPECT_EQ(source.file.Read(bytes.data(), 5), E_FAIL);
  EXPECT_EQ(bytes, (Raw{7, 8, 9, 0xEE, 0xEE}));
  EXPECT_EQ(source.file.position, 10u);
}

TEST(ByteSource, ReadOfNothingSucceedsWithoutAskingTheReader) {
  Source source(Ramp(10));
  source.file.position = 9;
  EXPECT_EQ(source.file.Read(nullptr, 0), S_OK);
  EXPECT_EQ(source.reader.Reads(), 0u);
}

TEST(ByteSource, ReadAtOrBeyondTheEndFailsWithoutAskingTheReader) {
  Source source(Ramp(10));
  std::uint8_t byte = 0;
  for (const std::uint64_t position : {std::uint64_t{10}, std::uint64_t{11}, ~std::uint64_t{0}}) {
    source.file.position = position;
    EXPECT_EQ(source.file.Read(&byte, 1), E_FAIL) << position;
    EXPECT_EQ(source.file.Read(&byte, 0), E_FAIL) << position;
    EXPECT_EQ(source.file.Remaining(), 0u) << position;
    EXPECT_EQ(source.file.position, position);
  }
  EXPECT_EQ(source.reader.Reads(), 0u);
}

TEST(ByteSource, ReaderFailureComesBackUnchangedAndLeavesTheCursor) {
  Source source(Ramp(10));
  source.reader.FailRead(1, E_ABORT);
  Raw bytes(4);
  EXPECT_EQ(source.file.Read(bytes.data(), 4), E_ABORT);
  EXPECT_EQ(source.file.position, 0u);
}

TEST(ByteSource, ShortReadComesBackAsTheReadersSFalse) {
  Source source(Ramp(10));
  source.reader.ShortenRead(1);
  Raw bytes(4);
  EXPECT_EQ(source.file.Read(bytes.data(), 4), S_FALSE);
  EXPECT_EQ(source.file.position, 0u);
}

TEST(ByteSource, ReadBeyondTheAllowanceFailsWithoutAskingTheReader) {
  Source source(Ramp(10));
  source.file.allowance = 5;
  Raw bytes(10);
  EXPECT_EQ(source.file.Read(bytes.data(), 4), S_OK);
  EXPECT_EQ(source.file.Read(bytes.data(), 2), E_FAIL);
  EXPECT_EQ(source.file.Read(bytes.data(), 1), S_OK);
  EXPECT_EQ(source.reader.Reads(), 2u);
}

// Answers every read without touching the buffer, so that chunks of gigabytes can be asked for.
class EmptyReader final : public IAsyncReader {
 public:
  virtual ~EmptyReader() = default;
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE SyncRead(LONGLONG position, LONG size, BYTE*) override {
    positions.push_back(position);
    sizes.push_back(size);
    return sizes.size() == failAt ? E_ABORT : S_OK;
  }
  HRESULT STDMETHODCALLTYPE Length(LONGLONG* total, LONGLONG* available) override {
    *total = *available = length;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE RequestAllocator(IMemAllocator*, ALLOCATOR_PROPERTIES*, IMemAllocator**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Request(IMediaSample*, DWORD_PTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE WaitForNext(DWORD, IMediaSample**, DWORD_PTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SyncReadAligned(IMediaSample*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE BeginFlush() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE EndFlush() override { return E_NOTIMPL; }

  LONGLONG length = 0;
  std::size_t failAt = 0;
  std::vector<std::int64_t> positions;
  std::vector<std::int32_t> sizes;
};

constexpr std::uint64_t kFiveGigabytes = 5'000'000'000;

// A buffer's address for a reader that fills nothing: only counted on, never used.
void* NoBuffer() {
  static std::uint8_t byte = 0;
  return &byte;
}

TEST(ByteSource, LargeReadIsCutIntoChunksUnderTwoGigabytes) {
  EmptyReader reader;
  reader.length = 6'000'000'000;
  PlainFile file(&reader);
  EXPECT_EQ(file.Read(NoBuffer(), kFiveGigabytes), S_OK);
  EXPECT_EQ(reader.sizes, (std::vector<std::int32_t>{0x7FFFFFFF, 0x7FFFFFFF, 705'032'706}));
  EXPECT_EQ(reader.positions, (std::vector<std::int64_t>{0, 0x7FFFFFFF, 0xFFFFFFFE}));
  EXPECT_EQ(file.position, kFiveGigabytes);
}

TEST(ByteSource, FailureInALaterChunkLeavesTheCursorBehindTheChunksThatSucceeded) {
  EmptyReader reader;
  reader.length = 6'000'000'000;
  reader.failAt = 2;
  PlainFile file(&reader);
  EXPECT_EQ(file.Read(NoBuffer(), kFiveGigabytes), E_ABORT);
  EXPECT_EQ(file.position, 0x7FFFFFFFu);
}

TEST(ByteSource, CloneStartsWhereTheRootIsAndThenReadsIndependently) {
  Source source(Ramp(100));
  source.file.position = 10;
  CMkvFileClone first(source.file);
  CMkvFileClone second(source.file);
  EXPECT_EQ(first.position, 10u);
  EXPECT_EQ(first.length, 100u);
  second.position = 60;
  Raw one(3);
  Raw two(3);
  EXPECT_EQ(first.Read(one.data(), 2), S_OK);
  EXPECT_EQ(second.Read(two.data(), 3), S_OK);
  EXPECT_EQ(first.Read(one.data() + 2, 1), S_OK);
  EXPECT_EQ(one, (Raw{10, 11, 12}));
  EXPECT_EQ(two, (Raw{60, 61, 62}));
  EXPECT_EQ(source.file.position, 10u);
}

TEST(ByteSource, CloneAsksItsRootForSegmentStartTimeAndSeeking) {
  MemoryReader reader(Ramp(10));
  CMkvFileRoot root(&reader, false);
  root.startTime = 1234;
  CMkvFileClone clone(root);
  EXPECT_EQ(clone.GetSegment(), &root.segment);
  EXPECT_EQ(clone.GetStartTime(), 1234);
  EXPECT_FALSE(clone.CanSeek());
}

}  // namespace
}  // namespace vantor::test
