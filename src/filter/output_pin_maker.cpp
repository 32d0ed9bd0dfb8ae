// How the pins come about:
//
// The tracks are gone over four times: video, audio other than DTS, DTS, subtitles. A graph builder renders the pins in
// their order and takes the first of a kind for its default, which alone has no tilde. So DTS, for which many systems
// have no decoder, stands behind every other audio track: where there is another one, that is the default. Subtitles,
// which are rendered only where somebody asks for them, come last.
//
// In each pass a track is offered to the builders of media types; one that gets a type gets a pin. Numbers and tildes
// in the names go by the pins made, so a track that is skipped leaves no gap. The first failure ends it all, and the
// pins made until then stay where they are: taking them back is the business of whoever breaks the connection.
#include "filter/output_pin_maker.h"

#include <cstring>
#include <utility>

#include "filter/mkv_filter.h"
#include "mediatypes/codec_id.h"
#include "mediatypes/font_attachments.h"
#include "mediatypes/stream_description.h"

namespace vantor {

namespace {

// Many tracks may each be searched for a first frame that none of them has: what may be read for all of them.
constexpr std::uint64_t kTimesForProbing = 4;
constexpr std::uint64_t kSlackForProbing = std::uint64_t{1} << 20;

bool IsOfType(const MkvTrackEntry& track, std::uint64_t type) { return track.TrackType.value == type; }

bool IsDts(const MkvTrackEntry& track) { return CodecIdText(track.CodecID) == kCodecDts; }

WideString WidenAscii(std::string_view text) { return WideString(text.begin(), text.end()); }

bool HasFrameTime(const CMediaType& type) {
  const GUID& format = *type.FormatType();
  return (SameGuid(format, FORMAT_VideoInfo) || SameGuid(format, FORMAT_MPEGVideo) ||
          SameGuid(format, FORMAT_VideoInfo2) || SameGuid(format, FORMAT_MPEG2Video)) &&
         type.Format() != nullptr && type.FormatLength() >= sizeof(VIDEOINFOHEADER);
}

}  // namespace

OutputPinMaker::OutputPinMaker(CMkvFileRoot& root, IPin* upstream, CFontInstaller& fonts, CVXMkvDmx& filter,
                               CCritSec& filterLock, OutputPinList& pins)
    : root_(root),
      fonts_(fonts),
      filter_(filter),
      filterLock_(filterLock),
      pins_(pins),
      firstCluster_(FindFirstCluster(root)),
      probedFile_(root) {
  probedFile_.allowance = root.AllowanceOf(kTimesForProbing, kSlackForProbing);
  avcConfigSources_.file = &probedFile_;
  avcConfigSources_.streamDescription = [description = StreamDescription(upstream)](const MkvTrackEntry& track,
                                                                                    Bytes& codecPrivate) mutable {
    return description.Read(track, codecPrivate);
  };
}

HRESULT OutputPinMaker::MakePins() {
  HRESULT result = MakePinsFor(kVideoPin, [](const auto& track) { return IsOfType(track, MkvTrackEntry::kTypeVideo); });
  if (FAILED(result)) return result;
  result = MakePinsFor(kAudioPin,
                       [](const auto& track) { return IsOfType(track, MkvTrackEntry::kTypeAudio) && !IsDts(track); });
  if (FAILED(result)) return result;
  result = MakePinsFor(kAudioPin,
                       [](const auto& track) { return IsOfType(track, MkvTrackEntry::kTypeAudio) && IsDts(track); });
  if (FAILED(result)) return result;
  return MakePinsFor(kSubtitlePin, [](const auto& track) { return IsOfType(track, MkvTrackEntry::kTypeSubtitle); });
}

template <typename Takes>
HRESULT OutputPinMaker::MakePinsFor(PinKind kind, Takes takes) {
  for (const MkvTrackList& list : root_.GetSegment()->tracks) {
    for (const auto& track : list) {
      if (!takes(*track)) continue;
      TrackMediaType type;
      HRESULT result = BuildTrackMediaType(*track, avcConfigSources_, type, root_.Policy());
      if (FAILED(result)) return result;
      if (result != S_OK) continue;
      result = MakePin(kind, *track, type);
      if (FAILED(result)) return result;
    }
  }
  return S_OK;
}

HRESULT OutputPinMaker::MakePin(PinKind kind, const MkvTrackEntry& track, const TrackMediaType& type) {
  // A file's fonts serve its subtitles; without a subtitle pin nobody needs them.
  if (kind == kSubtitlePin && (kinds_ & kSubtitlePin) == 0) InstallFontAttachments(root_, fonts_);
  const WideString name = NextPinName(kind, type.codecLabel);
  RecordFrameDuration(type.mediaType);
  HRESULT result = S_OK;
  PinHold pin(new CVXMkvDmxOutputPin(&filter_, &filterLock_, &result, name.c_str(), root_, firstCluster_, track, type));
  if (SUCCEEDED(result) && !pin->HasCluster()) result = E_UNEXPECTED;
  if (FAILED(result)) return result;
  // Before the pin is the filter's: one that finds no memory is not.
  playedTracks_.push_back(track.TrackNumber.value);
  pins_.Append(std::move(pin));
  return S_OK;
}

// "AVC video 1": codec, type word, number. Every pin of a type but the first, and every subtitle pin, carries a tilde,
// which keeps automatic graph building from rendering it.
WideString OutputPinMaker::NextPinName(PinKind kind, const WideString& codecLabel) {
  const char* const word = kind == kVideoPin ? "video" : kind == kAudioPin ? "audio" : "subtitle";
  const std::uint32_t number = ++numbers_[kind];
  const bool marked = (kinds_ & kind) != 0 || kind == kSubtitlePin;
  kinds_ |= kind;
  return (marked ? OLESTR("~") : OLESTR("")) + codecLabel + OLESTR(" ") + WidenAscii(word) + OLESTR(" ") +
         WidenAscii(std::to_string(number));
}

void OutputPinMaker::RecordFrameDuration(const CMediaType& type) {
  if (hasFrameDuration_ || !HasFrameTime(type)) return;
  // All four blocks begin alike.
  VIDEOINFOHEADER header;
  std::memcpy(&header, type.Format(), sizeof(header));
  if (header.AvgTimePerFrame == 0) return;
  hasFrameDuration_ = true;
  pins_.SetFrameDuration(header.AvgTimePerFrame);
}

}  // namespace vantor
