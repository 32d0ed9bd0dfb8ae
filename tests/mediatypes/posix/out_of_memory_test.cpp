// Format blocks that cannot be allocated. The linker routes CoTaskMemAlloc through the function here.
#include "mediatypes/alternative_media_type.h"
#include "mediatypes/expected_blocks.h"
#include "mediatypes/format_block.h"

namespace {

bool g_noTaskMemory = false;

}  // namespace

extern "C" LPVOID __real_CoTaskMemAlloc(SIZE_T size);
extern "C" LPVOID __wrap_CoTaskMemAlloc(SIZE_T size);
extern "C" LPVOID __wrap_CoTaskMemAlloc(SIZE_T size) { return g_noTaskMemory ? nullptr : __real_CoTaskMemAlloc(size); }

namespace vantor::test {
namespace {

class OutOfMemory : public testing::Test {
 protected:
  ~OutOfMemory() override { g_noTaskMemory = false; }

  template <typename Callable>
  static HRESULT WithoutMemory(Callable callable) {
    g_noTaskMemory = true;
    const HRESULT result = callable();
    g_noTaskMemory = false;
    return result;
  }
};

const Raw kSequenceHeader = {0x67, 1, 2, 3};
const Raw kAvcRecord = Join({{1, 0x64, 0, 0x28, 0xFF, 0xE1, 0, 4}, kSequenceHeader, {1, 0, 1, 0x68}});
const Raw kMpeg1Header = {0, 0, 1, 0xB3, 0x16, 0x01, 0x20, 0x13, 0xFF, 0xFF, 0xE0, 0x18};
const Raw kMpeg2Header =
    Join({{0, 0, 1, 0xB3, 0x16, 0x01, 0x20, 0x13, 0xFF, 0xFF, 0xE0, 0x18}, {0, 0, 1, 0xB5, 0x14, 0x82, 0, 0, 0, 0}});

TEST_F(OutOfMemory, EveryVideoFormatBlockThatCannotBeAllocatedIsReported) {
  const std::pair<std::string_view, Raw> cases[] = {
      {"V_MS/VFW/FOURCC", Fill(40)},
      {"V_REAL/RV40", {}},
      {"V_SNOW", {}},
      {"V_VP8", {}},
      {"V_VP9", {}},
      {"V_MPEG1", kMpeg1Header},
      {"V_MPEG2", kMpeg2Header},
      {"V_THEORA", Fill(33)},
      {"V_MPEG4/ISO/ASP", {}},
      {"V_MPEG4/ISO/AVC", kAvcRecord},
      {"V_MPEGH/ISO/HEVC", {}},
  };
  for (const bool display : {false, true}) {
    for (const auto& [codec, codecPrivate] : cases) {
      MkvTrackEntry track = VideoTrack(codec, 320, 240, codecPrivate);
      if (display) SetDisplay(track, 4, 3);
      TrackMediaType type;
      EXPECT_EQ(WithoutMemory([&] { return BuildVideo(track, type); }), E_OUTOFMEMORY) << codec;
      EXPECT_EQ(BuildVideo(track, type), S_OK) << codec;
    }
  }
}

TEST_F(OutOfMemory, EveryAudioFormatBlockThatCannotBeAllocatedIsReported) {
  for (const char* codec : {"A_AC3", "A_MPEG/L3", "A_MPEG/L2", "A_MPEG/L1", "A_DTS", "A_PCM/INT/LIT",
                            "A_PCM/FLOAT/IEEE", "A_TTA1", "A_WAVPACK4", "A_FLAC", "A_OPUS", "A_AAC", "A_VORBIS",
                            "A_VORBIS2", "A_MS/ACM", "A_REAL/COOK", "A_AAC/MPEG4/LC"}) {
    const MkvTrackEntry track = AudioTrack(codec, 48000, 2, 16, Join({{2, 0, 0}, Fill(20)}));
    TrackMediaType type;
    EXPECT_EQ(WithoutMemory([&] { return BuildAudio(track, type); }), E_OUTOFMEMORY) << codec;
    EXPECT_EQ(BuildAudio(track, type), S_OK) << codec;
  }
}

TEST_F(OutOfMemory, SubtitleBlockThatCannotBeAllocatedIsReported) {
  const MkvTrackEntry track = MakeTrack("S_TEXT/UTF8", {});
  TrackMediaType type;
  EXPECT_EQ(WithoutMemory([&] { return BuildSubtitle(track, type); }), E_OUTOFMEMORY);
  EXPECT_EQ(BuildSubtitle(track, type), S_OK);
}

TEST_F(OutOfMemory, AlternativeBlockThatCannotBeAllocatedIsReported) {
  MkvTrackEntry avc = VideoTrack("V_MPEG4/ISO/AVC", 320, 240, kAvcRecord);
  TrackMediaType video;
  ASSERT_EQ(BuildVideo(avc, video), S_OK);
  TrackMediaType vorbis;
  ASSERT_EQ(BuildAudio(AudioTrack("A_VORBIS2", 48000, 2, 16, {2, 0, 0}), vorbis), S_OK);
  for (const TrackMediaType* type : {&video, &vorbis}) {
    CMediaType alternative;
    EXPECT_EQ(WithoutMemory([&] { return BuildAlternativeMediaType(type->mediaType, alternative); }), E_OUTOFMEMORY);
    EXPECT_EQ(BuildAlternativeMediaType(type->mediaType, alternative), S_OK);
  }
}

TEST_F(OutOfMemory, BlockLargerThanAMediaTypeHoldsIsOutOfMemory) {
  CMediaType type;
  EXPECT_EQ(MakeFormatBlock(type, FORMAT_VideoInfo, 0x100000000), E_OUTOFMEMORY);
  EXPECT_EQ(MakeFormatBlock(type, FORMAT_VideoInfo, 0xFFFFFFFFFFFFFFFF), E_OUTOFMEMORY);
  EXPECT_EQ(type.FormatLength(), 0U);
}

}  // namespace
}  // namespace vantor::test
