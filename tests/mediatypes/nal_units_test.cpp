#include "mediatypes/nal_units.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/mkv_builder.h"

namespace vantor::test {
namespace {

using testing::ElementsAre;

Raw Copy(ByteSpan unit) { return Raw(unit.begin(), unit.end()); }

std::vector<Raw> AfterStartCodes(const Raw& bytes, std::size_t most = 100) {
  std::vector<Raw> units;
  VisitUnitsAfterStartCodes(bytes, [&](ByteSpan unit) {
    units.push_back(Copy(unit));
    return units.size() < most;
  });
  return units;
}

TEST(NalUnits, UnitsAreTakenFromTheFrontUntilALengthDoesNotFit) {
  const Raw bytes = {0, 2, 0xAA, 0xBB, 0, 0, 0, 1, 0xCC, 0, 2, 0xDD};
  ByteSpan rest = bytes;
  ByteSpan unit;
  std::vector<Raw> units;
  while (TakeUnit(rest, unit)) units.push_back(Copy(unit));
  EXPECT_THAT(units, ElementsAre(Raw{0xAA, 0xBB}, Raw{}, Raw{0xCC}));
  EXPECT_EQ(Copy(rest), (Raw{0, 2, 0xDD}));
  EXPECT_EQ(Copy(unit), Raw{0xCC});
  rest = rest.first(1);
  EXPECT_FALSE(TakeUnit(rest, unit));
}

TEST(NalUnits, AUnitOfTheLargestLengthIsTakenAsItWasAppended) {
  const Raw large = Ramp(65535);
  Raw bytes = {0x55};
  AppendUnit(bytes, large);
  ByteSpan rest = ByteSpan(bytes).subspan(1);
  ByteSpan unit;
  ASSERT_TRUE(TakeUnit(rest, unit));
  EXPECT_EQ(Copy(unit), large);
  EXPECT_TRUE(rest.empty());
  EXPECT_EQ(bytes[0], 0x55);
}

TEST(NalUnits, AsManyUnitsAreTakenAsAskedFor) {
  const Raw bytes = {0, 1, 0xAA, 0, 1, 0xBB, 0, 1, 0xCC};
  ByteSpan rest = bytes;
  int visited = 0;
  EXPECT_TRUE(TakeUnits(rest, 2, [&](ByteSpan) { ++visited; }));
  EXPECT_EQ(visited, 2);
  EXPECT_FALSE(TakeUnits(rest, 2, [&](ByteSpan) { ++visited; }));
  EXPECT_EQ(visited, 3);
}

TEST(NalUnits, ParameterSetsAreVisitedSequenceSetsFirstAndARecordCutShortIsNotWhole) {
  const Raw record = {1, 0x64, 0, 0x28, 0xFF, 0xE1, 0, 1, 0x67, 1, 0, 1, 0x68};
  std::vector<Raw> sets;
  const auto keep = [&](ByteSpan set) { sets.push_back(Copy(set)); };
  EXPECT_TRUE(VisitParameterSets(record, keep));
  EXPECT_THAT(sets, ElementsAre(Raw{0x67}, Raw{0x68}));
  for (std::size_t size = 0; size < record.size(); ++size) {
    sets.clear();
    EXPECT_FALSE(VisitParameterSets(ByteSpan(record).first(size), keep)) << size;
    EXPECT_EQ(sets.size(), size < 9 ? 0u : 1u) << size;
  }
}

TEST(NalUnits, UnitsBetweenStartCodesEndBeforeTheZerosOfTheNextOne) {
  EXPECT_THAT(AfterStartCodes({0, 0, 1, 0x67, 0xAA, 0, 0, 0, 0, 1, 0x68, 0, 0, 1, 0, 0}),
              ElementsAre(Raw{0x67, 0xAA}, Raw{0x68}, Raw{0, 0}));
  EXPECT_THAT(AfterStartCodes({0xAA, 0, 0, 1, 0, 0, 1}), ElementsAre(Raw{}, Raw{}));
  EXPECT_THAT(AfterStartCodes({0, 0, 1, 1, 0, 0, 1, 2, 0, 0, 1, 3}, 2), ElementsAre(Raw{1}, Raw{2}));
  EXPECT_THAT(AfterStartCodes({0, 0, 2, 0, 1}), ElementsAre());
}

TEST(NalUnits, StartCodesOfBothLengthsAreFoundFromWhereTheSearchBegins) {
  const Raw bytes = {0, 0, 1, 9, 0, 0, 0, 0, 1, 9};
  EXPECT_EQ(FindStartCode(bytes, 0), 0u);
  EXPECT_EQ(FindStartCode(bytes, 1), 6u);
  EXPECT_EQ(FindStartCode(bytes, 7), bytes.size());
  EXPECT_EQ(FindStartCode(bytes, 99), bytes.size());
  EXPECT_EQ(FindLongStartCode(bytes, 0), 5u);
  EXPECT_EQ(FindLongStartCode(bytes, 5), 5u);
  EXPECT_EQ(FindLongStartCode(bytes, 6), bytes.size());
  EXPECT_EQ(FindLongStartCode({}, 0), 0u);
  EXPECT_EQ(FindLongStartCode(Raw{9, 0, 0, 1, 9, 0, 0, 0, 1}, 0), 5u) << "one of three bytes is none of four";
}

}  // namespace
}  // namespace vantor::test
