#include "tools/forms/adts_writer.h"
#include "tools/forms/stream_forms.h"
#include "tools/forms/track_writer.h"

namespace vantor::tools {
namespace {

template <typename... Makers>
std::optional<TrackForm> FirstForm(const AM_MEDIA_TYPE& type, Makers... makers) {
  std::optional<TrackForm> form;
  static_cast<void>(((form = makers(type)) || ...));
  return form;
}

}  // namespace

std::optional<TrackForm> VideoFormOf(const AM_MEDIA_TYPE& type) {
  if (!SameGuid(type.majortype, MEDIATYPE_Video)) return std::nullopt;
  return FirstForm(type, AnnexBFormOf, IvfFormOf, PlainFormOf);
}

std::optional<TrackForm> PlainAudioFormOf(const AM_MEDIA_TYPE& type) {
  if (!SameGuid(type.majortype, MEDIATYPE_Audio)) return std::nullopt;
  return FirstForm(type, AdtsFormOf, PlainFormOf, WaveFormOf);
}

std::optional<TrackForm> FormOf(const AM_MEDIA_TYPE& type) {
  return FirstForm(type, VideoFormOf, PlainAudioFormOf, PackagedAudioFormOf, SubtitleFormOf);
}

}  // namespace vantor::tools
