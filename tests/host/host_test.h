// What the host's tests share.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "baseclasses/unknown.h"
#include "platform/file_path.h"
#include "support/temporary_folder.h"

namespace vantor::test {

// Every test ends with no object of the framework alive.
class HostTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(CBaseObject::ObjectsActive(), 0); }
};

// A file in a folder of its own, removed at the end.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::vector<unsigned char>& bytes)
      : path_(folder_.Write("bytes.bin", {reinterpret_cast<const char*>(bytes.data()), bytes.size()})) {}
  ~TemporaryFile() {
    std::error_code error;
    std::filesystem::remove(path_, error);
    EXPECT_FALSE(std::filesystem::exists(path_)) << "still held open";
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  std::string Path() const { return platform::FromPath(path_); }
  void Truncate(std::uintmax_t size) const { std::filesystem::resize_file(path_, size); }

 private:
  const TemporaryFolder folder_;
  const std::filesystem::path path_;
};

// Bytes none of which is zero, different at every position of a wide range.
inline std::vector<unsigned char> PatternBytes(std::size_t size) {
  std::vector<unsigned char> bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<unsigned char>(1 + (i * 2654435761u >> 7) % 255);
  }
  return bytes;
}

}  // namespace vantor::test
