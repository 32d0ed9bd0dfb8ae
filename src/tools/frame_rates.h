// The frame rates of video tracks that do not tell theirs, measured from the times of their first blocks.
//
//   const FrameRates rates = MeasureFrameRates(root);
//   if (const auto rate = rates.find(1); rate != rates.end()) Use(rate->second);   // 24.999
#pragma once

#include <cstdint>
#include <map>

#include "parser/file_root.h"

namespace vantor::tools {

using FrameRates = std::map<std::uint64_t, double>;  // frames a second, by track number

// The file has been opened. Reads the headers of some hundred blocks at the file's beginning, and none if all video
// tracks have a duration for their frames.
FrameRates MeasureFrameRates(CMkvFileRoot& root);

}  // namespace vantor::tools
