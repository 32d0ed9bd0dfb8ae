// SpillFile: a temporary file that many logs share for what they do not keep in memory. It is made when the first of
// them needs it.
//
//   std::int64_t place = spill.Append(bytes, size);   // below 0 when it cannot be written
//   spill.Read(place, bytes, size);
//
// All members may be called from several threads at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/lock.h"
#include "platform/temporary_file.h"

namespace vantor::tools {

class SpillFile {
 public:
  // Where the bytes lie, or -1.
  std::int64_t Append(const void* bytes, std::size_t size) noexcept VANTOR_EXCLUDES(lock_);
  bool Read(std::int64_t place, void* buffer, std::size_t size) noexcept VANTOR_EXCLUDES(lock_);
  // What failed first, in words; empty when nothing did.
  std::string Trouble() const VANTOR_EXCLUDES(lock_);

 private:
  enum class Failure { kNone, kWriting, kReading };

  void Fail(Failure failure) noexcept VANTOR_REQUIRES(lock_);

  mutable Lock lock_{LockRank::Host};
  platform::TemporaryFile file_ VANTOR_GUARDED_BY(lock_);
  bool isOpen_ VANTOR_GUARDED_BY(lock_) = false;
  std::int64_t end_ VANTOR_GUARDED_BY(lock_) = 0;
  Failure failure_ VANTOR_GUARDED_BY(lock_) = Failure::kNone;
  int systemError_ VANTOR_GUARDED_BY(lock_) = 0;
};

}  // namespace vantor::tools
