// The dispatch: which tracks get a pin, in which order, under which name.
#include <cstring>
#include <new>

#include "filter/mkv_filter.h"
#include "mediatypes/font_attachments.h"
#include "mediatypes/stream_description.h"
#include "parser/content_encoding.h"
#include "platform/conversions.h"
#include "platform/result.h"

namespace vantor {

namespace {

constexpr std::string_view kDtsCodec = "A_DTS";

bool IsDts(const MkvTrackEntry& track) {
  return track.CodecID.size() == kDtsCodec.size() &&
         std::memcmp(track.CodecID.data(), kDtsCodec.data(), kDtsCodec.size()) == 0;
}

WideString WidenAscii(std::string_view text) { return WideString(text.begin(), text.end()); }

bool HasFrameTime(const CMediaType& type) {
  const GUID& format = *type.FormatType();
  return (SameGuid(format, FORMAT_VideoInfo) || SameGuid(format, FORMAT_MPEGVideo) ||
          SameGuid(format, FORMAT_VideoInfo2) || SameGuid(format, FORMAT_MPEG2Video)) &&
         type.Format() != nullptr && type.FormatLength() >= sizeof(VIDEOINFOHEADER);
}

}  // namespace

struct CVXMkvDmx::BuildContext {
  BuildContext(CMkvFileRoot& file, IPin* upstreamPin)
      : root(file), upstream(upstreamPin), firstCluster(FindFirstCluster(file)), probed(file) {
    // Many tracks may each be searched for a first frame that none of them has.
    probed.allowance = file.AllowanceOf(kTimesForProbing, kSlackForProbing);
  }

  static constexpr std::uint64_t kTimesForProbing = 4;
  static constexpr std::uint64_t kSlackForProbing = std::uint64_t{1} << 20;

  CMkvFileRoot& root;
  IPin* upstream;
  FirstCluster firstCluster;
  CMkvFileClone probed;
};

HRESULT CVXMkvDmx::BuildOutputPins(CMkvFileRoot& root, IPin* upstream) {
  CAutoLock lock(&filterLock_);
  const HRESULT removed = RemoveOutputPins();
  if (FAILED(removed)) return removed;
  BuildContext context(root, upstream);

  const auto type = [](const MkvTrackEntry& track) { return track.TrackType.value; };
  HRESULT result = BuildPins(context, kVideoPin, [&](const auto& t) { return type(t) == MkvTrackEntry::kTypeVideo; });
  // DTS comes after every other audio track, so that another one, if there is any, is the default.
  if (SUCCEEDED(result)) {
    result =
        BuildPins(context, kAudioPin, [&](const auto& t) { return type(t) == MkvTrackEntry::kTypeAudio && !IsDts(t); });
  }
  if (SUCCEEDED(result)) {
    result =
        BuildPins(context, kAudioPin, [&](const auto& t) { return type(t) == MkvTrackEntry::kTypeAudio && IsDts(t); });
  }
  if (SUCCEEDED(result)) {
    result = BuildPins(context, kSubtitlePin, [&](const auto& t) { return type(t) == MkvTrackEntry::kTypeSubtitle; });
  }
  if (FAILED(result)) return result;

  const MkvSegmentInfo& info = root.GetSegment()->info;
  const double ticks = info.Duration.value;
  positions_.SetFile(TruncateToInt64(static_cast<double>(info.TimecodeScale.value) * ticks / 100.0));
  return S_OK;
}

template <typename Takes>
HRESULT CVXMkvDmx::BuildPins(BuildContext& context, PinKind kind, Takes takes) {
  for (const MkvTrackList& list : context.root.GetSegment()->tracks) {
    for (const auto& track : list) {
      if (!takes(*track)) continue;
      TrackMediaType type;
      HRESULT result = BuildMediaType(context, *track, type);
      if (FAILED(result)) return result;
      if (result != S_OK) continue;
      result = CreateOutputPin(context, kind, *track, type);
      if (FAILED(result)) return result;
    }
  }
  return S_OK;
}

HRESULT CVXMkvDmx::BuildMediaType(BuildContext& context, const MkvTrackEntry& track, TrackMediaType& type) {
  AvcConfigSources sources;
  sources.file = &context.probed;
  sources.streamDescription = [&](const MkvTrackEntry& entry, Bytes& codecPrivate) {
    return ReadStreamDescription(context.upstream, entry, codecPrivate);
  };
  return BuildTrackMediaType(track, sources, type);
}

HRESULT CVXMkvDmx::CreateOutputPin(BuildContext& context, PinKind kind, const MkvTrackEntry& track,
                                   const TrackMediaType& type) {
  if (kind == kSubtitlePin && (pinKinds_ & kSubtitlePin) == 0) InstallFontAttachments(context.root, fontInstaller_);
  outputPins_.Reserve();
  const WideString name = NextPinName(kind, type.codecLabel);
  RecordFrameDuration(type.mediaType);
  HRESULT result = S_OK;
  PinHold pin(new CVXMkvDmxOutputPin(this, &filterLock_, &result, name.c_str(), context.root, context.firstCluster,
                                     track, type));
  if (SUCCEEDED(result) && !pin->HasCluster()) result = E_UNEXPECTED;
  if (FAILED(result)) return result;
  outputPins_.Append(std::move(pin));
  IncrementPinVersion();
  return S_OK;
}

// "AVC video 1": codec, type word, number. Every pin of a type but the first, and every subtitle pin, carries a tilde,
// which keeps automatic graph building from rendering it.
WideString CVXMkvDmx::NextPinName(PinKind kind, const WideString& codecLabel) {
  const char* const word = kind == kVideoPin      ? "video"
                           : kind == kAudioPin    ? "audio"
                           : kind == kSubtitlePin ? "subtitle"
                                                  : "unknown";
  const std::uint32_t number = ++pinNumbers_[word];
  const bool marked = (pinKinds_ & kind) != 0 || kind == kSubtitlePin;
  pinKinds_ |= kind;
  return (marked ? OLESTR("~") : OLESTR("")) + codecLabel + OLESTR(" ") + WidenAscii(word) + OLESTR(" ") +
         WidenAscii(std::to_string(number));
}

void CVXMkvDmx::RecordFrameDuration(const CMediaType& type) {
  if (!HasFrameTime(type)) return;
  // All four blocks begin alike.
  VIDEOINFOHEADER header;
  std::memcpy(&header, type.Format(), sizeof(header));
  positions_.OfferFrameDuration(header.AvgTimePerFrame);
}

}  // namespace vantor
