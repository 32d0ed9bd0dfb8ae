#include "published/codec_names.h"

#include <gtest/gtest.h>

#include "published/media_guids.h"

namespace vantor::test {
namespace {

TEST(CodecNames, SubtypesAreNamedWhetherTheyFollowFromACodeOrNot) {
  EXPECT_STREQ(CodecNameOf(SubtypeOf(FourCc("hev1"))), "HEVC (H.265)");
  EXPECT_STREQ(CodecNameOf(SubtypeOf(format_tags::kPcm)), "PCM");
  EXPECT_STREQ(CodecNameOf(SubtypeOf(0x0162)), "Windows Media Audio Pro");
  EXPECT_STREQ(CodecNameOf(MEDIASUBTYPE_MPEG2_VIDEO), "MPEG-2 video");
  EXPECT_STREQ(CodecNameOf(MEDIASUBTYPE_ARGB32), "RGB, 32 bits");
  EXPECT_STREQ(CodecNameOf(kSubtypeVobSub), "VobSub");
}

TEST(CodecNames, EveryTagThatTheComponentWritesIsNamed) {
  using namespace format_tags;
  for (const std::uint16_t tag : {kPcm, kFloat, kMpeg, kMpegLayer3, kAac, kAc3, kDts, kWavPack, kOpus, kTta, kFlac}) {
    EXPECT_NE(CodecNameOf(SubtypeOf(tag)), nullptr) << tag;
  }
}

TEST(CodecNames, OthersHaveNone) {
  EXPECT_EQ(CodecNameOf(SubtypeOf(FourCc("avc2"))), nullptr);
  EXPECT_EQ(CodecNameOf(SubtypeOf(0)), nullptr);
  EXPECT_EQ(CodecNameOf(GUID{}), nullptr);
  EXPECT_EQ(CodecNameOf(kFormatVorbis), nullptr);
}

}  // namespace
}  // namespace vantor::test
