#include "parser/element.h"

#include <algorithm>
#include <array>

#include "parser/element_ids.h"
#include "parser/segment.h"
#include "platform/big_endian.h"

namespace vantor {

namespace {

// The identifiers that a scan after a damaged header stops at.
constexpr std::array<std::uint32_t, 8> kResynchronisationIds = {
    ids::kTracks, ids::kChapters, ids::kSeekHead, ids::kTags, ids::kInfo, ids::kAttachments, ids::kCues, ids::kCluster,
};

bool IsSegment(const MkvElement* element) { return element != nullptr && element->id.value == ids::kSegment; }

// Where the seek index says that the element lies: its first entry for the identifier.
bool LookUp(const MkvSegment* segment, std::uint32_t wanted, std::uint64_t& position) {
  if (segment == nullptr) return false;
  for (const auto& seekHead : segment->seekHeads) {
    for (const MkvSeekEntry& entry : seekHead) {
      if (entry.SeekID.value != wanted) continue;
      position = segment->SeekTarget(entry);
      return position != 0;
    }
  }
  return false;
}

}  // namespace

MkvElement MkvElement::WholeFile(CMkvFile& file) {
  MkvElement element;
  element.file = &file;
  element.size = CMkvLength();
  element.size.value = file.length;
  element.size.present = true;
  element.isWholeFile = true;
  return element;
}

MkvElement MkvElement::At(CMkvFile& file, const MkvElement* parent, std::uint64_t position) {
  MkvElement element;
  element.parent = parent;
  element.file = &file;
  element.ReadHeader(position);
  return element;
}

MkvElement MkvElement::FirstChild() const {
  if (!*this || size.value == 0) return MkvElement();
  MkvElement child = At(*file, this, dataStart);
  if (!child) child.Resynchronise();
  return child;
}

MkvElement MkvElement::FirstChild(std::uint32_t wanted, Search search) const {
  if (!*this || size.value == 0) return MkvElement();
  MkvElement child;
  child.parent = this;
  child.file = file;
  if (!child.FindByIndex(wanted)) {
    child = FirstChild();
    child.FindFromHere(wanted, search);
  }
  if (child.id.value != wanted) child.Clear();
  return child;
}

bool MkvElement::Find(std::uint32_t wanted, Search search) {
  if (!FindByIndex(wanted)) FindFromHere(wanted, search);
  return *this && id.value == wanted;
}

// Moves onto what the seek index names for the identifier, whatever is there; false when it names nothing.
bool MkvElement::FindByIndex(std::uint32_t wanted) {
  std::uint64_t target = 0;
  if (!IsSegment(parent) || !LookUp(file->GetSegment(), wanted, target)) return false;
  ReadHeader(target);
  return true;
}

void MkvElement::FindFromHere(std::uint32_t wanted, Search search) {
  if (search == Search::kIndexOnly) return;
  while (*this && id.value != wanted) MoveNext();
}

bool MkvElement::MoveNext() {
  const std::uint64_t next = DataEnd();
  if (!*this || parent == nullptr || next >= parent->DataEnd()) {
    Clear();
    return false;
  }
  return SUCCEEDED(ReadHeader(next)) || Resynchronise();
}

bool MkvElement::MoveNextOfSameId() {
  const std::uint32_t wanted = id.value;
  while (MoveNext()) {
    if (id.value == wanted) return true;
  }
  return false;
}

std::uint64_t MkvElement::DataEnd() const {
  const std::uint64_t end = dataStart + size.value;
  return end < dataStart ? ~std::uint64_t{0} : end;
}

void MkvElement::Clear() {
  id = CMkvID();
  size = CMkvLength();
  dataStart = 0;
  isWholeFile = false;
}

HRESULT MkvElement::ReadHeader(std::uint64_t at) {
  Clear();
  start = at;
  file->position = at;
  HRESULT result = id.Read(*this);
  if (result == S_OK) result = size.Read(*this);
  if (result == S_OK) {
    dataStart = file->position;
    return S_OK;
  }
  Clear();
  return FAILED(result) ? result : E_FAIL;
}

// After a damaged header at `start`: moves onto the next of the top-level identifiers, found by scanning byte by byte.
bool MkvElement::Resynchronise() {
  if (!IsSegment(parent)) return false;
  constexpr std::uint64_t kScanStep = 4096;
  file->position = start;
  for (std::uint64_t scanned = 0;; ++scanned) {
    if (scanned % kScanStep == 0 && file->interrupted && file->interrupted()) return false;
    std::uint8_t bytes[4];
    if (file->Read(bytes, 1) != S_OK) return false;
    if ((bytes[0] & 0xF0) != 0x10) continue;
    if (file->Read(bytes + 1, 3) != S_OK) return false;
    const auto candidate = BigEndian<std::uint32_t>(bytes, sizeof bytes);
    if (std::ranges::find(kResynchronisationIds, candidate) != kResynchronisationIds.end()) break;
    file->position -= 3;
  }
  return SUCCEEDED(ReadHeader(file->position - 4));
}

}  // namespace vantor
