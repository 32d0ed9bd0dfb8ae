#include "mediatypes/video_builders.h"

#include <cstddef>

#include "mediatypes/format_block.h"
#include "platform/conversions.h"

namespace vantor {

std::int64_t FrameTime(const MkvTrackEntry& track) {
  const double rate = track.video.FrameRate.value;
  if (rate > 0) return TruncateToInt64(10000000.0 / rate);
  return static_cast<std::int64_t>(track.DefaultDuration.value / 100);
}

bool HasDisplaySize(const MkvTrackEntry& track) {
  return track.video.DisplayWidth.value > 0 && track.video.DisplayHeight.value > 0;
}

std::uint32_t PictureBytes(std::uint32_t width, std::uint32_t height) { return width * height * 4; }

BITMAPINFOHEADER BitmapHeader(const MkvTrackEntry& track, std::uint32_t fourCc, WORD planes, WORD bitCount) {
  BITMAPINFOHEADER header{};
  header.biSize = sizeof(BITMAPINFOHEADER);
  header.biWidth = static_cast<LONG>(static_cast<std::uint32_t>(track.video.PixelWidth.value));
  header.biHeight = static_cast<LONG>(static_cast<std::uint32_t>(track.video.PixelHeight.value));
  header.biPlanes = planes;
  header.biBitCount = bitCount;
  header.biCompression = fourCc;
  return header;
}

VIDEOINFOHEADER2 VideoHeader2(const MkvTrackEntry& track, const BITMAPINFOHEADER& bitmap) {
  const MkvVideoSettings& video = track.video;
  const bool display = HasDisplaySize(track);
  VIDEOINFOHEADER2 header{};
  header.AvgTimePerFrame = FrameTime(track);
  header.dwPictAspectRatioX = static_cast<DWORD>(display ? video.DisplayWidth.value : video.PixelWidth.value);
  header.dwPictAspectRatioY = static_cast<DWORD>(display ? video.DisplayHeight.value : video.PixelHeight.value);
  header.bmiHeader = bitmap;
  return header;
}

HRESULT StoreVideoInfo(const MkvTrackEntry& track, const BITMAPINFOHEADER& bitmap, const Bytes& codecPrivate,
                       TrackMediaType& result) {
  const HRESULT made =
      MakeFormatBlock(result.mediaType, FORMAT_VideoInfo, sizeof(VIDEOINFOHEADER) + std::uint64_t{codecPrivate.size()});
  if (FAILED(made)) return made;
  VIDEOINFOHEADER header{};
  header.AvgTimePerFrame = FrameTime(track);
  header.bmiHeader = bitmap;
  StoreHeader(result.mediaType, header);
  StoreBytes(result.mediaType, sizeof(VIDEOINFOHEADER), codecPrivate);
  result.bufferSize = PictureBytes(bitmap);
  return S_OK;
}

HRESULT StoreVideoInfo2(const MkvTrackEntry& track, const BITMAPINFOHEADER& bitmap, const Bytes& codecPrivate,
                        TrackMediaType& result) {
  const HRESULT made = MakeFormatBlock(result.mediaType, FORMAT_VideoInfo2,
                                       sizeof(VIDEOINFOHEADER2) + std::uint64_t{codecPrivate.size()});
  if (FAILED(made)) return made;
  StoreHeader(result.mediaType, VideoHeader2(track, bitmap));
  StoreBytes(result.mediaType, sizeof(VIDEOINFOHEADER2), codecPrivate);
  result.bufferSize = PictureBytes(bitmap);
  return S_OK;
}

HRESULT StoreMpeg2VideoInfo(const MPEG2VIDEOINFO& header, const Bytes& sequenceHeader, std::uint64_t spare,
                            TrackMediaType& result) {
  constexpr std::size_t kHeaderSize = offsetof(MPEG2VIDEOINFO, dwSequenceHeader);
  const HRESULT made =
      MakeFormatBlock(result.mediaType, FORMAT_MPEG2Video, kHeaderSize + sequenceHeader.size() + spare);
  if (FAILED(made)) return made;
  MPEG2VIDEOINFO stored = header;
  stored.cbSequenceHeader = static_cast<DWORD>(sequenceHeader.size());
  StoreHeader(result.mediaType, stored, kHeaderSize);
  StoreBytes(result.mediaType, kHeaderSize, sequenceHeader);
  result.bufferSize = PictureBytes(header.hdr.bmiHeader);
  return S_OK;
}

}  // namespace vantor
