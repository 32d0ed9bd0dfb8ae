// NewFile: a file that gets its name only when it is whole. Until then it is a temporary file in the same folder, and
// nobody sees a half of it: what is not placed goes with its object, also when the program is ended by force, as far as
// the system can do that.
//
//   NewFile file;
//   if (file.Open("/films/movie.h264") && file.WriteAt(0, bytes, size) && file.Complete() && file.Place(false)) ...
//
// A device or a pipe of that name is written to as it is, and so is standard output: what is written there stays, and
// only the end can be written to. Of several files that belong together all are completed before the first is placed,
// since a full disk may be told by no earlier call; of those that are complete few stay open, so that there may be any
// number. Names are UTF-8 on Windows, the system's own bytes elsewhere. Not for several threads at once. After a
// failure LastSystemError tells why.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vantor::platform {

class NewFile {
 public:
  enum class NameKind {
    kFile,            // one that is there, or none
    kStandardOutput,  // the program's (/dev/stdout)
    kStream,          // a device, a pipe, or another stream that the program has open
  };

  NewFile() noexcept = default;
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // What the last two kinds name is there, has no end, and is not replaced by a file.
  static NameKind KindOfName(const std::string& path);
  // Whether the stream is one that the program has open, and leads to that file. Opens neither.
  static bool IsOpenStreamOf(const std::string& file, const std::string& stream);

  // One of the two, once.
  bool Open(const std::string& path);
  bool OpenStandardOutput();
  // Whether bytes go straight to their reader, one after the other.
  bool IsStream() const noexcept { return isStream_; }

  // All of the bytes or false. Where it is a stream, the position has to be its end.
  bool WriteAt(std::int64_t position, const void* bytes, std::size_t size) noexcept;
  // Behind the last byte: false when the system has not taken them all after all.
  bool Complete();
  // Gives a completed file its name. False when something has that name already and is not to be replaced.
  bool Place(bool replace);
  // Takes the placed file away again, unless it has replaced another. What a stream has got stays.
  void TakeBack() noexcept;

 private:
  bool Close() noexcept;
  bool GiveTemporaryName();

  std::string path_;
  std::string temporary_;  // empty where there is no name to take away
  std::intptr_t handle_ = -1;
  bool isStream_ = false;
  bool isKeptOpen_ = false;  // where files may be nameless
  bool isMarked_ = false;    // as deleted, where they may not
  bool isNew_ = false;       // placed where nothing was
};

}  // namespace vantor::platform
