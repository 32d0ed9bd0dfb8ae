// AAC as ADTS: a header of seven bytes before every frame. It can say less than an AudioSpecificConfig: four object
// types, thirteen rates, eight arrangements of channels, frames of 1024 samples. SBR and PS, which decoders find in the
// frames, are left unsaid.
//
//   if (std::optional<TrackForm> form = AdtsFormOf(type)) writer = form->make(output, nullptr);
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "tools/forms/track_writer.h"

namespace vantor::tools {

struct AdtsSettings {
  unsigned profile = 0;  // the object type less 1
  unsigned frequencyIndex = 0;
  unsigned channels = 0;  // their arrangement
};

// What an AudioSpecificConfig says; nothing when that is more than ADTS can say.
std::optional<AdtsSettings> ReadAdtsSettings(std::span<const std::uint8_t> config);

class AdtsWriter final : public TrackWriter {
 public:
  AdtsWriter(OutputBytes& out, const AdtsSettings& settings) : out_(out), settings_(settings) {}

  // Raises a frame that is larger than the header can say.
  void Write(const TrackSample& sample) override;
  void Finish() override {}

 private:
  OutputBytes& out_;
  const AdtsSettings settings_;
};

std::optional<TrackForm> AdtsFormOf(const AM_MEDIA_TYPE& type);

}  // namespace vantor::tools
