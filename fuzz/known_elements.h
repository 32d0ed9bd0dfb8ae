// The elements that the mutator knows: what they hold, and in which element they stand.
//
//   KindOf(0xD7)                   // ElementKind::kUnsigned: a TrackNumber
//   for (const KnownElement& element : ChildrenOf(0xAE)) ...
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "parser/element_ids.h"

namespace vantor::fuzz {

enum class ElementKind { kMaster, kUnsigned, kSigned, kFloat, kText, kBinary, kBlock };

struct KnownElement {
  std::uint32_t parent;  // 0: the file
  std::uint32_t id;
  ElementKind kind;
};

// Binary for an identifier that is not known.
ElementKind KindOf(std::uint32_t id);
// Of an identifier of four bytes the element in which it stands; 0 when it is not known.
std::uint32_t ParentOf(std::uint32_t id);
std::vector<KnownElement> ChildrenOf(std::uint32_t parent);
const std::vector<KnownElement>& KnownElements();

// Texts that decide what becomes of a file or a track: document types, codecs, media types of attachments.
const std::vector<std::string_view>& KnownTexts();

}  // namespace vantor::fuzz
