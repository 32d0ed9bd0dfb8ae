// What the complete component makes of the losses that a file has with the other one.
//
//   AskComplete({session.Bytes(), session.FullFileName(), false}, LossesOf(tracks, facts, nullptr), findings);
//   if (findings.front().complete == CompleteSays::kDelivers) ...
//
// It is loaded from beside the tool, if it is there, and shows its pins and where it ends. What becomes of the blocks
// is then told as for the other: from their headers, or by playing.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "host/byte_store.h"
#include "platform/com.h"
#include "tools/check/findings.h"
#include "tools/file_facts.h"
#include "tools/played_file.h"
#include "tools/track_pins.h"

namespace vantor::tools {

struct NumberLosses {
  std::uint64_t packets = 0;
  std::uint64_t lost = 0;
  std::uint64_t unreadable = 0;  // of these, in laces or frames that no component reads
};

// Of each track number that has an entry.
struct FileLosses {
  bool isKnown = true;  // false: nobody can say what is lost
  std::map<std::uint64_t, NumberLosses> numbers;
};

// What was played, or null.
FileLosses LossesOf(const TrackPins& tracks, const FileFacts& facts, const PlayedPackets* played);

struct AskedFile {
  const std::shared_ptr<ByteStore>& bytes;
  WideString name;  // its whole path
  bool isDeep;
};

// Sets in each error what the complete component delivers of what is lost; nothing where it cannot be told.
void AskComplete(const AskedFile& file, const FileLosses& losses, Findings& findings);
// The same of a file that was refused.
void AskCompleteOfRefused(const AskedFile& file, Findings& findings);

}  // namespace vantor::tools
