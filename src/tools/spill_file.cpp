#include "tools/spill_file.h"

#include <fmt/format.h>

#include "platform/system_error.h"

namespace vantor::tools {

std::int64_t SpillFile::Append(const void* bytes, std::size_t size) noexcept {
  const LockScope hold(lock_);
  isOpen_ = isOpen_ || file_.Open();
  if (!isOpen_ || !file_.WriteAt(end_, bytes, size)) {
    Fail(Failure::kWriting);
    return -1;
  }
  const std::int64_t place = end_;
  end_ += static_cast<std::int64_t>(size);
  return place;
}

bool SpillFile::Read(std::int64_t place, void* buffer, std::size_t size) noexcept {
  const LockScope hold(lock_);
  if (isOpen_ && file_.ReadAt(place, buffer, size)) {
    return true;
  }
  Fail(Failure::kReading);
  return false;
}

void SpillFile::Fail(Failure failure) noexcept {
  if (failure_ == Failure::kNone) {
    failure_ = failure;
    systemError_ = platform::LastSystemError();
  }
}

std::string SpillFile::Trouble() const {
  const LockScope hold(lock_);
  if (failure_ == Failure::kNone) {
    return {};
  }
  return fmt::format("cannot {}: {}",
                     failure_ == Failure::kWriting ? "write a temporary file" : "read a temporary file back",
                     platform::SystemErrorText(systemError_));
}

}  // namespace vantor::tools
