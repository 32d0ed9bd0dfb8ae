// How bytes become a tree and bytes again.
//
// An element's content is what its size claims, cut where its parent's content ends; a cut element remembers the claim.
// Of unknown size, it takes the rest, a Cluster only up to the next child of a Segment. Only elements that are known to
// hold elements are looked into. Bytes that are no element, as damage makes them, are kept as one node, up to the next
// identifier of four bytes that a Segment's child has, so that a fault does not hide what is behind it.
#include "fuzz/element_tree.h"

#include <algorithm>
#include <bit>

#include "fuzz/known_elements.h"

namespace vantor::fuzz {

namespace {

constexpr int kDeepest = 12;

// The width that the first byte of an identifier or a size tells; 9 when it tells none.
std::size_t WidthOf(std::uint8_t first) { return static_cast<std::size_t>(std::countl_zero(first)) + 1; }

std::uint64_t BigEndian(std::span<const std::uint8_t> bytes) {
  std::uint64_t value = 0;
  for (const std::uint8_t byte : bytes) value = value << 8 | byte;
  return value;
}

std::uint64_t AllBits(std::size_t width) { return (std::uint64_t{1} << (7 * width)) - 1; }

bool IsTopLevel(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= 4 && ParentOf(static_cast<std::uint32_t>(BigEndian(bytes.first(4)))) == ids::kSegment;
}

struct Header {
  std::size_t idWidth = 0;
  std::size_t sizeWidth = 0;
  std::uint64_t size = 0;
  std::size_t Width() const { return idWidth + sizeWidth; }
};

std::optional<Header> ReadHeader(std::span<const std::uint8_t> bytes) {
  Header header;
  if (bytes.empty() || WidthOf(bytes[0]) > 4) return std::nullopt;
  header.idWidth = WidthOf(bytes[0]);
  if (bytes.size() <= header.idWidth || WidthOf(bytes[header.idWidth]) > 8) return std::nullopt;
  header.sizeWidth = WidthOf(bytes[header.idWidth]);
  if (bytes.size() < header.Width()) return std::nullopt;
  header.size = BigEndian(bytes.subspan(header.idWidth, header.sizeWidth)) & AllBits(header.sizeWidth);
  return header;
}

// How many of the bytes are no element.
std::size_t DamageAtFront(std::span<const std::uint8_t> bytes) {
  std::size_t length = 1;
  while (length < bytes.size() && !IsTopLevel(bytes.subspan(length))) ++length;
  return length;
}

class Parser {
 public:
  explicit Parser(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

  // The elements up to the end, or up to a Segment's child.
  std::vector<ElementNode> Read(int depth, bool untilTopLevel) {
    std::vector<ElementNode> elements;
    while (!rest_.empty() && !(untilTopLevel && IsTopLevel(rest_))) elements.push_back(ReadOne(depth));
    return elements;
  }

 private:
  ElementNode ReadOne(int depth) {
    ElementNode node;
    const std::optional<Header> header = ReadHeader(rest_);
    if (!header) {
      node.payload = Take(DamageAtFront(rest_));
      return node;
    }
    node.id = Take(header->idWidth);
    Take(header->sizeWidth);
    node.sizeWidth = header->sizeWidth;
    node.hasUnknownSize = header->size == AllBits(header->sizeWidth);
    node.isMaster = depth < kDeepest && KindOf(IdOf(node)) == ElementKind::kMaster;
    if (node.hasUnknownSize && node.isMaster) {
      node.children = Read(depth + 1, IdOf(node) == ids::kCluster);
      return node;
    }
    const auto there = node.hasUnknownSize
                           ? rest_.size()
                           : static_cast<std::size_t>(std::min<std::uint64_t>(header->size, rest_.size()));
    if (!node.hasUnknownSize && there < header->size) node.claimed = header->size;
    if (node.isMaster) {
      node.children = Parser(rest_.first(there)).Read(depth + 1, false);
      Take(there);
    } else {
      node.payload = Take(there);
    }
    return node;
  }

  Raw Take(std::size_t count) {
    const std::span<const std::uint8_t> taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return Raw(taken.begin(), taken.end());
  }

  std::span<const std::uint8_t> rest_;
};

std::size_t SizeWidth(const ElementNode& element, std::size_t content) {
  if (element.hasUnknownSize) return std::clamp<std::size_t>(element.sizeWidth, 1, 8);
  const std::uint64_t size = element.claimed.value_or(content);
  std::size_t width = std::clamp<std::size_t>(element.sizeWidth, 1, 8);
  while (width < 8 && size >= AllBits(width)) ++width;
  return width;
}

void Append(Raw& to, std::uint64_t value, std::size_t width) {
  for (std::size_t i = width; i-- > 0;) to.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void Write(const ElementNode& element, Raw& to) {
  if (!element.id.empty()) {
    to.insert(to.end(), element.id.begin(), element.id.end());
    const std::size_t content = ContentSize(element);
    const std::size_t width = SizeWidth(element, content);
    const std::uint64_t size = element.hasUnknownSize ? AllBits(width) : element.claimed.value_or(content);
    Append(to, (size & AllBits(width)) | std::uint64_t{1} << (7 * width), width);
  }
  to.insert(to.end(), element.payload.begin(), element.payload.end());
  for (const ElementNode& child : element.children) Write(child, to);
}

}  // namespace

std::vector<ElementNode> ParseElements(std::span<const std::uint8_t> bytes) { return Parser(bytes).Read(0, false); }

Raw WriteElements(const std::vector<ElementNode>& elements) {
  Raw bytes;
  for (const ElementNode& element : elements) Write(element, bytes);
  return bytes;
}

std::size_t ContentSize(const ElementNode& element) {
  std::size_t size = element.payload.size();
  for (const ElementNode& child : element.children) size += WrittenSize(child);
  return size;
}

std::size_t WrittenSize(const ElementNode& element) {
  const std::size_t content = ContentSize(element);
  return element.id.empty() ? content : element.id.size() + SizeWidth(element, content) + content;
}

std::uint32_t IdOf(const ElementNode& element) { return static_cast<std::uint32_t>(BigEndian(element.id)); }

Raw BytesOfId(std::uint32_t id) {
  Raw bytes;
  for (std::size_t i = 4; i-- > 0;) {
    if (id >> (8 * i) != 0) bytes.push_back(static_cast<std::uint8_t>(id >> (8 * i)));
  }
  return bytes;
}

}  // namespace vantor::fuzz
