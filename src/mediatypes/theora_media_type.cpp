// Theora: the picture is described by the identification header in the private data.
#include <cstddef>

#include "mediatypes/skip_track.h"
#include "mediatypes/video_builders.h"
#include "platform/big_endian.h"
#include "platform/conversions.h"

namespace vantor {

namespace {

// Offsets in the private data: the identification header lies behind a 3-byte lace head.
constexpr std::size_t kMacroblockWidth = 13;  // 16 bits
constexpr std::size_t kMacroblockHeight = 15;
constexpr std::size_t kPictureWidth = 17;  // 24 bits
constexpr std::size_t kPictureHeight = 20;
constexpr std::size_t kRateNumerator = 25;  // 32 bits
constexpr std::size_t kRateDenominator = 29;
constexpr std::size_t kSizeRead = 33;

// 16 times the macroblock count while that is below 256.
LONG MacroblocksToPixels(const Bytes& bytes, std::size_t offset) {
  return (bytes[offset] | bytes[offset + 1] << 8) >> 4;
}

}  // namespace

HRESULT BuildTheora(const VideoCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                    TrackMediaType& result) {
  if (codecPrivate.size() < kSizeRead) return SkipTrackFor(codecPrivate, result);

  MPEG2VIDEOINFO header{};
  header.hdr.bmiHeader = BitmapHeader(track, codec.fourCc, 1, 24);
  header.hdr.bmiHeader.biWidth = MacroblocksToPixels(codecPrivate, kMacroblockWidth);
  header.hdr.bmiHeader.biHeight = MacroblocksToPixels(codecPrivate, kMacroblockHeight);
  header.hdr.dwPictAspectRatioX = BigEndian<DWORD>(&codecPrivate[kPictureWidth], 3);
  header.hdr.dwPictAspectRatioY = BigEndian<DWORD>(&codecPrivate[kPictureHeight], 3);
  const auto numerator = BigEndian<std::uint32_t>(&codecPrivate[kRateNumerator], 4);
  const auto denominator = BigEndian<std::uint32_t>(&codecPrivate[kRateDenominator], 4);
  if (numerator != 0) header.hdr.AvgTimePerFrame = TruncateToInt64(denominator * 10000000.0 / numerator);
  return StoreMpeg2VideoInfo(header, codecPrivate, 4, result);
}

}  // namespace vantor
