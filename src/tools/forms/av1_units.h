// AV1's units (OBUs) as Matroska stores them, made what a file of whole temporal units needs: each unit with its size,
// and a delimiter in front.
//
//   std::vector<std::uint8_t> unit;
//   MakeTemporalUnit(payload, sequenceHeader, unit);
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vantor::tools {

// Whether there is a sequence header among the units.
bool HasSequenceHeader(std::span<const std::uint8_t> units);

// Delimiter, the bytes in front, and the units; what cannot be told apart is left as it is.
void MakeTemporalUnit(std::span<const std::uint8_t> units, std::span<const std::uint8_t> inFront,
                      std::vector<std::uint8_t>& made);

}  // namespace vantor::tools
