// AVC: the parameter sets of the configuration record, each with its 2-byte length, as the sequence header.
#include <cstddef>

#include "mediatypes/nal_units.h"
#include "mediatypes/skip_track.h"
#include "mediatypes/video_builders.h"

namespace vantor {

namespace {

constexpr std::size_t kProfile = 1;
constexpr std::size_t kLevel = 3;
constexpr std::size_t kLengthSize = 4;

// The sets with their lengths, sequence sets first; false when the record ends before its last set.
bool ReadParameterSets(const Bytes& record, Bytes& sets) {
  return VisitParameterSets(record, [&](ByteSpan set) { AppendUnit(sets, set); });
}

}  // namespace

HRESULT BuildAvc(const VideoCodec& codec, const MkvTrackEntry& track, const Bytes& record, TrackMediaType& result) {
  Bytes sets;
  if (!ReadParameterSets(record, sets)) return SkipTrackFor(record, result);

  MPEG2VIDEOINFO header{};
  header.hdr = VideoHeader2(track, BitmapHeader(track, codec.fourCc, 1, 24));
  header.dwProfile = record[kProfile];
  header.dwLevel = record[kLevel];
  header.dwFlags = (record[kLengthSize] & 3U) + 1;
  return StoreMpeg2VideoInfo(header, sets, 0, result);
}

}  // namespace vantor
