#include "parser/file_root.h"

#include <cstring>

#include "parser/block.h"
#include "parser/element_ids.h"
#include "parser/element_table.h"
#include "parser/segment_discovery.h"

namespace vantor {

namespace {

constexpr std::uint64_t kNewestReadVersion = 2;
// What reading the records may take: several times what an undamaged file needs.
constexpr std::uint64_t kTimesForOpening = 8;
constexpr std::uint64_t kSlackForOpening = 65536;

void ReadEbmlHeader(const MkvElement& element, MkvEbmlHeader& header) {
  ReadRecord(element, {
                          {0x4286, header.EBMLVersion},
                          {0x42F7, header.EBMLReadVersion},
                          {0x42F2, header.EBMLMaxIDLength},
                          {0x42F3, header.EBMLMaxSizeLength},
                          {ids::kDocType, header.DocType},
                          {0x4287, header.DocTypeVersion},
                          {0x4285, header.DocTypeReadVersion},
                      });
}

bool IsReadable(const MkvEbmlHeader& header) {
  return (header.DocType == "matroska" || header.DocType == "webm") &&
         header.DocTypeReadVersion.value <= kNewestReadVersion;
}

}  // namespace

CMkvFileRoot::CMkvFileRoot(IAsyncReader* source, bool mayFollowIndex, const PlaybackPolicy& policy)
    : CMkvFile(source), canSeek(mayFollowIndex) {
  SetPolicy(policy);
  flushes = std::make_shared<SourceFlushes>();
  payloadRoom = KeepingRoom(AllowanceOf(1, kSlackForKeeping));
  recordRoom = KeepingRoom(AllowanceOf(kTimesForRecords, kSlackForKeeping));
  frameMemory = std::make_shared<FrameMemory>(length);
}

HRESULT CMkvFileRoot::Open() {
  std::uint8_t magic[4] = {};
  if (Read(magic, sizeof magic) != S_OK) return E_FAIL;
  if (std::memcmp(magic, "\x1A\x45\xDF\xA3", sizeof magic) != 0) return E_FAIL;

  // Elements may claim each other's bytes, so that reading each within its own bounds is no bound for all of them. Only
  // the records are read under this limit: what comes behind is one walk, which passes each position once and is
  // bounded by that, and a file whose records used up the allowance keeps its start time.
  const std::uint64_t unlimited = allowance;
  allowance = AllowanceOf(kTimesForOpening, kSlackForOpening);
  const HRESULT result = ReadRecords();
  allowance = unlimited;
  if (result != S_OK) return result;
  RenewReadAhead();

  // The file's time begins with its first Cluster, which discovery mostly ends in front of. Like every search in a
  // Segment this one asks the seek index first: where that names a Cluster, be it a later one, time begins with that.
  const MkvElement file = MkvElement::WholeFile(*this);
  const MkvElement firstSegment = file.FirstChild(ids::kSegment);
  const MkvElement cluster = firstSegment.FirstChild(ids::kCluster);
  std::int64_t ticks = 0;
  if (ReadClusterTimecode(cluster, ticks)) startTime = segment.TicksToTime(ticks);
  return S_OK;
}

HRESULT CMkvFileRoot::ReadRecords() {
  int segments = 0;
  const MkvElement file = MkvElement::WholeFile(*this);
  for (MkvElement element = file.FirstChild(); element; element.MoveNext()) {
    if (element.id.value == ids::kEbmlHeader) {
      // Of files that were put together there may be several: each has to be one that can be read.
      ReadEbmlHeader(element, ebmlHeader);
      if (!IsReadable(ebmlHeader)) return E_FAIL;
    } else if (element.id.value == ids::kSegment) {
      // Segments without a UID are parts of one; the first that has one is the last that counts.
      if (!segment.info.SegmentUID.empty() || segments == kMaxSegments) {
        element.NotePassedOver(Tolerated::kSegmentPassedOver);
        continue;
      }
      ++segments;
      DiscoverSegment(element, segment);
    }
  }
  return S_OK;
}

}  // namespace vantor
