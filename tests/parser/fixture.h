// What the parser's tests share: a file in memory with a byte source over it.
#pragma once

#include <utility>

#include "parser/byte_source.h"
#include "parser/element.h"
#include "parser/file_root.h"
#include "parser/segment.h"
#include "support/memory_reader.h"
#include "support/mkv_builder.h"

namespace vantor::test {

// A byte source over bytes, with a segment record of its own and without any opening.
class PlainFile final : public CMkvFile {
 public:
  explicit PlainFile(IAsyncReader* source) : CMkvFile(source) {}
  bool CanSeek() override { return true; }
  const MkvSegment* GetSegment() override { return &segment; }
  std::int64_t GetStartTime() override { return 0; }

  MkvSegment segment;
};

// Bytes, the reader that serves them, and a cursor over it.
struct Source {
  explicit Source(const Raw& bytes) : reader(bytes), file(&reader) { reader.ResetCounters(); }

  // The element at the start of the bytes.
  MkvElement First() { return MkvElement::At(file, nullptr, 0); }

  MemoryReader reader;
  PlainFile file;
};

// Bytes and the file opened from them.
struct Opened {
  explicit Opened(const Raw& bytes, bool canSeek = true, const PlaybackPolicy& policy = {})
      : reader(bytes), root(&reader, canSeek, policy) {
    reader.ResetCounters();
    result = root.Open();
  }

  MemoryReader reader;
  CMkvFileRoot root;
  HRESULT result = E_UNEXPECTED;
};

}  // namespace vantor::test
