// HEVC: the configuration record behind the bitmap header, which counts it in its size.
#include "mediatypes/video_builders.h"

namespace vantor {

HRESULT BuildHevc(const VideoCodec& codec, MkvTrackEntry& track, const AvcConfigSources&, TrackMediaType& result) {
  const Bytes& record = track.CodecPrivate;
  BITMAPINFOHEADER bitmap = BitmapHeader(track, codec.fourCc, 1, 24);
  bitmap.biSize += static_cast<DWORD>(record.size());
  return StoreVideoInfo2(track, bitmap, result);
}

}  // namespace vantor
