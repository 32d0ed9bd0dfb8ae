// The sequence header of MPEG-1 and MPEG-2 video, with the sequence extension that makes it MPEG-2.
#pragma once

#include <cstddef>
#include <cstdint>

#include "parser/ebml_value.h"

namespace vantor {

struct MpegSequenceHeader {
  bool isMpeg2 = false;
  std::uint32_t width = 0;  // pixels
  std::uint32_t height = 0;
  std::uint32_t aspectX = 0;  // of the picture (MPEG-2) or its pixels carried by it (MPEG-1), in lowest terms
  std::uint32_t aspectY = 0;
  std::uint32_t frameTime = 0;  // 100 ns
  std::uint32_t bitRate = 0;    // bits a second
  std::uint32_t profile = 0;    // MPEG-2 only
  std::uint32_t level = 0;
  std::size_t size = 0;  // bytes from the start code to the end of the header
};

// Reads the header at the data's start. False when there is none or it is cut short. Raises ResultError with
// E_INVALIDARG when a quantiser matrix reaches past the data's end.
bool ReadMpegSequenceHeader(const Bytes& data, MpegSequenceHeader& header);

}  // namespace vantor
