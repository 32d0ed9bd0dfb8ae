// Media types as pins have them, and what writers make of samples of them, in memory.
//
//   const CMediaType type = SoundType(SubtypeOf(format_tags::kOpus), 2, 48'000, 16, head);
//   const MemoryOutput file = WriteTrack(*PackagedAudioFormOf(type), {packet});
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "baseclasses/media_type.h"
#include "mediatypes/format_block.h"
#include "published/format_blocks.h"
#include "published/media_guids.h"
#include "tools/forms/form_bytes.h"
#include "tools/forms/track_writer.h"
#include "tools/little_endian.h"
#include "tools/track_form_types.h"

namespace vantor::tools {

struct TimedPayload {
  ByteList bytes;
  std::int64_t start = 0;
  std::int64_t stop = 0;
};

inline ByteList Letters(std::string_view text) { return {text.begin(), text.end()}; }

inline MemoryOutput WriteTrack(const TrackForm& form, const std::vector<TimedPayload>& samples,
                               MemoryOutput* companion = nullptr) {
  MemoryOutput out;
  const std::unique_ptr<TrackWriter> writer = form.make(out, companion);
  for (const TimedPayload& sample : samples) {
    writer->Write({.payload = sample.bytes, .start = sample.start, .stop = sample.stop});
  }
  writer->Finish();
  return out;
}

inline CMediaType SoundType(const GUID& subtype, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits,
                            const ByteList& privateData) {
  CMediaType type(&MEDIATYPE_Audio);
  type.SetSubtype(&subtype);
  EXPECT_EQ(MakeFormatBlock(type, FORMAT_WaveFormatEx, sizeof(WAVEFORMATEX) + privateData.size()), S_OK);
  WAVEFORMATEX header{};
  header.nChannels = channels;
  header.nSamplesPerSec = rate;
  header.wBitsPerSample = bits;
  StoreHeader(type, header);
  StoreBytes(type, sizeof header, privateData);
  return type;
}

inline CMediaType SubtitleType(const GUID& subtype, std::string_view privateData, const char* language = "eng") {
  CMediaType type(&kTypeSubtitle);
  type.SetSubtype(&subtype);
  EXPECT_EQ(MakeFormatBlock(type, kFormatSubtitle, sizeof(SubtitleInfo) + privateData.size()), S_OK);
  SubtitleInfo info{};
  info.dwOffset = sizeof info;
  std::copy_n(language, std::min<std::size_t>(std::strlen(language), 3), info.IsoLang);
  StoreHeader(type, info);
  StoreBytes(type, sizeof info, privateData.data(), privateData.size());
  return type;
}

}  // namespace vantor::tools
