// What the video builders share: one row of the codec table, the rules for frame time and aspect, and the functions
// that fill each kind of header.
#pragma once

#include <cstdint>
#include <string_view>

#include "mediatypes/codec_id.h"
#include "mediatypes/track_media_type.h"

namespace vantor {

struct VideoCodec;
// Fills the format and the buffer size; major type, subtype and label are those of the codec already. Results as of
// BuildVideoMediaType.
using VideoBuilder = HRESULT (*)(const VideoCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                                 TrackMediaType& result);

struct VideoCodec {
  std::string_view id;
  Match match;
  const WCHAR* label;
  std::uint32_t fourCc;  // 0 where the builder sets the subtype
  VideoBuilder build;
};

HRESULT BuildStoredBitmapHeader(const VideoCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildRealVideo(const VideoCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildVpx(const VideoCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildSnow(const VideoCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildMpeg4(const VideoCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildMpegVideo(const VideoCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildTheora(const VideoCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildAvc(const VideoCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildHevc(const VideoCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);
HRESULT BuildProRes(const VideoCodec&, const MkvTrackEntry&, const Bytes&, TrackMediaType&);

// 100 ns a frame: by the frame rate, else by the default duration, else 0.
std::int64_t FrameTime(const MkvTrackEntry& track);

bool HasDisplaySize(const MkvTrackEntry& track);

// The bytes of one picture at 4 bytes a pixel, wrapping in 32 bits.
std::uint32_t PictureBytes(std::uint32_t width, std::uint32_t height);
inline std::uint32_t PictureBytes(const BITMAPINFOHEADER& header) {
  return PictureBytes(static_cast<std::uint32_t>(header.biWidth), static_cast<std::uint32_t>(header.biHeight));
}

// A bitmap header of the track's pixel size.
BITMAPINFOHEADER BitmapHeader(const MkvTrackEntry& track, std::uint32_t fourCc, WORD planes, WORD bitCount);

// A VIDEOINFOHEADER2 with the track's frame time, aspect and bitmap header.
VIDEOINFOHEADER2 VideoHeader2(const MkvTrackEntry& track, const BITMAPINFOHEADER& bitmap);

// Blocks of a header with the private data behind it. Each sets the buffer size by the bitmap header.
HRESULT StoreVideoInfo(const MkvTrackEntry& track, const BITMAPINFOHEADER& bitmap, const Bytes& codecPrivate,
                       TrackMediaType& result);
HRESULT StoreVideoInfo2(const MkvTrackEntry& track, const BITMAPINFOHEADER& bitmap, const Bytes& codecPrivate,
                        TrackMediaType& result);
// MPEG2VIDEOINFO with the sequence header, whose length is filled in, and spare bytes behind that.
HRESULT StoreMpeg2VideoInfo(const MPEG2VIDEOINFO& header, const Bytes& sequenceHeader, std::uint64_t spare,
                            TrackMediaType& result);

}  // namespace vantor
