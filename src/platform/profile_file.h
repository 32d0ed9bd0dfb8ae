// Profile (INI) files.
//
//   const platform::ProfileFile file(OLESTR("/media/movie.conf"));
//   const WideString value = file.Value(OLESTR("Stream.Main"), OLESTR("CodecData"), 1024);
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/com.h"

namespace vantor::platform {

class ProfileFile {
 public:
  // A larger file counts as missing: no profile comes near, and each value is looked for from its beginning. Bytes.
  static constexpr std::uintmax_t kLargestFile = std::uintmax_t{1} << 20;

  // A relative path counts from the current folder. Where the system has no reader of its own, the file is read here.
  explicit ProfileFile(const WideString& path);

  // The value of the key in the section, names compared without regard to case, white space and one pair of quotes
  // around the value taken off, cut to `capacity` - 1 characters (a terminator counts). Empty when the file, the
  // section or the key is missing.
  WideString Value(const WideString& section, const WideString& key, std::size_t capacity) const;

 private:
  WideString content_;  // the file's text, or its path where the system reads it
};

}  // namespace vantor::platform
