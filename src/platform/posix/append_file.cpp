#include "platform/append_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/text.h"

namespace vantor::platform {

std::unique_ptr<AppendFile> AppendFile::Open(const WideString& path, AppendError& error) {
  // In a folder that anybody may write to, a link could lead anywhere.
  const int descriptor = open(WideToUtf8(path).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
  if (descriptor < 0) {
    const bool denied = errno == EACCES || errno == EPERM || errno == EISDIR;
    error = denied ? AppendError::kDenied : AppendError::kOther;
    return nullptr;
  }
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    error = errno == EWOULDBLOCK ? AppendError::kBusy : AppendError::kOther;
    close(descriptor);
    return nullptr;
  }
  error = AppendError::kNone;
  return std::unique_ptr<AppendFile>(new AppendFile(descriptor));
}

AppendFile::~AppendFile() { close(static_cast<int>(handle_)); }

std::int64_t AppendFile::Size() const {
  struct stat status = {};
  return fstat(static_cast<int>(handle_), &status) == 0 ? status.st_size : -1;
}

bool AppendFile::Append(const void* bytes, std::size_t count) {
  const int descriptor = static_cast<int>(handle_);
  if (lseek(descriptor, 0, SEEK_END) < 0) return false;
  const auto* next = static_cast<const char*>(bytes);
  while (count > 0) {
    const ssize_t written = write(descriptor, next, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    next += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

}  // namespace vantor::platform
