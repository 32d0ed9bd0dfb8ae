// VP8, VP9 and AV1 in IVF: a header of 32 bytes, and before each frame its size and its time in milliseconds.
//
//   if (std::optional<TrackForm> form = IvfFormOf(type)) writer = form->make(output, nullptr);
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "tools/forms/track_writer.h"

namespace vantor::tools {

struct IvfSettings {
  std::uint32_t fourCc = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool isAv1 = false;
  std::vector<std::uint8_t> sequenceHeader;  // AV1: for a first frame that has none
};

class IvfWriter final : public TrackWriter {
 public:
  IvfWriter(OutputBytes& out, const IvfSettings& settings);

  void Write(const TrackSample& sample) override;
  void Finish() override;

 private:
  void WriteFrame(std::span<const std::uint8_t> frame, std::uint64_t time);

  OutputBytes& out_;
  const IvfSettings settings_;
  std::vector<std::uint8_t> temporalUnit_;
  std::uint64_t frames_ = 0;
  std::uint64_t nextTime_ = 0;
};

std::optional<TrackForm> IvfFormOf(const AM_MEDIA_TYPE& type);

}  // namespace vantor::tools
