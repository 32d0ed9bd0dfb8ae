// OpenedFile: a file opened for reading its headers and blocks, apart from what the component does with it.
//
//   OpenedFile file(store, OLESTR("/films/movie.mkv"));
//   if (file.IsOpen()) Use(file.Root().segment.info);
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/byte_store.h"
#include "host/file_source_filter.h"
#include "parser/file_root.h"
#include "platform/com.h"
#include "platform/com_ptr.h"

namespace vantor::tools {

class OpenedFile {
 public:
  // Opens it as a filter of that policy does and notes what was tolerated. The name is the file's whole path. Raises
  // running out of memory.
  OpenedFile(const std::shared_ptr<ByteStore>& bytes, WideString name, const PlaybackPolicy& policy = {});

  // False for a file that is no Matroska or WebM file: there are no records then.
  bool IsOpen() const { return isOpen_; }
  CMkvFileRoot& Root() { return *root_; }
  // What the file itself says of its length, 100 ns; 0 where it says nothing.
  std::int64_t Duration() const;
  // Whether it says a time at all: it may be no number, or one that is none of a film.
  bool HasDuration() const;
  // What is wrong with a duration that is there and of no use; empty for others.
  std::string DurationTrouble() const;
  // What the filter would be connected behind.
  IPin* Upstream() const { return source_->OutputPin(); }

 private:
  ComPtr<FileSourceFilter> source_;
  std::unique_ptr<CMkvFileRoot> root_;
  bool isOpen_ = false;
};

}  // namespace vantor::tools
