// ProRes: a bitmap header with the four letters of its kind, which are all that the private data has.
#include <algorithm>

#include "mediatypes/skip_track.h"
#include "mediatypes/video_builders.h"
#include "published/subtype_codes.h"

namespace vantor {

namespace {

// The sample description codes of Apple's QuickTime File Format.
constexpr std::uint32_t kKinds[] = {FourCc("apco"), FourCc("apcs"), FourCc("apcn"),
                                    FourCc("apch"), FourCc("ap4h"), FourCc("ap4x")};

}  // namespace

HRESULT BuildProRes(const VideoCodec&, const MkvTrackEntry& track, const Bytes& codecPrivate, TrackMediaType& result) {
  if (codecPrivate.size() < 4) return SkipTrackFor(codecPrivate, result);
  const auto letter = [&](std::size_t at) { return static_cast<char>(codecPrivate[at]); };
  const std::uint32_t fourCc = FourCc(letter(0), letter(1), letter(2), letter(3));
  if (std::ranges::find(kKinds, fourCc) == std::end(kKinds)) return SkipTrackFor(codecPrivate, result);
  const GUID subtype = SubtypeOf(fourCc);
  result.mediaType.SetSubtype(&subtype);
  result.addFrameHeaders = true;
  return StoreVideoInfo2(track, BitmapHeader(track, fourCc, 1, 24), {}, result);
}

}  // namespace vantor
