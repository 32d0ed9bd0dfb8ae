#include "tools/track_pins.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "mediatypes/codec_id.h"
#include "mediatypes/stream_description.h"
#include "mediatypes/track_media_type.h"
#include "parser/content_encoding.h"
#include "platform/result.h"
#include "published/media_guids.h"

namespace vantor::tools {
namespace {

// What may be read to look for first frames, as the filter has it.
constexpr std::uint64_t kTimesForFirstFrames = 4;
constexpr std::uint64_t kSlackForFirstFrames = std::uint64_t{1} << 20;

FrameState FrameStateOf(const MkvTrackEntry& track) {
  std::size_t encodings = 0;
  bool isEncrypted = false;
  bool isRestored = true;
  for (const MkvContentEncoding& encoding : track.contentEncodings) {
    if ((encoding.ContentEncodingScope.value & MkvContentEncoding::kScopeFrames) == 0) continue;
    ++encodings;
    isEncrypted = isEncrypted || encoding.ContentEncodingType.value == MkvContentEncoding::kTypeEncryption;
    isRestored = isRestored && encoding.ContentEncodingType.value == MkvContentEncoding::kTypeCompression &&
                 encoding.ContentCompAlgo.value == MkvContentEncoding::kAlgoHeaderStripping &&
                 encoding.ContentCompSettings.size() <= kLongestStrippedHeader;
  }
  if (isEncrypted) return FrameState::kEncrypted;
  // Of several the highest alone is undone.
  return isRestored && encodings <= 1 ? FrameState::kPlain : FrameState::kCompressed;
}

Bytes WithoutZeroEnd(Bytes id) {
  while (!id.empty() && id.back() == 0) id.pop_back();
  return id;
}

// Whether the codec would be known, but for the zero bytes.
bool EndsInZeroes(const MkvTrackEntry& track, const AvcConfigSources& sources, const PlaybackPolicy& policy) {
  if (track.CodecID.empty() || track.CodecID.back() != 0) return false;
  MkvTrackEntry other = track;
  other.CodecID = WithoutZeroEnd(track.CodecID);
  TrackMediaType type;
  const HRESULT built = Guarded([&] { return BuildTrackMediaType(other, sources, type, policy); });
  return built != S_FALSE || type.noPin != NoPinReason::kCodec;
}

bool IsSameType(const AM_MEDIA_TYPE& expected, const GraphPin& pin) {
  if (pin.types.empty()) return false;
  const AM_MEDIA_TYPE& offered = pin.types.front();
  return SameGuid(expected.majortype, offered.majortype) && SameGuid(expected.subtype, offered.subtype) &&
         SameGuid(expected.formattype, offered.formattype) && expected.cbFormat == offered.cbFormat &&
         (expected.cbFormat == 0 || std::memcmp(expected.pbFormat, offered.pbFormat, expected.cbFormat) == 0);
}

class TrackMatcher {
 public:
  TrackMatcher(CMkvFileRoot& file, IPin* upstream, const std::vector<GraphPin>& pins)
      : file_(file), probed_(file), description_(upstream), pins_(pins) {
    probed_.allowance = file.AllowanceOf(kTimesForFirstFrames, kSlackForFirstFrames);
    sources_.file = &probed_;
    sources_.streamDescription = [this](const MkvTrackEntry& track, Bytes& codecPrivate) {
      return description_.Read(track, codecPrivate);
    };
  }

  TrackPins Match() {
    for (const MkvTrackList& list : file_.GetSegment()->tracks) {
      for (const auto& track : list) {
        TrackPin& added = result_.tracks.emplace_back();
        added.entry = track.get();
        added.frames = FrameStateOf(*track);
        added.noPin = NoPinReason::kTrackType;
      }
    }
    // In the order in which pins are made; the first failure ends it.
    MatchKind([](const MkvTrackEntry& track) { return track.TrackType.value == MkvTrackEntry::kTypeVideo; });
    MatchKind([](const MkvTrackEntry& track) { return IsAudio(track) && CodecIdText(track.CodecID) != kCodecDts; });
    MatchKind([](const MkvTrackEntry& track) { return IsAudio(track) && CodecIdText(track.CodecID) == kCodecDts; });
    MatchKind([](const MkvTrackEntry& track) { return track.TrackType.value == MkvTrackEntry::kTypeSubtitle; });
    result_.isAsExpected = result_.isAsExpected && next_ == pins_.size();
    return std::move(result_);
  }

 private:
  static bool IsAudio(const MkvTrackEntry& track) { return track.TrackType.value == MkvTrackEntry::kTypeAudio; }

  template <typename Takes>
  void MatchKind(Takes takes) {
    for (TrackPin& track : result_.tracks) {
      if (hasFailed_ || !takes(*track.entry)) continue;
      MatchTrack(track);
    }
  }

  void MatchTrack(TrackPin& track) {
    TrackMediaType type;
    track.noPin = NoPinReason::kNone;
    const HRESULT built = Guarded([&] { return BuildTrackMediaType(*track.entry, sources_, type, file_.Policy()); });
    if (built == E_OUTOFMEMORY) throw std::bad_alloc();
    hasFailed_ = FAILED(built);
    if (hasFailed_) track.failure = built;
    if (built == S_FALSE) {
      track.noPin = type.noPin;
      track.isIdZeroEnded = type.noPin == NoPinReason::kCodec && EndsInZeroes(*track.entry, sources_, file_.Policy());
    }
    if (built != S_OK) return;
    if (next_ >= pins_.size() || !IsSameType(type.mediaType, pins_[next_])) {
      result_.isAsExpected = false;
      return;
    }
    track.pin = pins_[next_++].number;
    track.convertsStartCodes = type.convertStartCodes;
    track.addsFrameHeaders = type.addFrameHeaders;
    track.hasOnlyKeyFrames = file_.Policy().audioKeyFrames && track.entry->TrackType.value != MkvTrackEntry::kTypeVideo;
    track.sendsHeaders = file_.startTime == 0 && SameGuid(type.mediaType.subtype, kSubtypeVorbis);
  }

  CMkvFileRoot& file_;
  CMkvFileClone probed_;
  StreamDescription description_;
  const std::vector<GraphPin>& pins_;
  AvcConfigSources sources_;
  TrackPins result_;
  std::size_t next_ = 0;
  bool hasFailed_ = false;
};

}  // namespace

const char* TrackKind(const MkvTrackEntry& track) {
  switch (track.TrackType.value) {
    case MkvTrackEntry::kTypeVideo:
      return "video";
    case MkvTrackEntry::kTypeAudio:
      return "audio";
    case MkvTrackEntry::kTypeSubtitle:
      return "subtitle";
    default:
      return "other";
  }
}

TrackPins MatchTracks(CMkvFileRoot& file, IPin* upstream, const std::vector<GraphPin>& pins) {
  return TrackMatcher(file, upstream, pins).Match();
}

std::string CodecText(const MkvTrackEntry& track) {
  constexpr std::size_t kLongest = 64;
  const Bytes id = WithoutZeroEnd(track.CodecID);
  return std::string(CodecIdText(id).substr(0, kLongest));
}

}  // namespace vantor::tools
