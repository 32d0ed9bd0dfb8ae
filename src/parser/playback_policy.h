// What a filter does with files in the wild beyond what it was first built to do: switches, each for itself. They are
// handed over by whoever creates the filter and never change; nothing reads them from anywhere else.
//
//   CMkvFileRoot root(reader, true, {.trimCodecIds = true});
//   if (root.Policy().trimCodecIds) Use(root.length);  // a clone has the root's
//
// With all of them off the filter is the demultiplexer as it always was, read by read; the complete one has all on.
#pragma once

namespace vantor {

struct PlaybackPolicy {
  // The announced end is where the last of the blocks that are played ends, not merely where the last Cluster begins;
  // and a Cluster of unknown size is not the last.
  bool playToEnd = false;
  // Every block of a track that is not video counts as a key frame.
  bool audioKeyFrames = false;
  // Zero bytes at the end of a codec identifier are no part of it.
  bool trimCodecIds = false;
  // A seek index is believed only as far as it leads to what it names; Clusters are found by walking.
  bool distrustSeekIndex = false;
  // More codecs have a pin, and more subtitles a subtype.
  bool moreCodecs = false;
  // Small reads are answered from a buffer of the cursor's own.
  bool bufferReads = false;
};

inline constexpr PlaybackPolicy kCompletePolicy = {.playToEnd = true,
                                                   .audioKeyFrames = true,
                                                   .trimCodecIds = true,
                                                   .distrustSeekIndex = true,
                                                   .moreCodecs = true,
                                                   .bufferReads = true};

}  // namespace vantor
