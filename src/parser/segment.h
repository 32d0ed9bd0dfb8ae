// The records of an opened file: what segment discovery reads and everybody else consults.
//
// A file may hold several SeekHead, Tracks, Cues or Attachments elements: each list has one inner list per element,
// in file order, so consumers loop over both levels.
//
//   for (const MkvTrackList& list : file.GetSegment()->tracks) {
//     for (const auto& track : list) Use(track->TrackNumber.value);
//   }
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "parser/attachments.h"
#include "parser/chapters.h"
#include "parser/cues.h"
#include "parser/ebml_value.h"
#include "parser/track_entry.h"

namespace vantor {

struct MkvEbmlHeader {
  CMkvUInt EBMLVersion;
  CMkvUInt EBMLReadVersion;
  CMkvUInt EBMLMaxIDLength;
  CMkvUInt EBMLMaxSizeLength;
  std::string DocType;
  CMkvUInt DocTypeVersion;
  CMkvUInt DocTypeReadVersion;
};

struct MkvSeekEntry {
  CMkvID SeekID;
  CMkvUInt SeekPosition;  // bytes from MkvSegment::dataStart
};

// Seek entries kept for a file, all lists together: the first ones.
inline constexpr std::size_t kMaxSeekEntries = 65536;

struct MkvSegmentInfo {
  Bytes SegmentUID;
  WideString SegmentFilename;
  Bytes PrevUID;
  WideString PrevFilename;
  Bytes NextUID;
  WideString NextFilename;
  CMkvUInt TimecodeScale{1000000};  // nanoseconds a tick
  CMkvFloat Duration;               // ticks
  CMkvInt DateUTC;
  WideString Title;
  WideString MuxingApp;
  WideString WritingApp;

  // The duration as 100 ns; of one that does not fit, the smallest number.
  std::int64_t StatedDuration() const;
};

struct MkvSegment {
  std::uint64_t dataStart = 0;  // position of the Segment's first payload byte
  std::uint64_t size = 0;       // of the payload, bytes
  MkvSegmentInfo info;
  std::vector<std::vector<MkvSeekEntry>> seekHeads;
  std::vector<MkvTrackList> tracks;
  std::vector<MkvCueList> cues;
  std::vector<MkvAttachmentList> attachments;
  MkvChapterList chapters;
  // Where the first entry for a Cluster leads in the first Segment's seek index, which need not be to one; 0 where
  // there is none, it leads into another Segment, or the index is believed anyway.
  std::uint64_t indexedCluster = 0;
  bool isIndexMade = false;     // the cues are not the file's
  bool isDurationMade = false;  // nor is the duration

  // TimecodeScale ticks as 100 ns: signed 64-bit, wrapping, the division truncated toward zero.
  std::int64_t TicksToTime(std::int64_t ticks) const;

  // The absolute position that the seek entry names; at most 2^64 - 1, where nothing can lie.
  std::uint64_t SeekTarget(const MkvSeekEntry& entry) const;
};

// The track whose cue positions seeking follows: the number of the first video track, else of the first audio track,
// else nothing.
std::optional<std::uint64_t> FindReferenceTrackNumber(const MkvSegment& segment);
// Whether that is the number of a video track.
bool HasVideo(const MkvSegment& segment);
// The same, 1 when the file has neither.
std::uint64_t ReferenceTrackNumber(const MkvSegment& segment);

}  // namespace vantor
