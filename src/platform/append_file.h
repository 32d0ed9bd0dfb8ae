// A text file that several processes append to: opened for one write, then closed, and nobody else writes meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/com.h"

namespace vantor::platform {

enum class AppendError {
  kNone,
  kDenied,  // no right to, or the path names a directory
  kBusy,    // somebody else has it open
  kOther,
};

class AppendFile {
 public:
  // Opens the file, or makes it. Others may read it, not write it, until it is closed. Null on failure.
  static std::unique_ptr<AppendFile> Open(const WideString& path, AppendError& error);
  ~AppendFile();
  AppendFile(const AppendFile&) = delete;
  AppendFile& operator=(const AppendFile&) = delete;

  // In bytes; -1 when the system does not tell.
  std::int64_t Size() const;
  // Writes the bytes at the end. False when not all of them could be written.
  bool Append(const void* bytes, std::size_t count);

 private:
  explicit AppendFile(std::intptr_t handle) : handle_(handle) {}

  std::intptr_t handle_;
};

}  // namespace vantor::platform
