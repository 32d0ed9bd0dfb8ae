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
// and never bytes that were not in it. The first read that fails is remembered, so that what became of the bytes need
// not be believed: if (store->FirstFailure()) the file was not read whole. Every member may be called from several
// threads at once, without waiting for each other in the usual case; a small read costs no system call but where a
// block has to be fetched.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/apart.h"
#include "platform/com.h"
#include "platform/lock.h"
#include "platform/mapped_file.h"

namespace vantor {

using platform::FileError;

// What a file that could not be opened gives as a result: the system's code for it (HRESULT_FROM_WIN32).
HRESULT ResultOf(FileError error) noexcept;

enum class ReadFault {
  kSystem,    // the system failed the read
  kCut,       // the file has become shorter
  kNoMemory,  // there was none to read into
};

struct ReadFailure {
  ReadFault fault = ReadFault::kSystem;
  std::int64_t position = 0;  // where the read began; of a cut file, where it found no more
  int systemError = 0;        // for kSystem, as of SystemErrorText; 0 when it is not known
};

class ByteStore {
 public:
  virtual ~ByteStore() = default;
  ByteStore(const ByteStore&) = delete;
  ByteStore& operator=(const ByteStore&) = delete;

  virtual std::int64_t Length() const noexcept = 0;
  // Copies exactly size bytes from the position; the range must lie within Length(). False, with the buffer's content
  // unspecified, when the bytes cannot be had.
  virtual bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept = 0;

  // From BeginFlush to EndFlush reads that would wait for bytes fail instead, those that wait already included. For
  // stores whose reads can wait.
  virtual void BeginFlush() noexcept {}
  virtual void EndFlush() noexcept {}

  // The bytes themselves, where they lie in memory. Copying out of them needs no call; what it does not do, Read does.
  const platform::ResidentBytes& Resident() const noexcept { return resident_; }

  // The first read that could not be answered; nothing when all were.
  std::optional<ReadFailure> FirstFailure() const noexcept VANTOR_EXCLUDES(failureLock_) {
    const LockScope hold(failureLock_);
    return firstFailure_;
  }

 protected:
  ByteStore() = default;
  // Before the first read.
  void SetResident(const platform::ResidentBytes& bytes) noexcept { resident_ = bytes; }
  // For Read, where a faster way has failed: asks the system for the bytes, and keeps the failure.
  VANTOR_COLD bool ReadFrom(const platform::ReadableFile& file, std::int64_t position, void* buffer,
                            std::size_t size) noexcept VANTOR_EXCLUDES(failureLock_);
  // Keeps a failure that is the first. False, for Read to return.
  bool Fail(const ReadFailure& failure) noexcept VANTOR_EXCLUDES(failureLock_) {
    const LockScope hold(failureLock_);
    if (!firstFailure_) {
      firstFailure_ = failure;
    }
    return false;
  }

 private:
  platform::ResidentBytes resident_;
  mutable Lock failureLock_{LockRank::Host};
  std::optional<ReadFailure> firstFailure_ VANTOR_GUARDED_BY(failureLock_);
};

// Reads exactly size bytes from the file; false, with the reason, when it does not hold them or cannot be read.
bool ReadWhole(const platform::ReadableFile& file, std::int64_t position, void* buffer, std::size_t size,
               ReadFailure& failure) noexcept;

enum class StoreKind { kMemory, kMapped, kCached, kFastest };

// A store over bytes in memory.
std::shared_ptr<ByteStore> MakeMemoryStore(std::vector<unsigned char> bytes);

// Opens the file (path as of ReadableFile). kFastest maps it where that is possible and safe, else it is cached. Null
// when the file cannot be opened, read or mapped, with the reason in error.
std::shared_ptr<ByteStore> OpenStore(const std::string& path, StoreKind kind, FileError& error);

}  // namespace vantor
