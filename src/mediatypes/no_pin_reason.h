// Why a track has no pin.
//
//   if (BuildTrackMediaType(track, {}, type) == S_FALSE && type.noPin == NoPinReason::kCodec) ...
#pragma once

namespace vantor {

enum class NoPinReason {
  kNone,              // the track has a media type
  kTrackType,         // neither video nor audio nor subtitles
  kCodec,             // the codec is not known, or its identifier lacks the part that tells its kind
  kPrivateMissing,    // the codec needs private data, and there is none
  kPrivateUnusable,   // it needs private data of another form, or more of it
  kPrivateEncoded,    // the private data lies behind a content encoding that is not undone
  kPrivateEncrypted,  // and that is an encryption
};

}  // namespace vantor
