#include "parser/ebml_value.h"

#include <gtest/gtest.h>

#include <limits>

#include "fixture.h"

namespace vantor::test {
namespace {

// Reads a value of the type from a payload of exactly these bytes.
template <typename Value>
struct Result {
  explicit Result(const Raw& bytes) : Result(bytes, bytes.size()) {}
  Result(const Raw& bytes, std::uint64_t size) {
    Source source(bytes);
    MkvElement element;
    element.file = &source.file;
    element.size = CMkvLength();
    element.size.value = size;
    result = holder.Read(element);
    value = holder.value;
    present = holder.present;
    position = source.file.position;
    reads = source.reader.Reads();
  }

  Value holder;
  HRESULT result = E_UNEXPECTED;
  decltype(holder.value) value{};
  bool present = false;
  std::uint64_t position = 0;
  std::uint64_t reads = 0;
};

TEST(EbmlValue, HoldersStartAtZeroAndNotPresent) {
  EXPECT_EQ(CMkvUInt().value, 0u);
  EXPECT_FALSE(CMkvUInt().present);
  EXPECT_EQ(CMkvFloat().value, 0.0);
  EXPECT_FALSE(CMkvFloat().present);
  EXPECT_FALSE(CMkvLength().isSigned);
  EXPECT_TRUE(CMkvSignedLength().isSigned);
  EXPECT_TRUE(CMkvUInt(7).present);
}

// ---- Identifiers ----

TEST(EbmlId, KeepsItsMarkerBitsInEveryLength) {
  struct Case {
    Raw bytes;
    std::uint32_t id;
  };
  for (const Case& c : {Case{{0xA3}, 0xA3}, Case{{0x80}, 0x80}, Case{{0xFF}, 0xFF}, Case{{0x42, 0x86}, 0x4286},
                        Case{{0x40, 0x00}, 0x4000}, Case{{0x2A, 0xD7, 0xB1}, 0x2AD7B1},
                        Case{{0x1A, 0x45, 0xDF, 0xA3}, 0x1A45DFA3}, Case{{0x1F, 0xFF, 0xFF, 0xFF}, 0x1FFFFFFF}}) {
    const Result<CMkvID> read(c.bytes);
    EXPECT_EQ(read.result, S_OK);
    EXPECT_EQ(read.value, c.id);
    EXPECT_TRUE(read.present);
    EXPECT_EQ(read.position, c.bytes.size());
  }
}

TEST(EbmlId, CostsOneReadAByte) {
  EXPECT_EQ(Result<CMkvID>({0x1A, 0x45, 0xDF, 0xA3}).reads, 4u);
  EXPECT_EQ(Result<CMkvID>({0xA3}).reads, 1u);
}

TEST(EbmlId, FirstByteBelowSixteenIsRejected) {
  for (const std::uint8_t first : {0x0F, 0x08, 0x01, 0x00}) {
    const Result<CMkvID> read({first, 0x45, 0xDF, 0xA3});
    EXPECT_EQ(read.result, E_FAIL);
    EXPECT_FALSE(read.present);
  }
}

TEST(EbmlId, EndOfSourceInsideIsAFailure) {
  const Result<CMkvID> read({0x1A, 0x45, 0xDF});
  EXPECT_EQ(read.result, E_FAIL);
  EXPECT_FALSE(read.present);
  EXPECT_EQ(Result<CMkvID>(Raw{}).result, E_FAIL);
}

TEST(EbmlId, ReaderFailureComesBackUnchanged) {
  for (const HRESULT code : {E_ABORT, S_FALSE}) {
    for (int n = 1; n <= 4; ++n) {
      Source source({0x1A, 0x45, 0xDF, 0xA3});
      MkvElement element;
      element.file = &source.file;
      source.reader.FailRead(static_cast<std::uint64_t>(n), code);
      CMkvID id;
      EXPECT_EQ(id.Read(element), code) << n;
      EXPECT_FALSE(id.present);
    }
  }
}

// ---- Sizes ----

TEST(EbmlSize, DropsItsMarkerInEveryLength) {
  for (int width = 1; width <= 8; ++width) {
    const Result<CMkvLength> read(Vint(5, width));
    EXPECT_EQ(read.result, S_OK) << width;
    EXPECT_EQ(read.value, 5u) << width;
    EXPECT_EQ(read.position, static_cast<std::uint64_t>(width));
    EXPECT_EQ(read.reads, static_cast<std::uint64_t>(width));
    EXPECT_TRUE(read.present);
  }
}

TEST(EbmlSize, EightByteSizeReadsFive) {
  EXPECT_EQ(Result<CMkvLength>({0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x05}).value, 5u);
}

TEST(EbmlSize, LargestValueOfEachLengthIsRead) {
  for (int width = 1; width <= 8; ++width) {
    const std::uint64_t largest = (std::uint64_t{1} << (7 * width)) - 2;
    EXPECT_EQ(Result<CMkvLength>(Vint(largest, width)).value, largest) << width;
  }
}

TEST(EbmlSize, AllOnesMeanTheRestOfTheSource) {
  for (int width = 1; width <= 8; ++width) {
    const Result<CMkvLength> read(Join({UnknownVint(width), Fill(37)}));
    EXPECT_EQ(read.result, S_OK) << width;
    EXPECT_EQ(read.value, 37u) << width;
  }
}

TEST(EbmlSize, FirstByteZeroIsRejected) {
  const Result<CMkvLength> read({0x00, 0x81, 0x81});
  EXPECT_EQ(read.result, E_FAIL);
  EXPECT_FALSE(read.present);
}

TEST(EbmlSize, EndOfSourceInsideIsAFailure) {
  const Result<CMkvLength> read({0x01, 0x00, 0x00});
  EXPECT_EQ(read.result, E_FAIL);
  EXPECT_FALSE(read.present);
}

TEST(EbmlSize, HeaderOfFourByteIdAndEightByteSizeCostsTwelveReads) {
  Source source(Ebml(0x18538067, Fill(3), 8));
  EXPECT_TRUE(source.First());
  EXPECT_EQ(source.reader.Reads(), 12u);
  EXPECT_EQ(source.reader.LargestRead(), 1u);
}

std::int64_t Signed(const Raw& bytes) { return static_cast<std::int64_t>(Result<CMkvSignedLength>(bytes).value); }

TEST(EbmlSignedSize, TakesItsBiasOff) {
  EXPECT_EQ(Signed({0xBF}), 0);
  EXPECT_EQ(Signed({0x80}), -63);
  EXPECT_EQ(Signed({0xFE}), 63);
  EXPECT_EQ(Signed({0xC0}), 1);
  EXPECT_EQ(Signed({0x40, 0x00}), -8191);
  EXPECT_EQ(Signed({0x5F, 0xFF}), 0);
  for (int width = 1; width <= 8; ++width) {
    const std::int64_t bias = (std::int64_t{1} << (7 * width - 1)) - 1;
    for (const std::int64_t value : {-bias, std::int64_t{-1}, std::int64_t{0}, std::int64_t{1}, bias}) {
      EXPECT_EQ(Signed(SignedVint(value, width)), value) << width;
    }
  }
}

TEST(EbmlSignedSize, AllOnesAreTheRestOfTheSourceLessTheBias) {
  EXPECT_EQ(Signed(Join({{0xFF}, Fill(100)})), 100 - 63);
  EXPECT_EQ(Signed(Join({UnknownVint(2), Fill(100)})), 100 - 8191);
}

// ---- Integers ----

TEST(EbmlUInt, ReadsItsPayloadBigEndianInOneRead) {
  const Result<CMkvUInt> read({0x01, 0x02, 0x03});
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.value, 0x010203u);
  EXPECT_TRUE(read.present);
  EXPECT_EQ(read.reads, 1u);
  EXPECT_EQ(Result<CMkvUInt>(Fill(8, 0xFF)).value, ~std::uint64_t{0});
}

TEST(EbmlUInt, EmptyPayloadReadsZeroAndSucceedsEvenAtTheEnd) {
  const Result<CMkvUInt> read(Raw{});
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.value, 0u);
  EXPECT_TRUE(read.present);
  EXPECT_EQ(read.reads, 0u);
}

TEST(EbmlUInt, OfMoreThanEightBytesTheLastEightRemain) {
  const Result<CMkvUInt> read({0xAA, 0xBB, 1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.value, 0x0102030405060708u);
  EXPECT_EQ(read.position, 10u);
}

TEST(EbmlUInt, PayloadBeyondTheEndFailsAndIsNotPresent) {
  const Result<CMkvUInt> read({0x01, 0x02}, 4);
  EXPECT_EQ(read.result, E_FAIL);
  EXPECT_FALSE(read.present);
  const Result<CMkvUInt> huge(Fill(100), std::uint64_t{1} << 60);
  EXPECT_EQ(huge.result, E_FAIL);
  EXPECT_FALSE(huge.present);
}

TEST(EbmlInt, ExtendsTheSignOfItsFirstByte) {
  EXPECT_EQ(Result<CMkvInt>({0xFF, 0xFF, 0xFE}).value, -2);
  EXPECT_EQ(Result<CMkvInt>({0x7F}).value, 127);
  EXPECT_EQ(Result<CMkvInt>({0x80}).value, -128);
  EXPECT_EQ(Result<CMkvInt>({0x00, 0x80}).value, 128);
  EXPECT_EQ(Result<CMkvInt>(BigEndian(0x8000000000000000, 8)).value, std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(Result<CMkvInt>({0xFF, 0xFE}).reads, 1u);
}

TEST(EbmlInt, EmptyPayloadReadsZeroAndSucceeds) {
  const Result<CMkvInt> read(Raw{});
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.value, 0);
  EXPECT_TRUE(read.present);
}

TEST(EbmlInt, OfMoreThanEightBytesFailsAndIsNotPresent) {
  const Result<CMkvInt> read(Fill(9, 0xFF));
  EXPECT_EQ(read.result, E_FAIL);
  EXPECT_FALSE(read.present);
  EXPECT_EQ(read.value, 0);
}

// ---- Floats ----

TEST(EbmlFloat, ReadsSinglesAndDoubles) {
  EXPECT_EQ(Result<CMkvFloat>({0x3F, 0x80, 0x00, 0x00}).value, 1.0);
  EXPECT_EQ(Result<CMkvFloat>({0x3F, 0xB9, 0x99, 0x99, 0x99, 0x99, 0x99, 0x9A}).value, 0.1);
  EXPECT_EQ(Result<CMkvFloat>({0x3D, 0xCC, 0xCC, 0xCD}).value, static_cast<double>(0.1f));
  EXPECT_TRUE(Result<CMkvFloat>({0x3F, 0x80, 0x00, 0x00}).present);
}

TEST(EbmlFloat, AnyOtherSizeFailsAndReadsNothing) {
  for (const std::size_t size : {0u, 1u, 2u, 3u, 5u, 7u, 9u, 10u}) {
    const Result<CMkvFloat> read(Fill(size, 0x3F));
    EXPECT_EQ(read.result, E_FAIL) << size;
    EXPECT_EQ(read.value, 0.0);
    EXPECT_FALSE(read.present);
    EXPECT_EQ(read.reads, 0u);
  }
}

TEST(EbmlFloat, PayloadBeyondTheEndFails) {
  const Result<CMkvFloat> read({0x3F, 0x80}, 4);
  EXPECT_EQ(read.result, E_FAIL);
  EXPECT_EQ(read.value, 0.0);
  EXPECT_FALSE(read.present);
}

// ---- Fixed widths ----

TEST(EbmlByte, ReadsOneByteWhateverTheSize) {
  const Result<CMkvByte> read({0xAB, 0xCD}, 5);
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.value, 0xAB);
  EXPECT_EQ(read.position, 1u);
  EXPECT_EQ(Result<CMkvByte>({0xAB}, 0).value, 0xAB);
}

TEST(EbmlByte, IsPresentEvenWhenTheReadFailed) {
  const Result<CMkvByte> read(Raw{});
  EXPECT_EQ(read.result, E_FAIL);
  EXPECT_TRUE(read.present);
}

TEST(EbmlShort, ReadsTwoBytesBigEndianWhateverTheSizeInOneRead) {
  const Result<CMkvShort> read({0xFF, 0xFE, 0x00}, 1);
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.value, -2);
  EXPECT_EQ(read.position, 2u);
  EXPECT_EQ(read.reads, 1u);
}

TEST(EbmlShort, IsPresentEvenWhenTheReadFailed) {
  const Result<CMkvShort> read({0x12});
  EXPECT_EQ(read.result, E_FAIL);
  EXPECT_TRUE(read.present);
  EXPECT_EQ(read.value, 0);
}

// ---- Text and bytes ----

template <typename Target, HRESULT (*Function)(const MkvElement&, Target&)>
struct Payload {
  explicit Payload(const Raw& element, Target initial = {}) : value(std::move(initial)) {
    Source source(element);
    const MkvElement first = source.First();
    source.reader.ResetCounters();
    result = Function(first, value);
    reads = source.reader.Reads();
    position = source.file.position;
  }

  Target value;
  HRESULT result = E_UNEXPECTED;
  std::uint64_t reads = 0;
  std::uint64_t position = 0;
};
using Ascii = Payload<std::string, ReadAsciiString>;
using Utf8 = Payload<WideString, ReadUtf8String>;
using Buffer = Payload<Bytes, ReadBytes>;

TEST(EbmlText, AsciiStopsAtTheFirstZeroByteAndConsumesTheRest) {
  const Ascii read(Join({Ebml(0x86, {'a', 'b', 0, 'c', 0}), Fill(4)}));
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.value, "ab");
  EXPECT_EQ(read.position, 7u);
  EXPECT_EQ(Ascii(Str(0x86, "A_AAC")).value, "A_AAC");
  EXPECT_EQ(Ascii(Ebml(0x86, {0, 'x'})).value, "");
}

TEST(EbmlText, Utf8BecomesWideText) {
  EXPECT_EQ(Utf8(Str(0x536E,
                     "Gr\xC3\xB6\xC3\x9F"
                     "e \xF0\x9F\x8E\xAC"))
                .value,
            OLESTR("Gr\u00F6\u00DFe \U0001F3AC"));
  EXPECT_EQ(Utf8(Ebml(0x536E, {'a', 0, 'b'})).value, OLESTR("a"));
  EXPECT_EQ(Utf8(Ebml(0x536E, {'a', 0xFF, 'b'})).value, OLESTR("a\uFFFDb"));
}

TEST(EbmlText, EmptyPayloadEmptiesTheText) {
  const Ascii read(Ebml(0x86, {}), "before");
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.value, "");
  EXPECT_EQ(Utf8(Ebml(0x86, {}), OLESTR("before")).value, OLESTR(""));
}

TEST(EbmlBytes, WholePayloadComesInOneRead) {
  const Buffer read(Ebml(0x63A2, Ramp(5000)));
  EXPECT_EQ(read.result, S_OK);
  EXPECT_EQ(read.value, Ramp(5000));
  EXPECT_EQ(read.reads, 1u);
}

TEST(EbmlBytes, ZeroBytesAreKept) { EXPECT_EQ(Buffer(Ebml(0x86, {'A', 0})).value, (Bytes{'A', 0})); }

TEST(EbmlBytes, PayloadBeyondTheEndFailsWithoutReadingAndLeavesTheTarget) {
  for (const std::uint64_t size : {std::uint64_t{6}, (std::uint64_t{1} << 56) - 2}) {
    const Raw element = EbmlWithSize(0x63A2, size, Fill(5, 1), 8);
    const Buffer bytes(element, {9});
    EXPECT_EQ(bytes.result, E_FAIL);
    EXPECT_EQ(bytes.value, Bytes{9});
    EXPECT_EQ(bytes.reads, 0u);
    EXPECT_EQ(Ascii(element, "before").value, "before");
    EXPECT_EQ(Utf8(element, OLESTR("before")).value, OLESTR("before"));
  }
}

TEST(EbmlBytes, PayloadOverTheLimitFailsWithoutReading) {
  for (const bool isOver : {false, true}) {
    Source source(EbmlWithSize(0x63A2, kLargestPayload + (isOver ? 1 : 0), {}, 8));
    source.file.length = kLargestPayload * 2;
    const MkvElement element = source.First();
    source.reader.ResetCounters();
    Bytes bytes{9};
    EXPECT_EQ(ReadBytes(element, bytes), isOver ? E_FAIL : S_FALSE);
    EXPECT_EQ(source.reader.LargestRead(), isOver ? 0 : kLargestPayload);
    EXPECT_EQ(bytes, Bytes{9});
  }
}

TEST(EbmlBytes, ReaderFailureComesBackUnchangedAndLeavesTheTarget) {
  for (const HRESULT code : {E_ABORT, S_FALSE}) {
    Source source(Ebml(0x63A2, Ramp(50)));
    const MkvElement element = source.First();
    source.reader.FailRead(1, code);
    Bytes bytes{9};
    EXPECT_EQ(ReadBytes(element, bytes), code);
    EXPECT_EQ(bytes, Bytes{9});
  }
}

TEST(EbmlValue, EveryReaderAnswersEPointerWithoutAnElement) {
  const MkvElement none;
  std::string text;
  WideString wide;
  Bytes bytes;
  EXPECT_EQ(CMkvByte().Read(none), E_POINTER);
  EXPECT_EQ(CMkvShort().Read(none), E_POINTER);
  EXPECT_EQ(CMkvID().Read(none), E_POINTER);
  EXPECT_EQ(CMkvLength().Read(none), E_POINTER);
  EXPECT_EQ(CMkvUInt().Read(none), E_POINTER);
  EXPECT_EQ(CMkvInt().Read(none), E_POINTER);
  EXPECT_EQ(CMkvFloat().Read(none), E_POINTER);
  EXPECT_EQ(ReadAsciiString(none, text), E_POINTER);
  EXPECT_EQ(ReadUtf8String(none, wide), E_POINTER);
  EXPECT_EQ(ReadBytes(none, bytes), E_POINTER);
}

}  // namespace
}  // namespace vantor::test
