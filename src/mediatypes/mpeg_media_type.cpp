// MPEG-1 and MPEG-2 video: everything is taken from the sequence header in the private data, the choice between the two
// included.
#include <cstddef>

#include "mediatypes/format_block.h"
#include "mediatypes/mpeg_sequence_header.h"
#include "mediatypes/skip_track.h"
#include "mediatypes/video_builders.h"

namespace vantor {

namespace {

BITMAPINFOHEADER BitmapHeader(const MpegSequenceHeader& sequence) {
  BITMAPINFOHEADER header{};
  header.biSize = sizeof(BITMAPINFOHEADER);
  header.biWidth = static_cast<LONG>(sequence.width);
  header.biHeight = static_cast<LONG>(sequence.height);
  header.biPlanes = 1;
  return header;
}

// VIDEOINFOHEADER or VIDEOINFOHEADER2.
template <typename Header>
void FillCommon(const MpegSequenceHeader& sequence, Header& header) {
  header.rcSource = {0, 0, static_cast<LONG>(sequence.width), static_cast<LONG>(sequence.height)};
  header.rcTarget = header.rcSource;
  header.dwBitRate = sequence.bitRate;
  header.AvgTimePerFrame = sequence.frameTime;
  header.bmiHeader = BitmapHeader(sequence);
}

HRESULT StoreMpeg1(const MpegSequenceHeader& sequence, const Bytes& bytes, TrackMediaType& result) {
  constexpr std::size_t kHeaderSize = offsetof(MPEG1VIDEOINFO, bSequenceHeader);
  const HRESULT made = MakeFormatBlock(result.mediaType, FORMAT_MPEGVideo, kHeaderSize + std::uint64_t{bytes.size()});
  if (FAILED(made)) return made;
  MPEG1VIDEOINFO header{};
  FillCommon(sequence, header.hdr);
  // The pixel aspect travels in the densities.
  header.hdr.bmiHeader.biXPelsPerMeter = static_cast<LONG>(sequence.aspectY * sequence.width);
  header.hdr.bmiHeader.biYPelsPerMeter = static_cast<LONG>(sequence.aspectX * sequence.height);
  header.cbSequenceHeader = static_cast<DWORD>(bytes.size());
  StoreHeader(result.mediaType, header, kHeaderSize);
  StoreBytes(result.mediaType, kHeaderSize, bytes);
  result.mediaType.SetSubtype(&MEDIASUBTYPE_MPEG1Payload);
  result.codecLabel = OLESTR("MPEG1");
  result.bufferSize = PictureBytes(sequence.width, sequence.height);
  return S_OK;
}

HRESULT StoreMpeg2(const MpegSequenceHeader& sequence, const Bytes& bytes, TrackMediaType& result) {
  MPEG2VIDEOINFO header{};
  FillCommon(sequence, header.hdr);
  header.hdr.dwPictAspectRatioX = sequence.aspectX;
  header.hdr.dwPictAspectRatioY = sequence.aspectY;
  header.dwProfile = sequence.profile;
  header.dwLevel = sequence.level;
  result.mediaType.SetSubtype(&MEDIASUBTYPE_MPEG2_VIDEO);
  result.codecLabel = OLESTR("MPEG2");
  return StoreMpeg2VideoInfo(header, bytes, 0, result);
}

}  // namespace

HRESULT BuildMpegVideo(const VideoCodec&, const MkvTrackEntry&, const Bytes& codecPrivate, TrackMediaType& result) {
  MpegSequenceHeader sequence;
  if (!ReadMpegSequenceHeader(codecPrivate, sequence)) return SkipTrackFor(codecPrivate, result);
  const auto begin = codecPrivate.begin();
  const Bytes bytes(begin, begin + static_cast<std::ptrdiff_t>(sequence.size));
  return sequence.isMpeg2 ? StoreMpeg2(sequence, bytes, result) : StoreMpeg1(sequence, bytes, result);
}

}  // namespace vantor
