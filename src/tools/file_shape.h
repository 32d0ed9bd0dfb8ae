// What a file is on the outside, for messages about files that the filter refuses or finds too short.
//
//   FileShape shape = ShapeOf(store);
//   if (shape.kind == ShapeKind::kNotEbml) ...
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/byte_store.h"
#include "parser/playback_policy.h"

namespace vantor::tools {

enum class ShapeKind {
  kEmpty,          // no bytes at all
  kNotEbml,        // does not begin with an EBML header
  kDamagedHeader,  // begins with one that cannot be read through
  kOtherDocType,   // EBML, but no Matroska or WebM
  kNoDocType,      // a header that does not say what the file is
  kNewerVersion,   // asks for a reader of a later version
  kNoSegment,      // a header, and no Segment after it
  kNoCluster,      // a Segment without frames
  kClusterEntry,   // frames, but the seek index says that they are elsewhere
  kTruncated,      // the Segment's declared end lies past the file's
  kWhole,
};

struct FileShape {
  ShapeKind kind = ShapeKind::kWhole;
  std::string docType;              // as far as it was read
  const char* otherKind = nullptr;  // for kNotEbml: what the first bytes say that it is; null where they say nothing
  std::uint64_t version = 0;        // for kNewerVersion: the one asked for
  std::int64_t missingBytes = 0;    // of a Segment that is cut off
  std::uint64_t position = 0;       // for kClusterEntry: where the entry leads; for kTruncated: where the file ends
};

// Reads the EBML header and the top-level element headers up to the Segment, nothing more.
FileShape ShapeOf(const std::shared_ptr<ByteStore>& bytes);
// The same for a file that was refused: one whose outer shape is sound is opened as a filter of that policy does it.
FileShape ShapeOfRefused(const std::shared_ptr<ByteStore>& bytes, const PlaybackPolicy& policy = {});

// What is wrong with a file that was refused; empty when its outer shape is sound.
std::string WhyRefused(const FileShape& shape);
// A warning about a file that plays all the same; empty when there is none.
std::string Warning(const FileShape& shape);

}  // namespace vantor::tools
