#include "streaming/codec_headers.h"

#include <gtest/gtest.h>

#include "published/media_guids.h"
#include "support/mkv_builder.h"

namespace vantor::test {
namespace {

Raw LittleEndian32(std::uint32_t value) {
  Raw bytes = BigEndian(value, 4);
  return Raw(bytes.rbegin(), bytes.rend());
}

Raw VorbisBlock(std::uint32_t first, std::uint32_t second, std::uint32_t third, const Raw& headers) {
  return Join({Fill(12, 0xFF), LittleEndian32(first), LittleEndian32(second), LittleEndian32(third), headers});
}

CMediaType Type(const GUID& subtype, const GUID& format, const Raw& block = {}) {
  CMediaType type(&MEDIATYPE_Audio);
  type.SetSubtype(&subtype);
  type.SetFormatType(&format);
  if (!block.empty()) type.SetFormat(block.data(), static_cast<ULONG>(block.size()));
  return type;
}

Raw BytesOf(const CodecHeader& header) { return Raw(header.data, header.data + header.size); }

const Raw kBlock = VorbisBlock(2, 1, 3, {10, 11, 20, 30, 31, 32});

TEST(CodecHeaders, LieOneAfterTheOtherBehindTheirSizes) {
  const CMediaType own = Type(kSubtypeVorbis, kFormatVorbis, kBlock);
  CodecHeaders headers;
  ASSERT_TRUE(FindCodecHeaders(own, own, headers));
  EXPECT_EQ(BytesOf(headers[0]), (Raw{10, 11}));
  EXPECT_EQ(BytesOf(headers[1]), (Raw{20}));
  EXPECT_EQ(BytesOf(headers[2]), (Raw{30, 31, 32}));
}

TEST(CodecHeaders, AreSentForTheOlderConnectionTypeOfTheNewerPinToo) {
  CodecHeaders headers;
  EXPECT_TRUE(
      FindCodecHeaders(Type(kSubtypeVorbis, kFormatVorbis), Type(kSubtypeVorbis2, kFormatVorbis2, kBlock), headers));
}

TEST(CodecHeaders, AreNotSentForTheNewerConnectionType) {
  CodecHeaders headers;
  EXPECT_FALSE(
      FindCodecHeaders(Type(kSubtypeVorbis2, kFormatVorbis2), Type(kSubtypeVorbis, kFormatVorbis, kBlock), headers));
}

TEST(CodecHeaders, NeedAVorbisFormatOfThePinsOwn) {
  CodecHeaders headers;
  EXPECT_FALSE(FindCodecHeaders(Type(kSubtypeVorbis, kFormatVorbis), Type(kSubtypeVorbis, FORMAT_WaveFormatEx, kBlock),
                                headers));
}

TEST(CodecHeaders, MayBeEmpty) {
  const CMediaType own = Type(kSubtypeVorbis, kFormatVorbis, VorbisBlock(0, 0, 0, {}));
  CodecHeaders headers;
  ASSERT_TRUE(FindCodecHeaders(own, own, headers));
  EXPECT_EQ(headers[2].size, 0u);
}

TEST(CodecHeaders, AreNeverLookedForPastTheBlock) {
  const Raw blocks[] = {
      {},
      Fill(23),
      VorbisBlock(7, 0, 0, Fill(6)),
      VorbisBlock(3, 4, 0, Fill(6)),
      VorbisBlock(3, 3, 1, Fill(6)),
      VorbisBlock(0xFFFFFFFF, 2, 0, Fill(6)),
  };
  for (const Raw& block : blocks) {
    const CMediaType own = Type(kSubtypeVorbis, kFormatVorbis, block);
    CodecHeaders headers;
    EXPECT_FALSE(FindCodecHeaders(own, own, headers)) << "a block of " << block.size() << " bytes";
  }
}

}  // namespace
}  // namespace vantor::test
