#include "mediatypes/base64.h"

#include <gtest/gtest.h>

#include <string>

#include "support/mkv_builder.h"

namespace vantor::test {
namespace {

Raw Decoded(std::string_view text) {
  const CVKBase64Encoder encoder;
  Raw output(static_cast<std::size_t>(encoder.DecodedSize(static_cast<std::int32_t>(text.size()))));
  output.resize(
      static_cast<std::size_t>(encoder.Decode(text.data(), static_cast<std::int32_t>(text.size()), output.data())));
  return output;
}

std::string Encoded(const Raw& bytes) {
  CVKBase64Encoder encoder;
  EXPECT_EQ(encoder.Encode(bytes.data(), static_cast<std::int32_t>(bytes.size())), S_OK);
  return {encoder.Data(), encoder.Data() + encoder.Length()};
}

// Pairs of the published test vectors.
const std::pair<std::string_view, std::string_view> kVectors[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
};

TEST(Base64, PublishedVectorsDecode) {
  for (const auto& [plain, text] : kVectors) EXPECT_EQ(Decoded(text), Text(plain)) << text;
}

TEST(Base64, PublishedVectorsEncode) {
  for (const auto& [plain, text] : kVectors) EXPECT_EQ(Encoded(Text(plain)), text);
}

TEST(Base64, WholeAlphabetDecodes) {
  const Raw expected = {0x00, 0x10, 0x83, 0x10, 0x51, 0x87, 0x20, 0x92, 0x8B, 0x30, 0xD3, 0x8F, 0x41, 0x14, 0x93, 0x51,
                        0x55, 0x97, 0x61, 0x96, 0x9B, 0x71, 0xD7, 0x9F, 0x82, 0x18, 0xA3, 0x92, 0x59, 0xA7, 0xA2, 0x9A,
                        0xAB, 0xB2, 0xDB, 0xAF, 0xC3, 0x1C, 0xB3, 0xD3, 0x5D, 0xB7, 0xE3, 0x9E, 0xBB, 0xF3, 0xDF, 0xBF};
  EXPECT_EQ(Decoded("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"), expected);
  EXPECT_EQ(Encoded(expected), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Base64, NothingBehindTheLengthIsDecoded) {
  EXPECT_EQ(Decoded(std::string_view("Zm9vYmFy").substr(0, 5)), Text("foo"));
}

TEST(Base64, CharactersOutsideTheAlphabetAreSkipped) {
  EXPECT_EQ(Decoded(" Zm\r\n9v-Y_m\tF?y\x80"), Text("foobar"));
  EXPECT_EQ(Decoded("!?.,"), Raw{});
  EXPECT_EQ(Decoded("@Z[m`9{v/:"), Decoded("Zm9v/")) << "what stands beside the alphabet's runs";
}

TEST(Base64, DecodingEndsAtTheEqualsSign) {
  EXPECT_EQ(Decoded("Zm8=Zm9v"), Text("fo"));
  EXPECT_EQ(Decoded("=Zm9v"), Raw{});
}

TEST(Base64, LeftOverBitsOfUnpaddedTextAreDropped) {
  EXPECT_EQ(Decoded("Z"), Raw{});
  EXPECT_EQ(Decoded("Zm"), Text("f"));
  EXPECT_EQ(Decoded("Zm9vY"), Text("foo"));
}

TEST(Base64, EstimateIsThreeBytesForEveryFourCharactersBegun) {
  const CVKBase64Encoder encoder;
  EXPECT_EQ(encoder.DecodedSize(0), 0);
  EXPECT_EQ(encoder.DecodedSize(1), 3);
  EXPECT_EQ(encoder.DecodedSize(4), 3);
  EXPECT_EQ(encoder.DecodedSize(5), 6);
  EXPECT_EQ(encoder.DecodedSize(1023), 768);
  EXPECT_LE(encoder.DecodedSize(INT32_MAX), 0);  // the sum leaves 32 bits
}

TEST(Base64, NegativeLengthsCodeNothing) {
  CVKBase64Encoder encoder;
  EXPECT_EQ(encoder.Decode(nullptr, -1, nullptr), 0);
  EXPECT_EQ(encoder.Encode(nullptr, -1), S_OK);
  EXPECT_EQ(encoder.Length(), 0);
}

TEST(Base64, EncodingBreaksLinesAfter76Characters) {
  EXPECT_EQ(Encoded(Fill(57)), std::string(76, 'A'));
  EXPECT_EQ(Encoded(Fill(58)), std::string(76, 'A') + "\r\nAA==");
  EXPECT_EQ(Encoded(Fill(57 * 2 + 3)), std::string(76, 'A') + "\r\n" + std::string(76, 'A') + "\r\nAAAA");
}

TEST(Base64, EncodedTextDecodesToTheSameBytes) {
  for (std::size_t size = 0; size < 200; ++size) EXPECT_EQ(Decoded(Encoded(Ramp(size))), Ramp(size));
}

TEST(Base64, EncodingAppendsToTheBuffer) {
  CVKBase64Encoder encoder;
  EXPECT_EQ(encoder.Append("x:", 2), S_OK);
  EXPECT_EQ(encoder.Encode(Text("foo").data(), 3), S_OK);
  EXPECT_EQ(std::string(encoder.Data(), encoder.Data() + encoder.Length()), "x:Zm9v");
}

}  // namespace
}  // namespace vantor::test
