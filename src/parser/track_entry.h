// Track entries: one record for each TrackEntry of the file, filled at open and constant from then on.
//
//   for (const MkvTrackList& list : file.GetSegment()->tracks) {
//     for (const auto& track : list) Use(track->video.PixelWidth.value);
//   }
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "parser/ebml_value.h"

namespace vantor {

struct MkvVideoSettings {
  CMkvUInt FlagInterlaced;
  CMkvUInt StereoMode;
  CMkvUInt PixelWidth;
  CMkvUInt PixelHeight;
  CMkvUInt DisplayWidth;
  CMkvUInt DisplayHeight;
  CMkvUInt DisplayUnit;
  CMkvUInt AspectRatioType;
  CMkvUInt ColourSpace;
  CMkvFloat GammaValue;
  CMkvFloat FrameRate;
};

struct MkvAudioSettings {
  CMkvFloat SamplingFrequency{8000.0};
  CMkvFloat OutputSamplingFrequency;
  CMkvUInt Channels{1};
  Bytes ChannelPositions;
  CMkvUInt BitDepth;
};

struct MkvContentEncoding {
  static constexpr std::uint64_t kScopeFrames = 1;
  static constexpr std::uint64_t kScopePrivate = 2;
  static constexpr std::uint64_t kTypeCompression = 0;
  static constexpr std::uint64_t kTypeEncryption = 1;
  static constexpr std::uint64_t kAlgoHeaderStripping = 3;

  CMkvUInt ContentEncodingOrder{0};
  CMkvUInt ContentEncodingScope{1};
  CMkvUInt ContentEncodingType{0};
  CMkvUInt ContentCompAlgo{0};
  Bytes ContentCompSettings;
  CMkvUInt ContentEncAlgo{0};
  Bytes ContentEncKeyID;
  Bytes ContentSignature;
  Bytes ContentSigKeyID;
  CMkvUInt ContentSigAlgo{0};
  CMkvUInt ContentSigHashAlgo{0};
};

struct MkvTrackEntry {
  static constexpr std::uint64_t kTypeVideo = 1;
  static constexpr std::uint64_t kTypeAudio = 2;
  static constexpr std::uint64_t kTypeSubtitle = 17;
  // Bits of `sections`.
  static constexpr std::uint32_t kHasVideo = 1;
  static constexpr std::uint32_t kHasAudio = 2;

  CMkvUInt TrackNumber;
  CMkvUInt TrackUID;
  CMkvUInt TrackType;
  CMkvUInt FlagEnabled{1};
  CMkvUInt FlagDefault{1};
  CMkvUInt FlagLacing{1};
  CMkvUInt MinCache;
  CMkvUInt MaxCache;
  WideString Name;
  std::string Language;
  Bytes CodecID;  // the raw payload
  Bytes CodecPrivate;
  WideString CodecName;
  WideString CodecSettings;
  std::string CodecInfoURL;
  std::string CodecDownloadURL;
  CMkvUInt CodecDecodeAll;
  CMkvUInt TrackOverlay;
  CMkvUInt DefaultDuration;  // nanoseconds
  CMkvFloat TrackTimecodeScale;
  std::uint32_t sections = 0;
  MkvVideoSettings video;
  MkvAudioSettings audio;
  std::vector<MkvContentEncoding> contentEncodings;
};

using MkvTrackList = std::vector<std::unique_ptr<const MkvTrackEntry>>;

// Track entries kept for a file, all lists together: the first ones. Each may become a pin with a thread that walks all
// the clusters, and no real file comes near.
inline constexpr std::size_t kMaxTracks = 128;

// Reads every TrackEntry of the Tracks element, in file order, until the list has `limit`. E_POINTER for an empty
// element.
[[nodiscard]] HRESULT ReadTracks(const MkvElement& tracks, MkvTrackList& list, std::size_t limit = kMaxTracks);

}  // namespace vantor
