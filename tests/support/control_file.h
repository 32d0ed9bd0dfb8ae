// The small file of the control matrix: two tracks, twelve blocks in two clusters, laced and large frames among them.
//
//   const ControlFile& file = ControlFile::Get();
//   EXPECT_EQ(misbehaving->Played(), file.frames[0]);
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "support/mkv_builder.h"

namespace vantor::test {

struct ControlFile {
  static const ControlFile& Get();

  Raw bytes;
  std::array<std::vector<Raw>, 2> frames;      // by track, in their order
  std::array<std::uint64_t, 2> secondBlock{};  // by track: where in the file its payload begins; not laced
  std::array<std::size_t, 2> framesBefore{};   // by track: the frames before that block
  // In the second Cluster, 100 ns. No sample ends there: a seek to where the workers have come by themselves would
  // move nothing, and flush nobody.
  std::int64_t seekTarget = 0;
  std::uint64_t soughtBlock = 0;  // where the payload of the key frame begins that such a seek leads to
};

}  // namespace vantor::test
