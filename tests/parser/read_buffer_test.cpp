// Reads through a buffer give what they give without one, in fewer calls.
#include "parser/read_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "support/memory_reader.h"
#include "support/mkv_builder.h"

namespace vantor::test {
namespace {
namespace read_buffer {

Raw ReadThrough(ReadBuffer& buffer, IAsyncReader& reader, std::uint64_t position, std::size_t size) {
  Raw bytes(size, 0xEE);
  EXPECT_EQ(buffer.Read(reader, position, size, bytes.data()), S_OK) << position;
  return bytes;
}

Raw Slice(const Raw& file, std::size_t position, std::size_t size) {
  const auto begin = file.begin() + static_cast<std::ptrdiff_t>(position);
  return Raw(begin, begin + static_cast<std::ptrdiff_t>(size));
}

TEST(ReadBuffer, SmallReadsShareACall) {
  const Raw file = Ramp(1 << 20);
  MemoryReader reader(file);
  ReadBuffer buffer(file.size());
  for (std::size_t at = 0; at < file.size(); at += 16)
    ASSERT_EQ(ReadThrough(buffer, reader, at, 16), Slice(file, at, 16));
  EXPECT_LE(reader.Reads(), 20u);
  EXPECT_EQ(reader.BytesRead(), file.size());
  EXPECT_LE(reader.LargestRead(), ReadBuffer::kBlock);
}

TEST(ReadBuffer, LargeReadsGoPastItButForWhatIsThere) {
  const Raw file = Ramp(300000);
  MemoryReader reader(file);
  ReadBuffer buffer(file.size());
  EXPECT_EQ(ReadThrough(buffer, reader, 0, 10), Slice(file, 0, 10));
  reader.ResetCounters();
  EXPECT_EQ(ReadThrough(buffer, reader, 10, 200000), Slice(file, 10, 200000));
  EXPECT_EQ(reader.Reads(), 1u);
  EXPECT_LT(reader.BytesRead(), 200000u);
}

TEST(ReadBuffer, WhereTheWalkLeapsLittleIsRead) {
  MemoryReader reader(Ramp(10 << 20));
  ReadBuffer buffer(10 << 20);
  for (std::uint64_t at = 0; at < 10 << 20; at += 100000) {
    for (int i = 0; i < 12; ++i) ReadThrough(buffer, reader, at + static_cast<std::uint64_t>(i), 1);
  }
  EXPECT_EQ(reader.Reads(), 105u);
  EXPECT_LE(reader.BytesRead(), 105u * 4096);
}

TEST(ReadBuffer, TwoPlacesAreKept) {
  MemoryReader reader(Ramp(1 << 20));
  ReadBuffer buffer(1 << 20);
  ReadThrough(buffer, reader, 0, 16);
  ReadThrough(buffer, reader, 500000, 16);
  reader.ResetCounters();
  ReadThrough(buffer, reader, 16, 16);
  ReadThrough(buffer, reader, 500016, 16);
  EXPECT_EQ(reader.Reads(), 0u);
}

TEST(ReadBuffer, NothingBehindTheEndIsAskedFor) {
  MemoryReader reader(Ramp(5000));
  reader.OnRead([](std::int64_t position, std::int32_t size) { EXPECT_LE(position + size, 5000); });
  ReadBuffer buffer(5000);
  for (const std::uint64_t at : {0, 2500, 4990, 4999}) ReadThrough(buffer, reader, at, 1);
}

TEST(ReadBuffer, WhatIsReadAheadStaysInProportionToTheFile) {
  const Raw file = Ramp(1 << 20);
  MemoryReader reader(file);
  ReadBuffer buffer(file.size());
  std::uint64_t at = 1;
  constexpr int kReads = 20000;
  for (int i = 0; i < kReads; ++i) {
    at = (at * 1103515245 + 12345) % file.size();
    ASSERT_EQ(ReadThrough(buffer, reader, at, 1)[0], file[at]);
  }
  EXPECT_LE(reader.BytesRead(), 2 * file.size() + 4 * ReadBuffer::kBlock + kReads);
  EXPECT_LE(reader.Reads(), static_cast<std::uint64_t>(kReads));
}

TEST(ReadBuffer, ReadsAheadAnewWhenItIsTold) {
  MemoryReader reader(Ramp(1 << 20));
  ReadBuffer buffer(1 << 20);
  const auto readsOfTwo = [&](std::uint64_t at) {
    reader.ResetCounters();
    ReadThrough(buffer, reader, at, 1);
    ReadThrough(buffer, reader, at + 1, 1);
    return reader.Reads();
  };
  for (std::uint64_t i = 0; i < 2000; ++i) ReadThrough(buffer, reader, i % 8 << 17, 1);
  EXPECT_EQ(readsOfTwo(70000), 2u);
  buffer.Renew();
  EXPECT_EQ(readsOfTwo(200000), 1u);
}

// Bytes of which one place cannot be read, and another ends what can be had at a time.
class HoleyReader final : public IAsyncReader {
 public:
  HoleyReader(Raw bytes, std::int64_t hole, std::int64_t brink)
      : bytes_(std::move(bytes)), hole_(hole), brink_(brink) {}
  virtual ~HoleyReader() = default;

  HRESULT STDMETHODCALLTYPE SyncRead(LONGLONG position, LONG size, BYTE* buffer) override {
    if (position <= hole_ && hole_ < position + size) return HRESULT_FROM_WIN32(ERROR_CRC);
    const bool isShort = position < brink_ && brink_ < position + size;
    std::memcpy(buffer, bytes_.data() + position, static_cast<std::size_t>(isShort ? brink_ - position : size));
    return isShort ? S_FALSE : S_OK;
  }
  HRESULT STDMETHODCALLTYPE Length(LONGLONG* total, LONGLONG* available) override {
    *total = *available = static_cast<LONGLONG>(bytes_.size());
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE RequestAllocator(IMemAllocator*, ALLOCATOR_PROPERTIES*, IMemAllocator**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Request(IMediaSample*, DWORD_PTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE WaitForNext(DWORD, IMediaSample**, DWORD_PTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SyncReadAligned(IMediaSample*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE BeginFlush() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE EndFlush() override { return S_OK; }

 private:
  const Raw bytes_;
  const std::int64_t hole_;
  const std::int64_t brink_;
};

// Many reads of many lengths, forward with leaps, at places told by a generator: each gives the result and, where it
// succeeds, the bytes that the reader itself gives.
TEST(ReadBuffer, ResultsAreTheReadersOwn) {
  constexpr std::size_t kSize = 400000;
  const Raw file = Ramp(kSize);
  HoleyReader reader(file, 150000, 250000);
  ReadBuffer buffer(kSize);
  std::uint32_t state = 1;
  const auto draw = [&](std::uint32_t below) {
    state = state * 1664525 + 1013904223;
    return (state >> 8) % below;
  };
  int failures = 0;
  int shorts = 0;
  std::size_t position = 0;
  for (int i = 0; i < 200000; ++i) {
    const std::uint32_t kind = draw(1000);
    const std::size_t size = std::min<std::size_t>(kind == 0 ? 1 + draw(100000) : 1 + draw(40), kSize - position);
    Raw direct(size);
    Raw buffered(size);
    const HRESULT expected = reader.SyncRead(static_cast<LONGLONG>(position), static_cast<LONG>(size), direct.data());
    ASSERT_EQ(buffer.Read(reader, position, size, buffered.data()), expected) << position << " " << size;
    if (expected == S_OK) {
      ASSERT_EQ(buffered, direct) << position << " " << size;
    }
    failures += FAILED(expected) ? 1 : 0;
    shorts += expected == S_FALSE ? 1 : 0;
    position += size;
    if (kind < 20) position += draw(20000);
    if (position >= kSize) position = draw(kSize / 2);
  }
  EXPECT_GT(failures, 0);
  EXPECT_GT(shorts, 0);
}

TEST(ReadBuffer, AReadAheadThatFailsIsNotMadeAgainAtThatPlace) {
  const Raw file = Ramp(100000);
  HoleyReader reader(file, 3000, -1);
  ReadBuffer buffer(file.size());
  for (std::size_t at = 0; at < 2990; at += 10) ASSERT_EQ(ReadThrough(buffer, reader, at, 10), Slice(file, at, 10));
  Raw bytes(10);
  EXPECT_EQ(buffer.Read(reader, 2995, 10, bytes.data()), HRESULT_FROM_WIN32(ERROR_CRC));
  EXPECT_EQ(ReadThrough(buffer, reader, 3001, 10), Slice(file, 3001, 10));
}

TEST(ReadBuffer, WhatItForgetsIsAskedForAnew) {
  MemoryReader reader(Ramp(100000));
  ReadBuffer buffer(100000);
  ReadThrough(buffer, reader, 0, 16);
  reader.FailRead(1, E_ABORT, true);
  ReadThrough(buffer, reader, 0, 16);
  buffer.Forget();
  Raw bytes(16);
  EXPECT_EQ(buffer.Read(reader, 0, 16, bytes.data()), E_ABORT);
}

TEST(ReadBuffer, WherePlacesAreForgottenThatFailedThereIsReadAheadAgain) {
  MemoryReader reader(Ramp(100000));
  ReadBuffer buffer(100000);
  reader.FailRead(1);
  ReadThrough(buffer, reader, 0, 16);
  EXPECT_EQ(reader.Reads(), 2u);
  buffer.Forget();
  for (std::uint64_t at = 0; at < 1600; at += 16) ReadThrough(buffer, reader, at, 16);
  EXPECT_EQ(reader.Reads(), 3u);
}

// Who flushes the source to have its reader's thread back must not find it in one more call.
TEST(ReadBuffer, UnderAFlushAReadThatFailedIsNotMadeOnceMore) {
  MemoryReader reader(Ramp(100000));
  ReadBuffer buffer(100000);
  SourceFlushes flushes;
  const ReadBuffer::Watch watch{&flushes, flushes.Changes()};
  Raw bytes(16);
  flushes.Begin();
  reader.FailRead(1, E_ABORT);
  EXPECT_EQ(buffer.Read(reader, 0, 16, bytes.data(), watch), E_ABORT);
  EXPECT_EQ(reader.Reads(), 1u);
  flushes.End();
  reader.ShortenRead(1);
  EXPECT_EQ(buffer.Read(reader, 0, 16, bytes.data(), watch), S_FALSE) << "it has been flushed meanwhile";
  EXPECT_EQ(reader.Reads(), 2u);
  const ReadBuffer::Watch later{&flushes, flushes.Changes()};
  reader.FailRead(1, E_ABORT);
  EXPECT_EQ(buffer.Read(reader, 0, 16, bytes.data(), later), S_OK) << "the failure of the read ahead tells nothing";
  EXPECT_EQ(reader.Reads(), 4u);
}

TEST(ReadBuffer, OneThatGoesOnForAnotherReadsNoMoreAhead) {
  const Raw file = Ramp(1 << 20);
  MemoryReader reader(file);
  ReadBuffer first(file.size());
  for (std::uint64_t i = 0; i < 2000; ++i) ReadThrough(first, reader, i % 8 << 17, 1);
  ReadBuffer second(file.size());
  second.TakeAheadOf(first);
  reader.ResetCounters();
  ReadThrough(second, reader, 70000, 1);
  EXPECT_EQ(reader.BytesRead(), 1u);
}

}  // namespace read_buffer
}  // namespace
}  // namespace vantor::test
