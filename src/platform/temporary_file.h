// TemporaryFile: bytes that need not stay in memory, in a nameless file that goes with its object, also when the
// program is ended by force.
//
//   TemporaryFile file;
//   if (file.Open() && file.WriteAt(0, buffer, size) && file.ReadAt(0, buffer, size)) ...
//
// It lies in the system's folder for temporary files (TMPDIR, on Windows TEMP). Reads and writes may come from several
// threads at once. After a failure LastSystemError tells why.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vantor::platform {

class TemporaryFile {
 public:
  TemporaryFile() noexcept = default;
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  // Makes the file; not to be called again when it succeeded.
  bool Open() noexcept;
  // All of the bytes or false.
  bool WriteAt(std::int64_t position, const void* bytes, std::size_t size) noexcept;
  bool ReadAt(std::int64_t position, void* buffer, std::size_t size) const noexcept;

 private:
  std::intptr_t handle_ = -1;
};

}  // namespace vantor::platform
