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
  // unspecified, when the file no longer holds all of them.
  bool Copy(std::int64_t position, void* buffer, std::size_t size) const noexcept;

 private:
  const ReadableFile* file_ = nullptr;
  const unsigned char* bytes_ = nullptr;
  std::int64_t length_ = 0;
};

}  // namespace vantor::platform
