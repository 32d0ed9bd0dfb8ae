// A folder for the trace files of one test, named after it and removed with all that is in it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "diag/trace.h"
#include "platform/file_path.h"
#include "platform/process.h"
#include "platform/text.h"

namespace vantor::test {

class TraceFolder {
 public:
  TraceFolder() {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    path_ = std::filesystem::temp_directory_path() /
            ("vantor_trace_" + std::to_string(platform::CurrentProcessId()) + "_" + test->name());
    std::filesystem::remove_all(path_);
    std::filesystem::create_directory(path_);
  }
  ~TraceFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
    EXPECT_FALSE(error) << error.message();
  }
  TraceFolder(const TraceFolder&) = delete;
  TraceFolder& operator=(const TraceFolder&) = delete;

  // The path of a file in it; the name is UTF-8.
  WideString Path(const std::string& name) const { return Utf8ToWide(NarrowPath(name)); }
  std::string NarrowPath(const std::string& name) const { return platform::FromPath(path_ / platform::ToPath(name)); }

  bool IsEmpty() const { return std::filesystem::is_empty(path_); }

  static std::string Content(const WideString& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  std::filesystem::path path_;
};

// Has the process trace to that file. A path that its storage does not hold fails the test.
inline void TraceTo(const WideString& path) {
  ASSERT_LT(path.size(), kTracePathRoom) << "Set TMPDIR to a shorter path; " << WideToUtf8(path) << " is too long.";
  std::copy_n(path.c_str(), path.size() + 1, TracePath());
}

}  // namespace vantor::test
