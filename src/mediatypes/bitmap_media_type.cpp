// Codecs described by a bitmap header with the codec data behind it: Video for Windows, Real, VP8 and VP9.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "mediatypes/format_block.h"
#include "mediatypes/skip_track.h"
#include "mediatypes/video_builders.h"
#include "published/subtype_codes.h"

namespace vantor {

namespace {

// The stored header, zeros beyond its end.
BITMAPINFOHEADER StoredHeader(const Bytes& codecPrivate) {
  BITMAPINFOHEADER header{};
  if (!codecPrivate.empty()) {
    std::memcpy(&header, codecPrivate.data(), std::min(codecPrivate.size(), sizeof(header)));
  }
  return header;
}

GUID BitmapSubtype(const BITMAPINFOHEADER& header) {
  constexpr DWORD kRgb = 0;
  constexpr DWORD kBitFields = 3;
  if (header.biCompression != kRgb && header.biCompression != kBitFields) return SubtypeOf(header.biCompression);
  switch (header.biBitCount) {
    case 1:
      return MEDIASUBTYPE_RGB1;
    case 4:
      return MEDIASUBTYPE_RGB4;
    case 8:
      return MEDIASUBTYPE_RGB8;
    case 16:
      return MEDIASUBTYPE_RGB565;  // never RGB555, whatever the masks say
    case 24:
      return MEDIASUBTYPE_RGB24;
    case 32:
      return MEDIASUBTYPE_ARGB32;
    default:
      return GUID_NULL;
  }
}

}  // namespace

// The block has room for the whole header structure and for the private data, which is laid over its bitmap header: as
// many zero bytes follow the data.
HRESULT BuildStoredBitmapHeader(const VideoCodec&, const MkvTrackEntry& track, const Bytes& codecPrivate,
                                TrackMediaType& result) {
  const bool extended = HasDisplaySize(track);
  const std::size_t headerSize = extended ? sizeof(VIDEOINFOHEADER2) : sizeof(VIDEOINFOHEADER);
  const HRESULT made = MakeFormatBlock(result.mediaType, extended ? FORMAT_VideoInfo2 : FORMAT_VideoInfo,
                                       headerSize + std::uint64_t{codecPrivate.size()});
  if (FAILED(made)) return made;
  if (extended) {
    StoreHeader(result.mediaType, VideoHeader2(track, BITMAPINFOHEADER{}));
  } else {
    VIDEOINFOHEADER header{};
    header.AvgTimePerFrame = FrameTime(track);
    StoreHeader(result.mediaType, header);
  }
  StoreBytes(result.mediaType, headerSize - sizeof(BITMAPINFOHEADER), codecPrivate);

  const BITMAPINFOHEADER bitmap = StoredHeader(codecPrivate);
  const GUID subtype = BitmapSubtype(bitmap);
  result.mediaType.SetSubtype(&subtype);
  result.bufferSize = PictureBytes(bitmap);
  return S_OK;
}

HRESULT BuildRealVideo(const VideoCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                       TrackMediaType& result) {
  if (track.CodecID.size() <= codec.id.size()) return SkipTrack(NoPinReason::kCodec, result);
  const std::uint32_t fourCc = FourCc('R', 'V', static_cast<char>(track.CodecID[codec.id.size()]), '0');
  const GUID subtype = SubtypeOf(fourCc);
  result.mediaType.SetSubtype(&subtype);
  const BITMAPINFOHEADER bitmap = BitmapHeader(track, fourCc, 0, 0);
  return HasDisplaySize(track) ? StoreVideoInfo2(track, bitmap, codecPrivate, result)
                               : StoreVideoInfo(track, bitmap, codecPrivate, result);
}

HRESULT BuildVpx(const VideoCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                 TrackMediaType& result) {
  return StoreVideoInfo(track, BitmapHeader(track, codec.fourCc, 0, 0), codecPrivate, result);
}

}  // namespace vantor
