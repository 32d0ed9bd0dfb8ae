// Samples come in the file's order, so that each is mostly the next packet. Where it is not, packets may be missing
// before it, or it may be none of them: the packets ahead are looked through for it, and if it is there, those before
// it are lost; if not, it is something else. Frames may be alike, so that one ahead must be of the sample's time, too,
// unless the track's times have turned out to be others than its blocks tell. How far is limited, and so is the work on
// all of it, since a file can be made whose frames are all nearly alike.
#include "tools/check/packet_check.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "parser/content_encoding.h"

namespace vantor::tools {
namespace {

constexpr std::size_t kFurthestAhead = 16384;
constexpr std::size_t kComparedPiece = 65536;
constexpr std::uint64_t kSlackForLooking = std::uint64_t{1} << 26;

std::vector<std::uint8_t> PrefixOf(const MkvTrackEntry& track) {
  const auto header = StrippedHeader(track, MkvContentEncoding::kScopeFrames);
  return {header.begin(), header.end()};
}

}  // namespace

PacketCheck::PacketCheck(CMkvFileRoot& root, std::shared_ptr<ByteStore> bytes, const TrackPin& track)
    : reader_(root, track.entry->TrackNumber.value),
      bytes_(std::move(bytes)),
      prefix_(PrefixOf(*track.entry)),
      convertsStartCodes_(track.convertsStartCodes),
      addsFrameHeaders_(track.addsFrameHeaders),
      work_(root.AllowanceOf(4, kSlackForLooking)),
      piece_(kComparedPiece) {}

HRESULT PacketCheck::OnSample(IMediaSample* sample) noexcept {
  try {
    BYTE* data = nullptr;
    if (FAILED(sample->GetPointer(&data)) || data == nullptr) return S_OK;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    (void)sample->GetTime(&start, &stop);  // one without times is of another time than told
    Take(data, static_cast<std::size_t>(std::max<LONG>(sample->GetActualDataLength(), 0)), start);
    return S_OK;
  } catch (const std::bad_alloc&) {
    hasFailed_ = true;
    return E_OUTOFMEMORY;
  }
}

void PacketCheck::Take(const std::uint8_t* data, std::size_t size, std::int64_t start) {
  // What is found nowhere is no packet: codec headers, or a frame that the file's end cuts off.
  while (!Find(data, size, start) && DropEarlier(start)) {
  }
}

bool PacketCheck::Find(const std::uint8_t* data, std::size_t size, std::int64_t start) {
  for (std::size_t i = 0; i < kFurthestAhead && IsAhead(i); ++i) {
    if (i > 0) {
      if (work_ == 0) break;
      --work_;
      if (!MayBe(ahead_[i], start)) continue;
    }
    if (!IsSame(ahead_[i], data, size)) continue;
    if (ahead_[i].isFirstOfLace) ++(ahead_[i].start == start ? rightTimes_ : otherTimes_);
    while (i-- > 0) DropFirst(true);
    DropFirst(false);
    return true;
  }
  return false;
}

// Behind a gap that is longer than the window the sample is not in it. Where times are told, packets that are earlier
// will not come any more.
bool PacketCheck::DropEarlier(std::int64_t start) {
  if (otherTimes_ > rightTimes_ || !IsAhead(kFurthestAhead - 1)) return false;
  bool isAny = false;
  while (IsAhead(0) && ahead_.front().start < start) {
    DropFirst(true);
    isAny = true;
  }
  return isAny;
}

bool PacketCheck::MayBe(const Packet& packet, std::int64_t start) const {
  if (otherTimes_ > rightTimes_) return true;
  return packet.isFirstOfLace ? packet.start == start : packet.start <= start;
}

bool PacketCheck::IsAhead(std::size_t index) {
  Packet packet;
  while (index >= ahead_.size() && !hasAll_) {
    if (reader_.Next(packet)) {
      ahead_.push_back(packet);
    } else {
      hasAll_ = true;
    }
  }
  return index < ahead_.size();
}

// Byte by byte; what a conversion makes of start codes counts as the same.
bool PacketCheck::IsSame(const Packet& packet, const std::uint8_t* data, std::size_t size) {
  // What the filter put in front of the frame, its size and a mark: the frame does not bring them.
  constexpr std::size_t kFrameHeader = 8;
  if (addsFrameHeaders_ && packet.size + prefix_.size() + kFrameHeader == size &&
      std::memcmp(data + 4, "icpf", 4) == 0) {
    data += kFrameHeader;
    size -= kFrameHeader;
  }
  if (packet.size + prefix_.size() != size || !std::equal(prefix_.begin(), prefix_.end(), data)) return false;
  data += prefix_.size();
  std::uint64_t position = packet.position;
  std::uint64_t left = packet.size;
  while (left > 0) {
    const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(left, kComparedPiece));
    if (!bytes_->Read(static_cast<std::int64_t>(position), piece_.data(), part)) return false;
    work_ -= std::min<std::uint64_t>(work_, part);
    const std::size_t compared = convertsStartCodes_ ? TakeStartCodes(data, part, part == left) : part;
    if (std::memcmp(piece_.data(), data, compared) != 0) return false;
    data += compared;
    position += compared;
    left -= compared;
  }
  return true;
}

// Puts what the sample has in place of the piece's start codes. How much of the piece may be compared: one that begins
// in its last bytes is left to the next piece.
std::size_t PacketCheck::TakeStartCodes(const std::uint8_t* data, std::size_t part, bool isLast) {
  static constexpr std::uint8_t kStartCode[] = {0, 0, 0, 1};
  constexpr std::size_t kSize = sizeof kStartCode;
  std::size_t i = 0;
  while (i + kSize <= part) {
    if (std::memcmp(piece_.data() + i, kStartCode, kSize) == 0) {
      std::memcpy(piece_.data() + i, data + i, kSize);
      i += kSize;
    } else {
      ++i;
    }
  }
  return isLast ? part : i;
}

void PacketCheck::DropFirst(bool isLost) {
  if (isLost && totals_.lost++ == 0) totals_.firstLost = ahead_.front().block;
  ++totals_.packets;
  ahead_.pop_front();
}

PacketTotals PacketCheck::Finish() {
  while (IsAhead(0)) DropFirst(true);
  totals_.isComplete = !reader_.HasGivenUp();
  return totals_;
}

}  // namespace vantor::tools
