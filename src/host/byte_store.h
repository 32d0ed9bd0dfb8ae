// ByteStore: the bytes that a byte-source filter serves, wherever they are kept.
//
//   FileError error;
//   std::shared_ptr<ByteStore> store = OpenStore("movie.mkv", StoreKind::kFastest, error);
//   if (!store) return Describe(error);
//   store->Read(0, header, sizeof header);
//
// Three ways of keeping them, with the same answers:
//   memory  the whole file in memory; also for bytes that never were a file (MakeMemoryStore);
//   mapped  the file mapped, each read one copy out of the mapping;
//   cached  positional reads through a block cache, for files that cannot be mapped.
//
// A store's length is the file's when it was opened. A file that shrinks afterwards gives failed reads, never a crash
// and never bytes that were not in it. Every member may be called from several threads at once, without waiting for
// each other in the usual case; a small read costs no system call but where a block has to be fetched.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/mapped_file.h"

namespace vantor {

using platform::FileError;

class ByteStore {
 public:
  virtual ~ByteStore() = default;
  ByteStore(const ByteStore&) = delete;
  ByteStore& operator=(const ByteStore&) = delete;

  virtual std::int64_t Length() const noexcept = 0;
  // Copies exactly size bytes from the position; the range must lie within Length(). False, with the buffer's content
  // unspecified, when the bytes cannot be had.
  virtual bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept = 0;

 protected:
  ByteStore() = default;
};

enum class StoreKind { kMemory, kMapped, kCached, kFastest };

// A store over bytes in memory.
std::shared_ptr<ByteStore> MakeMemoryStore(std::vector<unsigned char> bytes);

// Opens the file (path as of ReadableFile). kFastest maps it where that is possible and safe, else it is cached. Null
// when the file cannot be opened, read or mapped, with the reason in error.
std::shared_ptr<ByteStore> OpenStore(const std::string& path, StoreKind kind, FileError& error);

}  // namespace vantor
