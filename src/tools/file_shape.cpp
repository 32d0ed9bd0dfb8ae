#include "tools/file_shape.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <span>
#include <utility>

#include "host/file_source_filter.h"
#include "parser/element.h"
#include "parser/element_ids.h"
#include "parser/file_root.h"
#include "platform/big_endian.h"
#include "platform/com_ptr.h"
#include "tools/file_signatures.h"

namespace vantor::tools {
namespace {

// More elements than this before a Segment and there is none worth naming.
constexpr int kElementLimit = 1000;
constexpr std::size_t kLongestDocType = 64;
constexpr std::uint64_t kNewestReadVersion = 2;

std::string Readable(std::string docType) {
  docType.resize(std::min(docType.size(), kLongestDocType));
  for (char& c : docType) {
    c = c > 0x20 && c < 0x7F ? c : '?';
  }
  return docType;
}

std::string ReadDocType(const MkvElement& header) {
  const MkvElement child = header.FirstChild(ids::kDocType);
  std::string text;
  if (!child || ReadAsciiString(child, text) != S_OK) {
    return {};
  }
  return Readable(std::move(text));
}

// Whether the size field says that nobody knows: the parser then takes all that is left.
bool HasUnknownSize(const MkvElement& element) {
  constexpr std::size_t kHeaderIdSize = 4;
  std::uint8_t field[8] = {};
  element.file->position = element.start + kHeaderIdSize;
  const std::uint64_t size = element.dataStart - element.file->position;
  return size <= sizeof field && element.file->Read(field, size) == S_OK &&
         BigEndian(field, size) == (std::uint64_t{2} << (7 * size)) - 1;
}

void FindSegment(MkvElement& element, FileShape& shape) {
  const std::uint64_t length = element.file->length;
  for (int i = 0; i < kElementLimit && element.MoveNext(); ++i) {
    if (element.id.value != ids::kSegment) {
      continue;
    }
    const bool cut = element.DataEnd() > length;
    shape.kind = cut ? ShapeKind::kTruncated : ShapeKind::kWhole;
    shape.position = cut ? length : 0;
    shape.missingBytes = cut ? static_cast<std::int64_t>(element.DataEnd() - length) : 0;
    return;
  }
  shape.kind = ShapeKind::kNoSegment;
}

const char* OtherKindOf(CMkvFile& file) {
  std::array<std::uint8_t, kSignatureBytes> bytes;
  const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), file.length));
  file.position = 0;
  return file.Read(bytes.data(), size) == S_OK ? SignatureName(std::span(bytes).first(size)) : nullptr;
}

// From the outside in, up to the first thing that would make the filter refuse the file.
FileShape ShapeOf(CMkvFile& file) {
  FileShape shape;
  if (file.length == 0) {
    shape.kind = ShapeKind::kEmpty;
    return shape;
  }
  const MkvElement whole = MkvElement::WholeFile(file);
  MkvElement element = whole.FirstChild();
  if (!element || element.id.value != ids::kEbmlHeader) {
    shape.kind = ShapeKind::kNotEbml;
    shape.otherKind = OtherKindOf(file);
    return shape;
  }
  // A header that lasts to the end of the file has swallowed everything else.
  if (element.DataEnd() > file.length || HasUnknownSize(element)) {
    shape.kind = ShapeKind::kDamagedHeader;
    return shape;
  }
  shape.docType = ReadDocType(element);
  if (!shape.docType.empty() && shape.docType != "matroska" && shape.docType != "webm") {
    shape.kind = ShapeKind::kOtherDocType;
    return shape;
  }
  FindSegment(element, shape);
  return shape;
}

bool IsKnown(const std::string& docType) { return docType == "matroska" || docType == "webm"; }

// Where the first seek entry for a Cluster leads.
std::uint64_t ClusterEntryTarget(const MkvSegment& segment) {
  for (const auto& seekHead : segment.seekHeads) {
    for (const MkvSeekEntry& entry : seekHead) {
      if (entry.SeekID.value == ids::kCluster) return segment.SeekTarget(entry);
    }
  }
  return 0;
}

// What opening the file ran into.
void FindCause(CMkvFileRoot& file, FileShape& shape) {
  if (FAILED(file.Open())) {
    const MkvEbmlHeader& header = file.ebmlHeader;
    if (!IsKnown(header.DocType)) {
      shape.kind = header.DocType.empty() ? ShapeKind::kNoDocType : ShapeKind::kOtherDocType;
      shape.docType = Readable(header.DocType);
    } else if (header.DocTypeReadVersion.value > kNewestReadVersion) {
      shape.kind = ShapeKind::kNewerVersion;
      shape.version = header.DocTypeReadVersion.value;
    }
    return;
  }
  const MkvElement whole = MkvElement::WholeFile(file);
  const MkvElement segment = whole.FirstChild(ids::kSegment);
  if (segment.FirstChild(ids::kCluster)) {
    return;
  }
  shape.kind = ShapeKind::kNoCluster;
  MkvElement child = segment.FirstChild();
  while (child && child.id.value != ids::kCluster) {
    child.MoveNext();
  }
  if (child) {
    shape.kind = ShapeKind::kClusterEntry;
    shape.position = ClusterEntryTarget(file.segment);
  }
}

// A byte source over the bytes, for as long as a file is read from it.
ComPtr<FileSourceFilter> SourceOf(const std::shared_ptr<ByteStore>& bytes) {
  auto source = ComPtr<FileSourceFilter>::Adopt(FileSourceFilter::Create());
  if (!source) {
    throw std::bad_alloc();
  }
  source->SetBytes(bytes, {});
  return source;
}

}  // namespace

FileShape ShapeOf(const std::shared_ptr<ByteStore>& bytes) {
  const ComPtr<FileSourceFilter> source = SourceOf(bytes);
  // Not opened: what is not the shape is not read.
  CMkvFileRoot file(source->OutputPin(), false);
  return ShapeOf(file);
}

FileShape ShapeOfRefused(const std::shared_ptr<ByteStore>& bytes, const PlaybackPolicy& policy) {
  FileShape shape = ShapeOf(bytes);
  if (shape.kind == ShapeKind::kWhole || shape.kind == ShapeKind::kTruncated) {
    const ComPtr<FileSourceFilter> source = SourceOf(bytes);
    CMkvFileRoot file(source->OutputPin(), true, policy);
    FindCause(file, shape);
  }
  return shape;
}

std::string WhyRefused(const FileShape& shape) {
  switch (shape.kind) {
    case ShapeKind::kEmpty:
      return "the file is empty";
    case ShapeKind::kNotEbml:
      return fmt::format("not a Matroska or WebM file: {}", shape.otherKind != nullptr
                                                                ? fmt::format("it is {}", shape.otherKind)
                                                                : "it does not begin with an EBML header");
    case ShapeKind::kDamagedHeader:
      return "the EBML header is damaged or cut off";
    case ShapeKind::kOtherDocType:
      return fmt::format("not a Matroska or WebM file: its document type is \"{}\"", shape.docType);
    case ShapeKind::kNoDocType:
      return "the EBML header names no document type";
    case ShapeKind::kNewerVersion:
      return fmt::format("the file asks for a reader of version {}; versions up to {} are read", shape.version,
                         kNewestReadVersion);
    case ShapeKind::kNoSegment:
      return "the file has an EBML header but no Segment";
    case ShapeKind::kNoCluster:
      return shape.missingBytes > 0
                 ? fmt::format("there is no Cluster in the file; {} bytes of its Segment are missing",
                               shape.missingBytes)
                 : "there is no Cluster in the file: it has no frames";
    case ShapeKind::kClusterEntry:
      return fmt::format("the seek index says that the Clusters begin at byte {}, and there is none", shape.position);
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
  return fmt::format("the file is truncated at byte {}: {} of its Segment {} missing", shape.position,
                     shape.missingBytes == 1 ? "1 byte" : fmt::format("{} bytes", shape.missingBytes),
                     shape.missingBytes == 1 ? "is" : "are");
}

}  // namespace vantor::tools
