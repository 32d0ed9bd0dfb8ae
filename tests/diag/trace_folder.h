// A temporary folder for the trace files of one test.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "diag/trace.h"
#include "platform/file_path.h"
#include "platform/text.h"
#include "support/temporary_folder.h"

namespace vantor::test {

class TraceFolder {
 public:
  // The path of a file in it; the name is UTF-8.
  WideString Path(const std::string& name) const { return Utf8ToWide(NarrowPath(name)); }
  std::string NarrowPath(const std::string& name) const { return platform::FromPath(folder_ / platform::ToPath(name)); }

  bool IsEmpty() const { return std::filesystem::is_empty(folder_.Path()); }

  static std::string Content(const WideString& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  TemporaryFolder folder_;
};

// Has the process trace to that file. A path that its storage does not hold fails the test.
inline void TraceTo(const WideString& path) {
  ASSERT_LT(path.size(), kTracePathRoom) << "Set TMPDIR to a shorter path; " << WideToUtf8(path) << " is too long.";
  std::copy_n(path.c_str(), path.size() + 1, TracePath());
}

}  // namespace vantor::test
