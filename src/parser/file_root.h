// The opened file: the byte source the input pin owns, with the records that opening reads.
//
//   CMkvFileRoot root(reader, true);
//   if (SUCCEEDED(root.Open())) for (const auto& list : root.GetSegment()->tracks) ...
#pragma once

#include <cstdint>

#include "parser/byte_source.h"
#include "parser/element.h"
#include "parser/segment.h"

namespace vantor {

class CMkvFileRoot final : public CMkvFile {
 public:
  CMkvFileRoot(IAsyncReader* reader, bool canSeek, const PlaybackPolicy& policy = {});

  // Segments read: those behind are passed over.
  static constexpr int kMaxSegments = 16;
  // Bytes that may be kept of a file: payloads as many as it has, records so many times as many, and the slack for
  // each.
  static constexpr std::uint64_t kTimesForRecords = 4;
  static constexpr std::uint64_t kSlackForKeeping = std::uint64_t{1} << 20;

  // Checks the EBML header and reads the Segments' records (further Segments only while none has given a SegmentUID);
  // called once. S_OK, or E_FAIL when this is no Matroska or WebM file. A file without a Segment opens, with empty
  // records. Raises running out of memory.
  HRESULT Open();

  bool CanSeek() override { return canSeek; }
  const MkvSegment* GetSegment() override { return &segment; }
  std::int64_t GetStartTime() override { return startTime; }

  std::int64_t startTime = 0;  // 100 ns; 0 until Open has computed it
  bool canSeek;
  MkvSegment segment;
  MkvEbmlHeader ebmlHeader;

 private:
  HRESULT ReadRecords();
};

}  // namespace vantor
