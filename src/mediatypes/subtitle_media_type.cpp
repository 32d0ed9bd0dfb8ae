// The subtitle codecs: one row each, the first that matches wins; all others share the subtitle block and a null
// subtype.
#include <algorithm>
#include <cstddef>

#include "mediatypes/codec_id.h"
#include "mediatypes/format_block.h"
#include "mediatypes/track_media_type.h"
#include "published/format_blocks.h"
#include "published/media_guids.h"

namespace vantor {

namespace {

constexpr std::uint32_t kBufferSize = 256000;
constexpr std::size_t kLongestLabel = 7;

struct SubtitleCodec {
  std::string_view id;
  const GUID& majorType;
  const GUID& subtype;
  const WCHAR* label;  // null: the language, with a subtitle block
  Match match = Match::kExact;
};

const SubtitleCodec kSubtitleCodecs[] = {
    {"S_TEXT/ASCII", MEDIATYPE_Text, GUID_NULL, OLESTR("ASCII")},
    {"S_LINE21", MEDIATYPE_AUXLine21Data, MEDIASUBTYPE_Line21_BytePair, OLESTR("CC")},
    {"S_TEXT/UTF8", kTypeSubtitle, kSubtypeUtf8, nullptr},
    {"S_TEXT/SSA", kTypeSubtitle, kSubtypeSsa, nullptr},
    {"S_SSA", kTypeSubtitle, kSubtypeSsa, nullptr},
    {"S_TEXT/ASS", kTypeSubtitle, kSubtypeAss, nullptr},
    {"S_ASS", kTypeSubtitle, kSubtypeAss, nullptr},
    {"S_TEXT/SSF", kTypeSubtitle, kSubtypeSsf, nullptr},
    {"S_SSF", kTypeSubtitle, kSubtypeSsf, nullptr},
    {"S_TEXT/USF", kTypeSubtitle, kSubtypeUsf, nullptr},
    {"S_USF", kTypeSubtitle, kSubtypeUsf, nullptr},
    {"S_VOBSUB", kTypeSubtitle, kSubtypeVobSub, nullptr},
};
// Those that have a subtype with MoreCodecs; WebM has identifiers of its own for WebVTT.
const SubtitleCodec kMoreSubtitleCodecs[] = {
    {"S_TEXT/WEBVTT", kTypeSubtitle, kSubtypeWebVtt, nullptr},
    {"D_WEBVTT/", kTypeSubtitle, kSubtypeWebVtt, nullptr, Match::kPrefix},
    {"S_HDMV/PGS", kTypeSubtitle, kSubtypePgs, nullptr},
    {"S_DVBSUB", kTypeSubtitle, kSubtypeDvbSubtitles, nullptr},
};
const SubtitleCodec kAnyOther = {{}, kTypeSubtitle, GUID_NULL, nullptr};

WideString LanguageLabel(const MkvTrackEntry& track) {
  WideString label;
  for (const char letter : track.Language.substr(0, kLongestLabel)) {
    label.push_back(static_cast<WCHAR>(static_cast<unsigned char>(letter)));
  }
  return label;
}

HRESULT StoreSubtitleBlock(const MkvTrackEntry& track, const Bytes& codecPrivate, CMediaType& type) {
  const HRESULT made =
      MakeFormatBlock(type, kFormatSubtitle, sizeof(SubtitleInfo) + std::uint64_t{codecPrivate.size()});
  if (FAILED(made)) return made;
  SubtitleInfo info{};
  info.dwOffset = sizeof(SubtitleInfo);
  std::copy_n(track.Language.data(), std::min(track.Language.size(), std::size(info.IsoLang) - 1), info.IsoLang);
  std::copy_n(track.Name.data(), std::min(track.Name.size(), std::size(info.TrackName) - 1), info.TrackName);
  StoreHeader(type, info);
  StoreBytes(type, sizeof(SubtitleInfo), codecPrivate);
  return S_OK;
}

}  // namespace

HRESULT BuildSubtitleMediaType(const MkvTrackEntry& track, const ResolvedPrivate& resolved, TrackMediaType& result,
                               const PlaybackPolicy& policy) {
  const SubtitleCodec* found = FindCodec(kSubtitleCodecs, track.CodecID);
  if (found == nullptr && policy.moreCodecs) found = FindCodec(kMoreSubtitleCodecs, track.CodecID);
  const SubtitleCodec& codec = found != nullptr ? *found : kAnyOther;
  result.mediaType.SetType(&codec.majorType);
  result.mediaType.SetSubtype(&codec.subtype);
  result.mediaType.SetSampleSize(1);
  result.mediaType.SetTemporalCompression(FALSE);
  result.bufferSize = kBufferSize;
  result.convertStartCodes = false;
  if (codec.label != nullptr) {
    result.codecLabel = codec.label;
    result.mediaType.SetFormatType(&FORMAT_None);
    return S_OK;
  }
  result.codecLabel = LanguageLabel(track);
  return StoreSubtitleBlock(track, resolved.data, result.mediaType);
}

}  // namespace vantor
