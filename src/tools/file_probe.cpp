#include "tools/file_probe.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <limits>
#include <optional>

namespace vantor::tools {
namespace {

constexpr std::uint64_t kEbmlHeader = 0x1A45DFA3;
constexpr std::uint64_t kDocType = 0x4282;
constexpr std::uint64_t kSegment = 0x18538067;
// More elements than this before a Segment and there is none worth naming.
constexpr int kElementLimit = 1000;

struct Element {
  std::uint64_t id = 0;
  std::int64_t data = 0;             // position of the payload
  std::optional<std::int64_t> size;  // none for an unknown size
};

// A variable-length number; the marker bit stays in identifiers and goes from sizes.
std::optional<std::uint64_t> ReadNumber(ByteStore& bytes, std::int64_t& position, int max_length, bool keep_marker,
                                        bool& all_ones) {
  unsigned char first = 0;
  if (position >= bytes.Length() || !bytes.Read(position, &first, 1) || first == 0) {
    return std::nullopt;
  }
  int length = 1;
  while ((first & (0x80 >> (length - 1))) == 0) {
    ++length;
  }
  unsigned char rest[8] = {};
  if (length > max_length || bytes.Length() - position < length ||
      !bytes.Read(position, rest, static_cast<std::size_t>(length))) {
    return std::nullopt;
  }
  const unsigned char marker = static_cast<unsigned char>(0x80 >> (length - 1));
  std::uint64_t value = keep_marker ? first : static_cast<std::uint64_t>(first & (marker - 1));
  all_ones = (first & (marker - 1)) == marker - 1;
  for (int i = 1; i < length; ++i) {
    value = value << 8 | rest[i];
    all_ones = all_ones && rest[i] == 0xFF;
  }
  position += length;
  return value;
}

std::optional<Element> ReadElement(ByteStore& bytes, std::int64_t position) {
  bool all_ones = false;
  const std::optional<std::uint64_t> id = ReadNumber(bytes, position, 4, true, all_ones);
  if (!id) {
    return std::nullopt;
  }
  const std::optional<std::uint64_t> size = ReadNumber(bytes, position, 8, false, all_ones);
  if (!size) {
    return std::nullopt;
  }
  Element element;
  element.id = *id;
  element.data = position;
  if (!all_ones) {
    element.size = static_cast<std::int64_t>(*size);
  }
  return element;
}

// The position after the element, or nothing when it runs past the end.
std::optional<std::int64_t> EndOf(const Element& element, std::int64_t limit) {
  if (!element.size || *element.size > limit - element.data) {
    return std::nullopt;
  }
  return element.data + *element.size;
}

std::string ReadDocType(ByteStore& bytes, const Element& header, std::int64_t header_end) {
  std::int64_t position = header.data;
  for (int i = 0; i < kElementLimit && position < header_end; ++i) {
    const std::optional<Element> child = ReadElement(bytes, position);
    const std::optional<std::int64_t> end = child ? EndOf(*child, header_end) : std::nullopt;
    if (!end) {
      break;
    }
    if (child->id == kDocType) {
      std::string text(static_cast<std::size_t>(std::min<std::int64_t>(*child->size, 64)), '\0');
      if (!bytes.Read(child->data, text.data(), text.size())) {
        break;
      }
      text.resize(std::min(text.size(), text.find('\0')));
      for (char& c : text) {
        c = c > 0x20 && c < 0x7F ? c : '?';
      }
      return text;
    }
    position = *end;
  }
  return {};
}

}  // namespace

FileShape ProbeFile(ByteStore& bytes) {
  FileShape shape;
  const std::int64_t length = bytes.Length();
  if (length == 0) {
    shape.kind = ShapeKind::kEmpty;
    return shape;
  }
  const std::optional<Element> header = ReadElement(bytes, 0);
  if (!header || header->id != kEbmlHeader) {
    shape.kind = ShapeKind::kNotEbml;
    return shape;
  }
  const std::optional<std::int64_t> header_end = EndOf(*header, length);
  if (!header_end) {
    shape.kind = ShapeKind::kDamagedHeader;
    return shape;
  }
  shape.doc_type = ReadDocType(bytes, *header, *header_end);
  if (!shape.doc_type.empty() && shape.doc_type != "matroska" && shape.doc_type != "webm") {
    shape.kind = ShapeKind::kOtherDocType;
    return shape;
  }
  shape.kind = ShapeKind::kNoSegment;
  std::int64_t position = *header_end;
  for (int i = 0; i < kElementLimit && position < length; ++i) {
    const std::optional<Element> element = ReadElement(bytes, position);
    if (!element) {
      return shape;
    }
    const std::optional<std::int64_t> end = EndOf(*element, length);
    if (element->id == kSegment) {
      shape.kind = end || !element->size ? ShapeKind::kWhole : ShapeKind::kTruncated;
      if (shape.kind == ShapeKind::kTruncated) {
        shape.missing_bytes = *element->size - (length - element->data);
      }
      return shape;
    }
    if (!end) {
      return shape;
    }
    position = *end;
  }
  return shape;
}

std::string WhyRefused(const FileShape& shape) {
  switch (shape.kind) {
    case ShapeKind::kEmpty:
      return "the file is empty";
    case ShapeKind::kNotEbml:
      return "not a Matroska or WebM file: it does not begin with an EBML header";
    case ShapeKind::kDamagedHeader:
      return "the EBML header is damaged or cut off";
    case ShapeKind::kOtherDocType:
      return fmt::format("not a Matroska or WebM file: its document type is \"{}\"", shape.doc_type);
    case ShapeKind::kNoSegment:
      return "the file has an EBML header but no Segment";
    case ShapeKind::kTruncated:
      return Warning(shape);
    case ShapeKind::kWhole:
      break;
  }
  return {};
}

std::string Warning(const FileShape& shape) {
  if (shape.kind != ShapeKind::kTruncated) {
    return {};
  }
  return fmt::format("the file is truncated: {} bytes of its Segment are missing", shape.missing_bytes);
}

}  // namespace vantor::tools
