// The stream description file: a profile (INI) file beside the media file, named like it with the extension ".conf",
// that carries AVC configurations which the media file lacks. Read only.
//
//     [Stream.Main]                      "Stream." and the track's Name
//     CodecData=AAAAL2F2Y0MBZAAo/+E...   what BuildAvcConfig takes, in base64
//
//   StreamDescription description(upstream);
//   Bytes codecPrivate;
//   if (description.Read(track, codecPrivate)) Use(codecPrivate);
#pragma once

#include <optional>

#include "mediatypes/avc_config.h"
#include "parser/track_entry.h"
#include "platform/com.h"
#include "platform/profile_file.h"

namespace vantor {

class StreamDescription {
 public:
  // The upstream pin outlives the object. Nothing is asked of it before the first Read.
  explicit StreamDescription(IPin* upstream) : upstream_(upstream) {}

  // Finds the file by the path that the upstream pin's filter names as its source, once for all tracks, and replaces
  // `codecPrivate` by the configuration record for the track. False, with `codecPrivate` unchanged, when any of it is
  // missing.
  bool Read(const MkvTrackEntry& track, Bytes& codecPrivate);

 private:
  IPin* upstream_;
  std::optional<platform::ProfileFile> file_;
};

// The path of the description file for a media file's: the text from the last point on replaced by ".conf". Empty when
// there is no point.
WideString StreamDescriptionPath(const WideString& mediaPath);

}  // namespace vantor
