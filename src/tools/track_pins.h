// TrackPins: the tracks of a file, and the pin that each became or why it has none. Pins are told by their order and
// held against kind and media type of those that the component really has.
//
//   TrackPins tracks = MatchTracks(root, opened.Upstream(), graph.Pins());
//   for (const TrackPin& track : tracks.tracks) Use(track.entry->TrackNumber.value, track.pin);
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/graph.h"
#include "mediatypes/no_pin_reason.h"
#include "parser/file_root.h"
#include "parser/track_entry.h"
#include "platform/com.h"

namespace vantor::tools {

// What is done to frames in the file.
enum class FrameState {
  kPlain,       // nothing, or a header was stripped that the filter puts back
  kCompressed,  // what the filter does not undo
  kEncrypted,
};

struct TrackPin {
  const MkvTrackEntry* entry = nullptr;
  int pin = 0;  // number of the pin; 0: there is none
  NoPinReason noPin = NoPinReason::kNone;
  bool isIdZeroEnded = false;  // it has no pin, but for the zero bytes that its codec identifier ends in
  HRESULT failure = S_OK;      // of a builder: the connection ends with it
  bool sendsHeaders = false;   // codec headers go out before the first frame
  bool convertsStartCodes = false;
  bool addsFrameHeaders = false;  // in front of frames that do not bring theirs
  bool hasOnlyKeyFrames = false;  // whatever its blocks say
  FrameState frames = FrameState::kPlain;
};

struct TrackPins {
  std::vector<TrackPin> tracks;  // in the file's order
  bool isAsExpected = true;      // false: the component's pins are others than the file's tracks give
};

// The file has been opened; `upstream` is asked for its name where a track needs a description file. A file that was
// refused has no pins.
TrackPins MatchTracks(CMkvFileRoot& file, IPin* upstream, const std::vector<GraphPin>& pins);

// "video", "audio", "subtitle" or "other".
const char* TrackKind(const MkvTrackEntry& track);

// The codec identifier as text, up to the zero bytes that it may end in.
std::string CodecText(const MkvTrackEntry& track);

}  // namespace vantor::tools
