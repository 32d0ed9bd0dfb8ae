// The private data that a track's media type is built from: what the file holds, or what was found in its place.
//
//   const ResolvedPrivate resolved = ResolveCodecPrivate(track, sources);
//   if (resolved.noPin == NoPinReason::kNone) BuildVideoMediaType(track, resolved, type);
#pragma once

#include <functional>

#include "mediatypes/no_pin_reason.h"
#include "parser/byte_source.h"
#include "parser/ebml_value.h"
#include "parser/track_entry.h"

namespace vantor {

// Where an AVC track without CodecPrivate may find its configuration, in this order: its own first frame in `file`
// (read through a clone that shares its allowance; null: not tried), then `streamDescription`, which fills the record
// and tells whether it did (empty: not tried).
struct AvcConfigSources {
  CMkvFile* file = nullptr;
  std::function<bool(const MkvTrackEntry& track, Bytes& codecPrivate)> streamDescription;
};

struct ResolvedPrivate {
  Bytes data;
  // Other than kNone: the private data is out of reach, and the track gets no pin, whether its codec needs it or not.
  NoPinReason noPin = NoPinReason::kNone;
  // Frames come with 4-byte start codes where the configuration promises 4-byte lengths.
  bool convertStartCodes = false;
};

// Undoes the track's content encodings, then looks for the configuration of an AVC track that has no private data. The
// track stays as it is.
ResolvedPrivate ResolveCodecPrivate(const MkvTrackEntry& track, const AvcConfigSources& sources);

}  // namespace vantor
