// Element headers and walking: MkvElement is an element's header and a cursor that moves from sibling to sibling.
//
//   MkvElement root = MkvElement::WholeFile(file);
//   for (auto child = root.FirstChild(); child; child.MoveNext()) if (child.id.value == ids::kSegment) ...
//
// An element refers to its parent and to the byte source; both must outlive it and stay where they are.
#pragma once

#include <cstdint>

#include "parser/byte_source.h"
#include "parser/ebml_value.h"
#include "parser/header_cursor.h"

namespace vantor {

// How Find looks once the seek index (of a Segment) names nothing.
enum class Search { kIndexOnly, kLinear };

class MkvElement {
 public:
  // An empty element: false in a condition.
  MkvElement() = default;

  // The pseudo-element that stands for the whole file: identifier 0, the source's length as size.
  static MkvElement WholeFile(CMkvFile& file);

  // The element at the position, header read; empty when the header cannot be read. No resynchronisation.
  static MkvElement At(CMkvFile& file, const MkvElement* parent, std::uint64_t position);

  // Whether there is an element here, with a header that could be read. A walk that ends leaves it empty.
  explicit operator bool() const { return dataStart != 0 || isWholeFile; }

  // The first child; empty when there is none or its header is damaged beyond resynchronisation. The overload looks
  // for the identifier: in a Segment by the seek index first, then, if linear, by walking on from the first child.
  MkvElement FirstChild() const;
  MkvElement FirstChild(std::uint32_t wanted, Search search = Search::kLinear) const;

  // Moves onto the wanted sibling, this element itself included, and tells whether it is there now.
  bool Find(std::uint32_t wanted, Search search);

  // Moves to the next sibling, resynchronising after a damaged header inside a Segment. False, and empty, at the end.
  bool MoveNext();

  // The two steps of it that are left to do at `next`, the end of this element's payload, where its parent goes on
  // there. The first is short: it reads the header, stores the cursor, and is false where that could not be read, with
  // this element as it was; the second then does the rest. Whoever moves through many small elements takes them one by
  // one.
  bool MoveOnto(HeaderCursor& in, std::uint64_t next);
  bool MoveOnFromDamage(std::uint64_t next);

  // Moves to the next sibling with this element's own identifier, by walking only.
  bool MoveNextOfSameId();

  // One past the last payload byte; at most 2^64 - 1.
  std::uint64_t DataEnd() const;

  // Puts the source's cursor on the payload's first byte.
  void SeekToData() const { file->position = dataStart; }

  // Notes with the source that this whole element, as far as the file holds it, was passed over.
  void NotePassedOver(Tolerated kind) const;

  const MkvElement* parent = nullptr;
  CMkvFile* file = nullptr;
  CMkvID id;
  CMkvLength size;
  std::uint64_t start = 0;      // first byte of the identifier
  std::uint64_t dataStart = 0;  // first byte of the payload; 0 until the header has been read
  bool isWholeFile = false;

 private:
  bool ReadHeader(std::uint64_t at);
  void EndAtNextTopLevel();
  bool Resynchronise();
  bool MoveToIndexedCluster(std::uint64_t behind, std::uint64_t before);
  bool ScanForTopLevelId();
  void NoteEndOfWalk(std::uint64_t damage) const;
  void NoteOverlap() const;
  bool FindByIndex(std::uint32_t wanted);
  bool FindByDistrustedIndex(std::uint32_t wanted);
  void FindFromHere(std::uint32_t wanted, Search search);
  void Clear();
  VANTOR_APART void EndWhereUnknown();
};

// The header is the element's only once both parts are read: `id` alone must not match anything.
inline bool MkvElement::MoveOnto(HeaderCursor& in, std::uint64_t next) {
  in.MoveTo(next);
  std::uint32_t newId = 0;
  EbmlLength newSize;
  const bool isRead = in.ReadId(newId) == S_OK && in.ReadLength(newSize) == S_OK;
  in.Store();
  if (!isRead) return false;
  id.value = newId;
  id.present = true;
  size.value = newSize.value;
  size.isUnknown = newSize.isUnknown;
  size.present = true;
  start = next;
  dataStart = in.Position();
  isWholeFile = false;
  if (newSize.isUnknown) EndWhereUnknown();
  return true;
}

inline std::uint64_t MkvElement::DataEnd() const {
  const std::uint64_t end = dataStart + size.value;
  return end < dataStart ? ~std::uint64_t{0} : end;
}

}  // namespace vantor
