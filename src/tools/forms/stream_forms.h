// The forms of streams that are files almost as they are: with start codes, or a small header, around their samples.
// Each by a media type: nothing when it is not one of the form's, or says more than that can.
//
//   if (std::optional<TrackForm> form = WaveFormOf(type)) writer = form->make(output, nullptr);
#pragma once

#include <optional>

#include "tools/forms/track_writer.h"

namespace vantor::tools {

// AVC and HEVC: units behind start codes, the parameter sets in front.
std::optional<TrackForm> AnnexBFormOf(const AM_MEDIA_TYPE& type);
// VP8, VP9 and AV1.
std::optional<TrackForm> IvfFormOf(const AM_MEDIA_TYPE& type);
// AC-3, E-AC-3, DTS, MPEG audio, MPEG video of all generations before AVC.
std::optional<TrackForm> PlainFormOf(const AM_MEDIA_TYPE& type);
// Uncompressed sound, and the simple codecs that have a wave format tag.
std::optional<TrackForm> WaveFormOf(const AM_MEDIA_TYPE& type);

}  // namespace vantor::tools
