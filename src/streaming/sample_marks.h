// Filling a media sample: its bytes, its times and its flags.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/com.h"

namespace vantor {

struct SampleMarks {
  std::int64_t start = 0;  // 100 ns of stream time
  std::int64_t stop = 0;
  bool isSyncPoint = false;
  bool isDiscontinuity = false;
  bool isPreroll = false;
};

// Copies the bytes, behind those of a header, into the sample, whose buffer is large enough, and sets every property of
// it: samples come back from downstream with those of their last use. The sample's own failure to show its buffer.
HRESULT FillSample(IMediaSample& sample, const std::uint8_t* bytes, std::size_t size, const SampleMarks& marks,
                   std::span<const std::uint8_t> header = {});

// Rewrites the start codes in the sample's data as lengths. Of the length that the sample tells, only what lies in its
// buffer counts.
void ConvertSample(IMediaSample& sample);

}  // namespace vantor
