// MemoryOutput: what a writer would write into a file, in memory.
//
//   MemoryOutput out;
//   form->make(out, nullptr)->Finish();
//   EXPECT_EQ(out.Text(), "...");
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/forms/track_writer.h"

namespace vantor::tools {

class MemoryOutput final : public OutputBytes {
 public:
  // Only the first bytes are kept; the size is counted on.
  explicit MemoryOutput(std::size_t kept = SIZE_MAX) : kept_(kept) {}

  void Append(std::span<const std::uint8_t> appended) override {
    size_ += appended.size();
    const std::size_t room = kept_ - std::min(kept_, bytes.size());
    bytes.insert(bytes.end(), appended.begin(),
                 appended.begin() + static_cast<std::ptrdiff_t>(std::min(room, appended.size())));
  }
  void Replace(std::uint64_t offset, std::span<const std::uint8_t> replaced) override {
    ASSERT_LE(offset + replaced.size(), bytes.size()) << "of what has been appended before, and is kept";
    std::copy(replaced.begin(), replaced.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
  }
  std::uint64_t Size() const override { return size_; }

  std::string Text() const { return {bytes.begin(), bytes.end()}; }

  std::vector<std::uint8_t> bytes;

 private:
  const std::size_t kept_;
  std::uint64_t size_ = 0;
};

}  // namespace vantor::tools
