// Streams that are files as they are: samples one after the other. Of video, the sequence header of the format block
// comes first, where the first sample has none of its own.
//
//   if (std::optional<TrackForm> form = PlainFormOf(type)) writer = form->make(output, nullptr);
#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "tools/forms/track_writer.h"

namespace vantor::tools {

// Start codes by their last byte: of the header that may be there, and of what comes behind headers only.
struct HeaderCodes {
  std::uint8_t first = 0;
  std::uint8_t last = 0;
  std::uint8_t picture = 0;
};

class PlainWriter final : public TrackWriter {
 public:
  explicit PlainWriter(OutputBytes& out) : out_(out), hasBegun_(true) {}
  PlainWriter(OutputBytes& out, std::vector<std::uint8_t> header, const HeaderCodes& codes)
      : out_(out), header_(std::move(header)), codes_(codes) {}

  void Write(const TrackSample& sample) override;
  void Finish() override {}

 private:
  OutputBytes& out_;
  const std::vector<std::uint8_t> header_;
  const HeaderCodes codes_;
  bool hasBegun_ = false;
};

// AC-3, E-AC-3, DTS, MPEG audio, MPEG video of all generations before AVC.
std::optional<TrackForm> PlainFormOf(const AM_MEDIA_TYPE& type);

}  // namespace vantor::tools
