// AVC and HEVC as byte streams (Annex B of both standards): units behind start codes, the parameter sets of the format
// block in front.
//
//   if (std::optional<TrackForm> form = AnnexBFormOf(type)) writer = form->make(output, nullptr);
#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "tools/forms/track_writer.h"

namespace vantor::tools {

// How the units of samples are told apart, and what comes before the first of them.
struct UnitFraming {
  unsigned lengthSize = 0;                  // bytes of the length before each unit; 0: they have start codes already
  std::vector<std::uint8_t> parameterSets;  // behind start codes
};

class AnnexBWriter final : public TrackWriter {
 public:
  AnnexBWriter(OutputBytes& out, UnitFraming framing) : out_(out), framing_(std::move(framing)) {}

  void Write(const TrackSample& sample) override;
  void Finish() override {}

 private:
  OutputBytes& out_;
  const UnitFraming framing_;
  bool hasBegun_ = false;
};

std::optional<TrackForm> AnnexBFormOf(const AM_MEDIA_TYPE& type);

}  // namespace vantor::tools
