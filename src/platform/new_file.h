// NewFile: a file that gets its name only when it is whole. Until then it is a temporary file in the same folder, and
// nobody sees a half of it: what is not placed goes with its object, also when the program is ended by force, as far as
// the system can do that.
//
//   NewFile file;
//   if (file.Open("/films/movie.h264") && file.WriteAt(0, bytes, size) && file.Place(false)) ...
//
// A device or a pipe of that name is written to as it is, and so is standard output: what is written there stays, and
// only the end can be written to. Names are UTF-8 on Windows, the system's own bytes elsewhere. Not for several threads
// at once. After a failure LastSystemError tells why.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vantor::platform {

class NewFile {
 public:
  NewFile() noexcept = default;
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // One of the two, once.
  bool Open(const std::string& path);
  bool OpenStandardOutput();
  // Whether bytes go straight to their reader, one after the other.
  bool IsStream() const noexcept { return isStream_; }

  // All of the bytes or false. Where it is a stream, the position has to be its end.
  bool WriteAt(std::int64_t position, const void* bytes, std::size_t size) noexcept;
  // Gives the file its name. False when something has that name already and is not to be replaced.
  bool Place(bool replace);

 private:
  bool Close() noexcept;

  std::string path_;
  std::string temporary_;  // empty where there is no name to take away
  std::intptr_t handle_ = -1;
  bool isStream_ = false;
};

}  // namespace vantor::platform
