#include "mediatypes/avc_config.h"

#include <gtest/gtest.h>

#include "support/mkv_builder.h"

namespace vantor::test {
namespace {

const Raw kSequence = {0x67, 0x64, 0x00, 0x28, 0xAC, 0xD9};
const Raw kOtherSequence = {0x67, 0x42, 0xE0, 0x1E, 0x11};
const Raw kPicture = {0x68, 0xEB, 0xE3};
const Raw kSlice = {0x65, 0x88, 0x84, 0x21, 0x43};

Raw Length16(const Raw& unit) { return Join({BigEndian(unit.size(), 2), unit}); }
Raw Length32(const Raw& unit) { return Join({BigEndian(unit.size(), 4), unit}); }
Raw Code3(const Raw& unit) { return Join({{0, 0, 1}, unit}); }
Raw Code4(const Raw& unit) { return Join({{0, 0, 0, 1}, unit}); }

// A configuration record with these sets.
Raw Record(const std::vector<Raw>& sequences, const std::vector<Raw>& pictures) {
  Raw record = {1, 0x64, 0, 0x28, 0xFF, static_cast<std::uint8_t>(0xE0 | sequences.size())};
  for (const Raw& set : sequences) record = Join({record, Length16(set)});
  record.push_back(static_cast<std::uint8_t>(pictures.size()));
  for (const Raw& set : pictures) record = Join({record, Length16(set)});
  return record;
}

Raw Box(const Raw& record) { return Join({BigEndian(record.size() + 8, 4), Text("avcC"), record}); }

// The box that two sets give.
Raw Expected(const Raw& sequence, const Raw& picture) {
  return Join({BigEndian(8 + 6 + 2 + sequence.size() + 1 + 2 + picture.size(), 4),
               Text("avcC"),
               {1, sequence[1], sequence[2], sequence[3], 0xFF, 0xE1},
               Length16(sequence),
               {1},
               Length16(picture)});
}

// The box, or nothing.
Raw Built(const Raw& data) {
  Bytes box;
  return BuildAvcConfig(data.data(), data.size(), box) ? box : Raw{};
}

TEST(AvcConfig, NullAndUnderNineBytesGiveNone) {
  Bytes box = {1, 2, 3};
  EXPECT_FALSE(BuildAvcConfig(nullptr, 100, box));
  const Raw data = Join({Code3({0x67, 1, 2, 3}), Code3({0x68})});
  ASSERT_EQ(data.size(), 11U);
  EXPECT_FALSE(BuildAvcConfig(data.data(), 8, box));
  EXPECT_EQ(box, (Bytes{1, 2, 3}));
  EXPECT_TRUE(BuildAvcConfig(data.data(), 11, box));
}

TEST(AvcConfig, StartCodesOfThreeAndFourBytesAreFramed) {
  const Raw expected = Expected(kSequence, kPicture);
  EXPECT_EQ(Built(Join({Code3(kSequence), Code3(kPicture), Code3(kSlice)})), expected);
  EXPECT_EQ(Built(Join({Code4(kSequence), Code4(kPicture), Code4(kSlice)})), expected);
  EXPECT_EQ(Built(Join({Code4({9, 0x10}), Code3(kSequence), Code4(kPicture), Code3(kSlice)})), expected);
  EXPECT_EQ(Built(Join({Code4(kPicture), Code4(kSequence)})), expected);
}

TEST(AvcConfig, UnitEndsBeforeTheZerosOfTheNextStartCode) {
  EXPECT_EQ(Built(Join({Code4(kSequence), Fill(3), Code4(kPicture), Fill(2), Code3(kSlice)})),
            Expected(kSequence, kPicture));
}

TEST(AvcConfig, LastUnitRunsToTheEnd) {
  EXPECT_EQ(Built(Join({Code4(kSequence), Code4(kPicture)})), Expected(kSequence, kPicture));
}

TEST(AvcConfig, TwoByteLengthsAreFramed) {
  EXPECT_EQ(Built(Join({Length16(kSequence), Length16(kPicture), Length16(kSlice)})), Expected(kSequence, kPicture));
}

TEST(AvcConfig, EmptyUnitsAreSteppedOverSoFourByteLengthsPassAsTwo) {
  EXPECT_EQ(Built(Join({Length32(kSequence), Length32(kPicture), Length32(kSlice)})), Expected(kSequence, kPicture));
}

TEST(AvcConfig, WalkOfLengthsStopsAtOneThatDoesNotFit) {
  EXPECT_EQ(Built(Join({Length16(kSequence), Length16(kPicture), {0x7F, 0xFF, 1}})), Expected(kSequence, kPicture));
  EXPECT_EQ(Built(Join({Length16(kSequence), Length16(kSlice), {0x7F, 0xFF}, Length16(kPicture)})), Raw{});
}

TEST(AvcConfig, TwoLengthsMustFitForTheFraming) {
  const Raw whole = Join({Length16(kSequence), Length16(kPicture)});
  EXPECT_EQ(Built(whole), Expected(kSequence, kPicture));
  EXPECT_EQ(Built(Raw(whole.begin(), whole.end() - 1)), Raw{});
  EXPECT_EQ(Built(Length16(Fill(20, 0x67))), Raw{});
}

TEST(AvcConfig, StoredConfigurationIsFoundAnywhere) {
  const Raw expected = Expected(kSequence, kPicture);
  EXPECT_EQ(Built(Box(Record({kSequence}, {kPicture}))), expected);
  EXPECT_EQ(Built(Join({Ramp(50), Box(Record({kSequence}, {kPicture})), Ramp(50)})), expected);
}

TEST(AvcConfig, StoredConfigurationWinsOverStartCodes) {
  EXPECT_EQ(Built(Join({Code4(kOtherSequence), Code4(kPicture), Text("avcC"), Record({kSequence}, {kPicture})})),
            Expected(kSequence, kPicture));
  EXPECT_EQ(Built(Join({Code4(kOtherSequence), Code4(kPicture), Text("avcC")})), Raw{});
}

TEST(AvcConfig, OfSeveralSetsOnlyTheFirstIsTaken) {
  const Raw expected = Expected(kSequence, kPicture);
  const Raw otherPicture = {0x68, 1, 2, 3};
  EXPECT_EQ(Built(Box(Record({kSequence, kOtherSequence}, {kPicture, otherPicture}))), expected);
  EXPECT_EQ(Built(Join({Code4(kSequence), Code4(kOtherSequence), Code4(kPicture), Code4(otherPicture)})), expected);
  EXPECT_EQ(Built(Join({Length16(kSequence), Length16(kOtherSequence), Length16(kPicture), Length16(otherPicture)})),
            expected);
}

TEST(AvcConfig, UnitsOfOtherTypesAreNoSets) {
  // Type 15, a subset sequence set, among the sequence sets; the type is 5 bits.
  EXPECT_EQ(Built(Box(Record({{0x6F, 1, 2, 3}, {0x27, 0x64, 0, 0x28}}, {kPicture}))),
            Expected({0x27, 0x64, 0, 0x28}, kPicture));
}

TEST(AvcConfig, MissingSetsGiveNone) {
  EXPECT_EQ(Built(Join({Code4(kSequence), Code4(kSlice), Code4(kSlice)})), Raw{});
  EXPECT_EQ(Built(Join({Code4(kPicture), Code4(kSlice), Code4(kSlice)})), Raw{});
  EXPECT_EQ(Built(Join({Length16(kSequence), Length16(kSlice)})), Raw{});
  EXPECT_EQ(Built(Box(Record({kSequence}, {}))), Raw{});
  EXPECT_EQ(Built(Box(Record({}, {kPicture}))), Raw{});
}

TEST(AvcConfig, StoredConfigurationCutShortGivesNone) {
  const Raw whole = Box(Record({kSequence}, {kPicture}));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(Built(Raw(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))), Raw{}) << size;
  }
  EXPECT_EQ(Built(whole), Expected(kSequence, kPicture));
}

TEST(AvcConfig, SequenceSetUnderFourBytesGivesNone) {
  EXPECT_EQ(Built(Join({Code4({0x67, 1, 2}), Code4(kPicture)})), Raw{});
  EXPECT_EQ(Built(Join({Code4({0x67, 1, 2, 3}), Code4(kPicture)})), Expected({0x67, 1, 2, 3}, kPicture));
}

TEST(AvcConfig, SetAbove65535BytesGivesNone) {
  const Raw largest = Join({{0x68}, Fill(65534, 7)});
  const Raw tooLarge = Join({{0x68}, Fill(65535, 7)});
  EXPECT_EQ(Built(Join({Code4(kSequence), Code4(largest)})), Expected(kSequence, largest));
  EXPECT_EQ(Built(Join({Code4(kSequence), Code4(tooLarge)})), Raw{});
  EXPECT_EQ(Built(Join({Code4(Join({{0x67}, Fill(65535, 7)})), Code4(kPicture)})), Raw{});
}

TEST(AvcConfig, DataOfNoKnownFramingGivesNone) {
  EXPECT_EQ(Built(Fill(100, 0xFF)), Raw{});
  EXPECT_EQ(Built(Join({{0xAA}, Code4(kSequence), Code4(kPicture)})), Raw{});
}

}  // namespace
}  // namespace vantor::test
