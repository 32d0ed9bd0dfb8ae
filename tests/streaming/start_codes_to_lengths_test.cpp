#include "streaming/start_codes_to_lengths.h"

#include <gtest/gtest.h>

#include <string>

#include "support/mkv_builder.h"

namespace vantor::test {
namespace {

struct Conversion {
  const char* name;
  Raw before;
  Raw after;
};

const Conversion kConversions[] = {
    {"NothingStaysNothing", {}, {}},
    {"LessThanAStartCodeStays", {0, 0, 1}, {0, 0, 1}},
    {"BytesWithoutAStartCodeStay", {0xAA, 0xBB, 0xCC, 0xDD, 0xEE}, {0xAA, 0xBB, 0xCC, 0xDD, 0xEE}},
    {"EachCodeBecomesTheLengthUpToTheNext",
     {0, 0, 0, 1, 0xAA, 0xBB, 0, 0, 0, 1, 0xCC},
     {0, 0, 0, 2, 0xAA, 0xBB, 0, 0, 0, 1, 0xCC}},
    {"ACodeWithNothingBehindItHasLengthZero", {0, 0, 0, 1}, {0, 0, 0, 0}},
    {"ACodeAtTheVeryEndHasLengthZero", {0, 0, 0, 1, 0xAA, 0, 0, 0, 1}, {0, 0, 0, 1, 0xAA, 0, 0, 0, 0}},
    {"CodesNextToEachOtherHaveLengthZero", {0, 0, 0, 1, 0, 0, 0, 1, 0xAA}, {0, 0, 0, 0, 0, 0, 0, 1, 0xAA}},
    {"BytesBeforeTheFirstCodeStay", {0xAA, 0, 0, 0, 1, 0xBB, 0xCC, 0xDD}, {0xAA, 0, 0, 0, 3, 0xBB, 0xCC, 0xDD}},
    {"AThreeByteCodeIsData", {0, 0, 0, 1, 0xAA, 0, 0, 1, 0xBB}, {0, 0, 0, 5, 0xAA, 0, 0, 1, 0xBB}},
    {"ZeroBytesBeforeACodeBelongToWhatCameBefore",
     {0, 0, 0, 1, 0xAA, 0, 0, 0, 0, 1, 0xBB},
     {0, 0, 0, 2, 0xAA, 0, 0, 0, 0, 1, 0xBB}},
    {"ACodeCutOffAtTheEndIsData", {0, 0, 0, 1, 0xAA, 0, 0, 0}, {0, 0, 0, 4, 0xAA, 0, 0, 0}},
};

class StartCodesToLengthsTest : public testing::TestWithParam<Conversion> {};

TEST_P(StartCodesToLengthsTest, RewritesInPlace) {
  Raw bytes = GetParam().before;
  ConvertStartCodesToLengths(bytes.data(), bytes.size());
  EXPECT_EQ(bytes, GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(, StartCodesToLengthsTest, testing::ValuesIn(kConversions),
                         [](const auto& item) { return std::string(item.param.name); });

TEST(StartCodesToLengths, LengthsTakeAllFourBytes) {
  Raw bytes = Join({{0, 0, 0, 1}, Fill(0x010203, 0xAA), {0, 0, 0, 1, 0xBB}});
  ConvertStartCodesToLengths(bytes.data(), bytes.size());
  EXPECT_EQ(Raw(bytes.begin(), bytes.begin() + 4), (Raw{0, 1, 2, 3}));
  EXPECT_EQ(Raw(bytes.end() - 5, bytes.end()), (Raw{0, 0, 0, 1, 0xBB}));
}

}  // namespace
}  // namespace vantor::test
