// Files for reading: positional reads of an open file, and a file's bytes mapped into memory with a copy out of the
// mapping that survives the file shrinking underneath.
//
//   ReadableFile file;
//   if (FileError error = file.Open("movie.mkv"); error != FileError::kNone) return Describe(error);
//   MappedBytes bytes;
//   if (bytes.Map(file) && bytes.Copy(position, buffer, size)) ...
//
// All members but Open, Map and destruction may be called from several threads at once.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace vantor::platform {

// A pipe is anything that cannot be read from any position.
enum class FileError { kNone, kMissing, kDirectory, kDenied, kPipe, kOther };

class ReadableFile {
 public:
  ReadableFile() noexcept = default;
  ~ReadableFile();
  ReadableFile(const ReadableFile&) = delete;
  ReadableFile& operator=(const ReadableFile&) = delete;

  // Opens the file at the path (UTF-8 on Windows, the system's bytes elsewhere). Not to be called twice.
  FileError Open(const std::string& path) noexcept;
  // The length now; -1 when it cannot be told.
  std::int64_t Length() const noexcept;
  // Reads up to size bytes at the position and gives their count, which is smaller only at the file's end; -1 when the
  // system fails the read, and LastSystemError tells why.
  std::int64_t ReadAt(std::int64_t position, void* buffer, std::size_t size) const noexcept;

 private:
  friend class MappedBytes;
  std::intptr_t handle_ = -1;
};

// Bytes that lie in memory, for reads that are too short for a call.
//
//   if (resident.CopyShort(position, buffer, size) || file.Copy(position, buffer, size)) ...
class ResidentBytes {
 public:
  // There are none.
  ResidentBytes() noexcept = default;
  // The mark tells whether they are no longer those of the file; it is set before they change.
  ResidentBytes(const unsigned char* bytes, std::int64_t length, const std::atomic<bool>& isLost) noexcept
      : bytes_(bytes), length_(length), isLost_(&isLost) {}

  // Copies one byte or two, as most reads are, where that is easy. False tells nothing: the range may also lie outside
  // the bytes.
  bool CopyShort(std::int64_t position, void* buffer, std::size_t size) const noexcept {
    if (size - 1 > 1 || position < 0 || position > length_ - static_cast<std::int64_t>(size)) return false;
    const volatile unsigned char* const from = bytes_ + position;
    const unsigned char first = from[0];
    const unsigned char last = from[size - 1];
    if (last == 0 && !IsBehindNonZero(position + static_cast<std::int64_t>(size))) return false;
    if (IsLost()) return false;
    auto* const to = static_cast<unsigned char*>(buffer);
    to[0] = first;
    to[size - 1] = last;
    return true;
  }

  // Behind the reading of bytes: whether they may not have been those of the file.
  bool IsLost() const noexcept {
    std::atomic_thread_fence(std::memory_order_acquire);
    return isLost_->load(std::memory_order_relaxed);
  }

 private:
  static constexpr std::uintptr_t kPage = 4096;  // or a multiple of it

  // A file that has been shortened reads as zeros from its end on to the end of the page. A zero byte is the file's
  // when the next one, in the same page, is not zero.
  bool IsBehindNonZero(std::int64_t next) const noexcept {
    const volatile unsigned char* const at = bytes_ + next;
    return next < length_ && reinterpret_cast<std::uintptr_t>(at) % kPage != 0 && *at != 0;
  }

  const unsigned char* bytes_ = nullptr;
  std::int64_t length_ = 0;
  const std::atomic<bool>* isLost_ = nullptr;
};

class MappedBytes {
 public:
  MappedBytes() noexcept = default;
  ~MappedBytes();
  MappedBytes(const MappedBytes&) = delete;
  MappedBytes& operator=(const MappedBytes&) = delete;

  // Maps the whole file as it is now; false when it is empty, cannot be mapped, or is of a kind whose mapping could not
  // be read safely. The file must stay open while the bytes are mapped. Not to be called twice.
  bool Map(const ReadableFile& file) noexcept;
  std::int64_t Length() const noexcept { return length_; }
  // Copies size bytes from the position; the range must lie within Length(). False, with the buffer's content
  // unspecified, when the file no longer holds all of them, and from the time on that a byte was found missing: what is
  // still there has to be read from the file then.
  bool Copy(std::int64_t position, void* buffer, std::size_t size) const noexcept;
  // The same bytes, as long as this object lives. They fail as Copy does.
  const ResidentBytes& Resident() const noexcept { return resident_; }

 private:
  const ReadableFile* file_ = nullptr;
  const unsigned char* bytes_ = nullptr;
  std::int64_t length_ = 0;
  ResidentBytes resident_;
};

}  // namespace vantor::platform
