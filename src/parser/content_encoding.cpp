#include "parser/content_encoding.h"

#include <cstdint>

#include "parser/element_table.h"
#include "parser/track_entry.h"

namespace vantor {

namespace {

void ReadCompression(const MkvElement& element, MkvContentEncoding& encoding) {
  ReadRecord(element, {
                          {0x4254, encoding.ContentCompAlgo},
                          {0x4255, encoding.ContentCompSettings},
                      });
}

void ReadEncryption(const MkvElement& element, MkvContentEncoding& encoding) {
  ReadRecord(element, {
                          {0x47E1, encoding.ContentEncAlgo},
                          {0x47E2, encoding.ContentEncKeyID},
                          {0x47E3, encoding.ContentSignature},
                          {0x47E4, encoding.ContentSigKeyID},
                          {0x47E5, encoding.ContentSigAlgo},
                          {0x47E6, encoding.ContentSigHashAlgo},
                      });
}

void ReadEncoding(const MkvElement& element, MkvContentEncoding& encoding) {
  ReadRecord(element, {
                          {0x5031, encoding.ContentEncodingOrder},
                          {0x5032, encoding.ContentEncodingScope},
                          {0x5033, encoding.ContentEncodingType},
                          {0x5034, [&](const MkvElement& child) { ReadCompression(child, encoding); }},
                          {0x5035, [&](const MkvElement& child) { ReadEncryption(child, encoding); }},
                      });
}

bool CanBeRestored(const MkvContentEncoding& encoding) {
  return encoding.ContentEncodingType.value == MkvContentEncoding::kTypeCompression &&
         encoding.ContentCompAlgo.value == MkvContentEncoding::kAlgoHeaderStripping &&
         encoding.ContentCompSettings.size() <= kLongestStrippedHeader;
}

// Orders compare by the difference of their low 32 bits, as the 32-bit comparison does that files were always read
// with: orders that are 2^31 or more apart, which no writer makes, would come out differently by any other.
bool IsAtOrAbove(const MkvContentEncoding& encoding, const MkvContentEncoding& other) {
  const auto difference = static_cast<std::uint32_t>(encoding.ContentEncodingOrder.value) -
                          static_cast<std::uint32_t>(other.ContentEncodingOrder.value);
  return static_cast<std::int32_t>(difference) >= 0;
}

// The encoding that counts; null when none matches.
const MkvContentEncoding* FindHighest(const MkvTrackEntry& track, std::uint64_t scopeMask) {
  const MkvContentEncoding* highest = nullptr;
  for (const MkvContentEncoding& encoding : track.contentEncodings) {
    const std::uint64_t type = encoding.ContentEncodingType.value;
    if ((encoding.ContentEncodingScope.value & scopeMask) == 0) continue;
    if (type != MkvContentEncoding::kTypeCompression && type != MkvContentEncoding::kTypeEncryption) continue;
    // Of equal orders the later one in the file is the higher.
    if (highest == nullptr || IsAtOrAbove(encoding, *highest)) highest = &encoding;
  }
  return highest;
}

template <typename Buffer>
bool Apply(const MkvTrackEntry& track, Buffer& buffer, std::uint64_t scopeMask) {
  if (FindHighest(track, scopeMask) == nullptr) return true;
  const auto header = StrippedHeader(track, scopeMask);
  buffer.insert(buffer.begin(), header.begin(), header.end());
  // Also after the stripped bytes were put back: the answer is whether there was nothing to do. A frame is taken either
  // way; private data of which this is false has never given a track a pin.
  return false;
}

}  // namespace

void ReadContentEncodings(const MkvElement& element, std::vector<MkvContentEncoding>& encodings) {
  ReadRecord(element, {
                          {0x6240,
                           [&](const MkvElement& child) {
                             if (encodings.size() >= kMaxContentEncodings ||
                                 !child.file->recordRoom.Take(sizeof(MkvContentEncoding))) {
                               return child.NotePassedOver(Tolerated::kEncodingOverLimit);
                             }
                             ReadEncoding(child, encodings.emplace_back());
                           }},
                      });
}

std::span<const std::uint8_t> StrippedHeader(const MkvTrackEntry& track, std::uint64_t scopeMask) {
  const MkvContentEncoding* highest = FindHighest(track, scopeMask);
  if (highest == nullptr || !CanBeRestored(*highest)) return {};
  return highest->ContentCompSettings;
}

bool ApplyContentEncodings(const MkvTrackEntry& track, Bytes& buffer, std::uint64_t scopeMask) {
  return Apply(track, buffer, scopeMask);
}

bool ApplyContentEncodings(const MkvTrackEntry& track, FrameBytes& buffer, std::uint64_t scopeMask) {
  return Apply(track, buffer, scopeMask);
}

}  // namespace vantor
