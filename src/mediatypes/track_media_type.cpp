#include "mediatypes/track_media_type.h"
#include "mediatypes/skip_track.h"

namespace vantor {

namespace {

using Builder = HRESULT (*)(const MkvTrackEntry&, const ResolvedPrivate&, TrackMediaType&, const PlaybackPolicy&);

Builder BuilderOf(std::uint64_t trackType) {
  switch (trackType) {
    case MkvTrackEntry::kTypeVideo:
      return BuildVideoMediaType;
    case MkvTrackEntry::kTypeAudio:
      return BuildAudioMediaType;
    case MkvTrackEntry::kTypeSubtitle:
      return BuildSubtitleMediaType;
    default:
      return nullptr;
  }
}

}  // namespace

HRESULT BuildTrackMediaType(const MkvTrackEntry& track, const AvcConfigSources& sources, TrackMediaType& result,
                            const PlaybackPolicy& policy) {
  const Builder build = BuilderOf(track.TrackType.value);
  if (build == nullptr) return SkipTrack(NoPinReason::kTrackType, result);
  const ResolvedPrivate resolved = ResolveCodecPrivate(track, sources);
  if (resolved.noPin != NoPinReason::kNone) return SkipTrack(resolved.noPin, result);
  return build(track, resolved, result, policy);
}

}  // namespace vantor
