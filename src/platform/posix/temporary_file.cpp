#include "platform/temporary_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace vantor::platform {
namespace {

// Calls transfer(done) until all bytes have gone, each time with a count as of the system's; false at a failure, or
// when nothing goes any more.
template <typename Transfer>
bool TransferAll(std::size_t size, Transfer&& transfer) noexcept {
  for (std::size_t done = 0; done < size;) {
    const ssize_t count = transfer(done);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      return false;
    }
    done += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace

TemporaryFile::~TemporaryFile() {
  if (handle_ >= 0) {
    close(static_cast<int>(handle_));
  }
}

bool TemporaryFile::Open() noexcept {
  const char* const wanted = std::getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe): nothing here sets it
  char name[4096];
  const int length =
      std::snprintf(name, sizeof name, "%s/vantor-XXXXXX", wanted != nullptr && *wanted != '\0' ? wanted : "/tmp");
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof name) {
    errno = ENAMETOOLONG;
    return false;
  }
  const int file = mkostemp(name, O_CLOEXEC);
  if (file < 0) {
    return false;
  }
  unlink(name);
  handle_ = file;
  return true;
}

bool TemporaryFile::WriteAt(std::int64_t position, const void* bytes, std::size_t size) noexcept {
  return TransferAll(size, [&](std::size_t done) {
    return pwrite(static_cast<int>(handle_), static_cast<const char*>(bytes) + done, size - done,
                  position + static_cast<std::int64_t>(done));
  });
}

bool TemporaryFile::ReadAt(std::int64_t position, void* buffer, std::size_t size) const noexcept {
  return TransferAll(size, [&](std::size_t done) {
    return pread(static_cast<int>(handle_), static_cast<char*>(buffer) + done, size - done,
                 position + static_cast<std::int64_t>(done));
  });
}

}  // namespace vantor::platform
