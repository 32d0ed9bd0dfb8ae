#include "mediatypes/codec_private.h"

#include <algorithm>

#include "mediatypes/avc_probe.h"
#include "mediatypes/codec_id.h"
#include "parser/content_encoding.h"

namespace vantor {

namespace {

NoPinReason ReasonOfEncoding(const MkvTrackEntry& track) {
  const auto isEncryption = [](const MkvContentEncoding& encoding) {
    return (encoding.ContentEncodingScope.value & MkvContentEncoding::kScopePrivate) != 0 &&
           encoding.ContentEncodingType.value == MkvContentEncoding::kTypeEncryption;
  };
  return std::ranges::any_of(track.contentEncodings, isEncryption) ? NoPinReason::kPrivateEncrypted
                                                                   : NoPinReason::kPrivateEncoded;
}

bool IsAvc(const MkvTrackEntry& track) {
  return track.TrackType.value == MkvTrackEntry::kTypeVideo && CodecIdText(track.CodecID) == kCodecAvc;
}

}  // namespace

ResolvedPrivate ResolveCodecPrivate(const MkvTrackEntry& track, const AvcConfigSources& sources) {
  ResolvedPrivate resolved;
  resolved.data = track.CodecPrivate;
  if (!ApplyContentEncodings(track, resolved.data, MkvContentEncoding::kScopePrivate)) {
    resolved.noPin = ReasonOfEncoding(track);
    return resolved;
  }
  if (!IsAvc(track) || !resolved.data.empty()) return resolved;
  // The description file comes last: who wrote one did so for a file whose frames tell nothing.
  const bool isProbed = sources.file != nullptr && ProbeAvcConfig(*sources.file, track, resolved.data);
  if (!isProbed && sources.streamDescription) {
    resolved.convertStartCodes = sources.streamDescription(track, resolved.data);
  }
  return resolved;
}

}  // namespace vantor
