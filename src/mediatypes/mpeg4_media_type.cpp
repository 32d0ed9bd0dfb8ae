// Codecs described by an MPEG2VIDEOINFO whose sequence header is the private data as it is: MPEG-4 ASP and Snow.
#include "mediatypes/video_builders.h"

namespace vantor {

namespace {

MPEG2VIDEOINFO Header(const VideoCodec& codec, const MkvTrackEntry& track) {
  MPEG2VIDEOINFO header{};
  header.hdr = VideoHeader2(track, BitmapHeader(track, codec.fourCc, 1, 24));
  return header;
}

}  // namespace

HRESULT BuildMpeg4(const VideoCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                   TrackMediaType& result) {
  return StoreMpeg2VideoInfo(Header(codec, track), codecPrivate, 0, result);
}

HRESULT BuildSnow(const VideoCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                  TrackMediaType& result) {
  return StoreMpeg2VideoInfo(Header(codec, track), codecPrivate, 4, result);
}

}  // namespace vantor
