// What a track's header says of its pictures or its sound, in words.
//
//   TrackDetails(*track.entry, std::nullopt);   // "720x576, shown 1024x576, 25 fps", "48000 Hz, 2 channels"
#pragma once

#include <optional>
#include <string>

#include "parser/track_entry.h"

namespace vantor::tools {

// Frames a second as the header has it, 0 where it has not.
double FrameRateOf(const MkvTrackEntry& track);

// The measured frame rate, if there is one, stands where the header tells none, and says so.
std::string TrackDetails(const MkvTrackEntry& track, std::optional<double> measured);

// "23.976 fps", without needless zeroes, to so many digits.
std::string FrameRateText(double framesASecond, int digits);

}  // namespace vantor::tools
