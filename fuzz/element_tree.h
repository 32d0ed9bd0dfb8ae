// Bytes as a tree of elements, to be changed and written again, damage included.
//
//   std::vector<ElementNode> file = ParseElements(bytes);
//   file[1].children.pop_back();         // the Segment's last child
//   Raw shorter = WriteElements(file);   // every size above it fits what is left
//
// What was read and not changed is written as it was, whatever the bytes are: a size that claims something else than
// what is there stays the claim that it was, and what is no element stays the bytes that it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vantor::fuzz {

using Raw = std::vector<std::uint8_t>;

struct ElementNode {
  Raw id;                 // its bytes; none: `payload` is no element and has no header
  bool isMaster = false;  // has children instead of a payload
  Raw payload;
  std::vector<ElementNode> children;
  std::size_t sizeWidth = 0;             // bytes of the size, at least; 0: the fewest that hold it
  bool hasUnknownSize = false;           // all bits set
  std::optional<std::uint64_t> claimed;  // the size that is written when it is not what the content has
};

std::vector<ElementNode> ParseElements(std::span<const std::uint8_t> bytes);
Raw WriteElements(const std::vector<ElementNode>& elements);

// The bytes that the element, and its content alone, take when they are written.
std::size_t WrittenSize(const ElementNode& element);
std::size_t ContentSize(const ElementNode& element);

// The identifier as a number, 0 for what is no element; and the bytes of one.
std::uint32_t IdOf(const ElementNode& element);
Raw BytesOfId(std::uint32_t id);

}  // namespace vantor::fuzz
