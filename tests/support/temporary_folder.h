// A folder for files of one test, named after it, the process and its number there, so that no two meet whoever runs
// the tests. Removed with all that is in it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/process.h"

namespace vantor::test {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    static int made = 0;
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = "vantor_" + std::to_string(platform::CurrentProcessId()) + "_" + std::to_string(++made) + "_" +
                       test->test_suite_name() + "_" + test->name();
    std::replace(name.begin(), name.end(), '/', '_');
    path_ = std::filesystem::temp_directory_path() / name;
    std::filesystem::remove_all(path_);
    std::filesystem::create_directory(path_);
  }
  ~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
    EXPECT_FALSE(error) << "still held open: " << error.message();
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }

  // Writes the file anew and gives its path.
  std::filesystem::path Write(const std::filesystem::path& name, std::string_view bytes) const {
    std::ofstream(path_ / name, std::ios::binary | std::ios::trunc)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return path_ / name;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace vantor::test
