// HEVC, and AV1 like it: the configuration record behind the bitmap header, which counts it in its size.
#include "mediatypes/video_builders.h"

namespace vantor {

HRESULT BuildHevc(const VideoCodec& codec, const MkvTrackEntry& track, const Bytes& codecPrivate,
                  TrackMediaType& result) {
  BITMAPINFOHEADER bitmap = BitmapHeader(track, codec.fourCc, 1, 24);
  bitmap.biSize += static_cast<DWORD>(codecPrivate.size());
  return StoreVideoInfo2(track, bitmap, codecPrivate, result);
}

}  // namespace vantor
