// OutputFile: a file that is written by and by and appears only when it is whole. Whatever fails leaves nothing behind,
// and no file is overwritten unless that is asked for.
//
//   OutputFile file;
//   if (!file.Open("movie.h264", Overwrite::kNo)) return Fail(file.Trouble());
//   file.Append(payload);                               // as often as one likes; a failure is kept
//   if (!file.Finish()) return Fail(file.Trouble());    // "movie.h264: No space left on device"
//
// Without Finish there will be no such file. Files that belong together appear together, or none of them:
//
//   OutputFile index;
//   OutputFile pictures;
//   ...
//   if (OutputFile* failed = PlaceAll({&index, &pictures})) return Fail(failed->Trouble());
//
// Bytes go out in large pieces; memory does not grow with the file, and a complete one needs next to none; of
// many complete ones few keep a handle.
// "-" is standard output, which like a pipe or a device is written to at once and takes nothing back. Not for several
// threads at once.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/new_file.h"
#include "tools/forms/track_writer.h"

namespace vantor::tools {

enum class Overwrite { kNo, kYes };

class OutputFile final : public OutputBytes {
 public:
  // The user's own name may be that of a device or a pipe; one that was made up may not.
  enum class Name { kGiven, kMade };
  // False, and nothing done, when there is such a file already and it is not to be overwritten, or none can be made.
  bool Open(const std::string& path, Overwrite overwrite, Name name = Name::kGiven);
  // Whether Open would not be refused for what is there now: to be asked before what takes long.
  bool MayOpen(const std::string& path, Overwrite overwrite, Name name = Name::kGiven);

  void Append(std::span<const std::uint8_t> bytes) override;
  // A stream takes nothing back: that is a failure, too.
  void Replace(std::uint64_t offset, std::span<const std::uint8_t> bytes) override;
  std::uint64_t Size() const override { return written_ + buffer_.size(); }

  bool HasFailed() const { return !trouble_.empty(); }
  // Both that is left to do.
  bool Finish() { return Complete() && Place(); }
  // Writes out what is in memory, behind which nothing comes; whether all of it has been written.
  bool Complete();
  // Gives the whole file its name; and takes it away again, unless it was another file's before.
  bool Place();
  void TakeBack() noexcept { file_.TakeBack(); }
  // What failed first, the path before it; empty when nothing did.
  const std::string& Trouble() const { return trouble_; }
  const std::string& Path() const { return path_; }

 private:
  void Flush();
  void Fail(const std::string& reason);
  void FailBySystem();

  platform::NewFile file_;
  std::string path_;
  Overwrite overwrite_ = Overwrite::kNo;
  std::vector<std::uint8_t> buffer_;  // behind what is written
  std::uint64_t written_ = 0;
  bool isComplete_ = false;
  std::string trouble_;
};

// Completes those that are not. Null when all are; otherwise the first that failed.
OutputFile* CompleteAll(const std::vector<OutputFile*>& files);
// Completes all files that are not, and only then places them. Null when all are; otherwise the first that failed, and
// none has appeared but those in whose place there were others before.
OutputFile* PlaceAll(const std::vector<OutputFile*>& files);

// What a path names; "-" is standard output, too.
using NameKind = platform::NewFile::NameKind;
NameKind KindOfName(const std::string& path);
inline bool IsStream(const std::string& path) { return KindOfName(path) != NameKind::kFile; }

// Whether both paths lead to one file that is there: what is read is never written.
bool IsSameFile(const std::string& one, const std::string& other);

}  // namespace vantor::tools
