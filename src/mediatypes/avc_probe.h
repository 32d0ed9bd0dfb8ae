// The configuration of an AVC track from the first frame of the track.
#pragma once

#include "parser/byte_source.h"
#include "parser/track_entry.h"

namespace vantor {

// Reads the file's clusters, through a clone, up to the track's first block, and replaces `codecPrivate` by the record
// that the block's first frame yields. False, with `codecPrivate` unchanged, when there is no such block or the frame
// yields none. What is read counts against the file's allowance.
bool ProbeAvcConfig(CMkvFile& file, const MkvTrackEntry& track, Bytes& codecPrivate);

}  // namespace vantor
