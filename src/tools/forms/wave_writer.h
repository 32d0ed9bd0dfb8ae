// Uncompressed sound, and the simple codecs that have a wave format tag, as WAV; as RF64 where the sizes do not fit
// into 32 bits. The room for its sizes is kept from the beginning.
//
//   if (std::optional<TrackForm> form = WaveFormOf(type)) writer = form->make(output, nullptr);
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tools/forms/track_writer.h"

namespace vantor::tools {

struct WaveSettings {
  std::vector<std::uint8_t> format;  // the fmt chunk's content
  unsigned swappedBytes = 0;         // of a number whose bytes are the other way round; 0: as they are
  std::uint32_t blockAlign = 1;
  std::uint32_t samplesPerBlock = 1;
  bool hasFact = false;  // whether the count of samples is told
};

class WaveWriter final : public TrackWriter {
 public:
  WaveWriter(OutputBytes& out, const WaveSettings& settings);

  void Write(const TrackSample& sample) override;
  void Finish() override;

 private:
  OutputBytes& out_;
  const WaveSettings settings_;
  std::vector<std::uint8_t> swapped_;
  std::uint64_t factAt_ = 0;
  std::uint64_t dataAt_ = 0;
};

std::optional<TrackForm> WaveFormOf(const AM_MEDIA_TYPE& type);

}  // namespace vantor::tools
