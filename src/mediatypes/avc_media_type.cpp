// AVC: the parameter sets of the configuration record, each with its 2-byte length, as the sequence header.
#include <cstddef>

#include "mediatypes/avc_probe.h"
#include "mediatypes/video_builders.h"

namespace vantor {

namespace {

constexpr std::size_t kProfile = 1;
constexpr std::size_t kLevel = 3;
constexpr std::size_t kLengthSize = 4;
constexpr std::size_t kSequenceSetCount = 5;
constexpr std::size_t kSequenceSets = 6;

// Appends `count` sets, lengths included, and moves the offset behind them; false when one runs past the record's end.
bool AppendSets(const Bytes& record, unsigned count, std::size_t& offset, Bytes& sets) {
  for (unsigned i = 0; i < count; ++i) {
    if (record.size() - offset < 2) return false;
    const std::size_t length = 2 + (static_cast<std::size_t>(record[offset]) << 8 | record[offset + 1]);
    if (record.size() - offset < length) return false;
    const auto begin = record.begin() + static_cast<std::ptrdiff_t>(offset);
    sets.insert(sets.end(), begin, begin + static_cast<std::ptrdiff_t>(length));
    offset += length;
  }
  return true;
}

bool ReadParameterSets(const Bytes& record, Bytes& sets) {
  std::size_t offset = kSequenceSets;
  if (!AppendSets(record, record[kSequenceSetCount] & 31U, offset, sets) || offset == record.size()) return false;
  const unsigned pictureSetCount = record[offset++];
  return AppendSets(record, pictureSetCount, offset, sets);
}

}  // namespace

HRESULT BuildAvc(const VideoCodec& codec, MkvTrackEntry& track, const AvcConfigSources& sources,
                 TrackMediaType& result) {
  Bytes& record = track.CodecPrivate;
  if (record.empty() && !(sources.file != nullptr && ProbeAvcConfig(*sources.file, track, record)) &&
      sources.streamDescription) {
    result.convertStartCodes = sources.streamDescription(track, record);
  }
  Bytes sets;
  if (record.size() < kSequenceSets || !ReadParameterSets(record, sets)) return S_FALSE;

  MPEG2VIDEOINFO header{};
  header.hdr = VideoHeader2(track, BitmapHeader(track, codec.fourCc, 1, 24));
  header.dwProfile = record[kProfile];
  header.dwLevel = record[kLevel];
  header.dwFlags = (record[kLengthSize] & 3U) + 1;
  return StoreMpeg2VideoInfo(header, sets, 0, result);
}

}  // namespace vantor
