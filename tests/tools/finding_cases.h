// A file for each finding of `check`, and how to make others like it.
//
//   for (const FindingCase& one : FindingCases()) EXPECT_TRUE(Check(one.file()).Has(one.id));
#pragma once

#include <functional>
#include <vector>

#include "tools/checked_file.h"

namespace vantor::tools::checking {

inline constexpr const char* kNoteOnly = "note";
inline constexpr const char* kWarningOnly = "warning";
inline constexpr const char* kErrorOnly = "error";

struct FindingCase {
  const char* id;
  const char* severity;
  std::function<test::Raw()> file;
  bool isRefused = false;
};
// For each finding that a small file can have with the real component.
std::vector<FindingCase> FindingCases();

// The healthy file, changed; and with this track for its own.
test::Raw With(const std::function<void(Plan&)>& change);
test::Raw WithTrack(const test::Raw& track);

// What is done to a track, in its entry.
test::Raw ZlibOf(std::uint64_t scope);
test::Raw EncryptionOf(std::uint64_t scope);

// The seek index leads to a Cluster that lies within a Void, and claims so many bytes behind it.
test::Raw HiddenCluster(std::size_t more);

}  // namespace vantor::tools::checking
