// Findings: what is worth telling about a file. A table gives each kind its identifier, which never changes, its
// severity, its sentence and its advice; docs/findings.md explains them.
//
//   Findings findings;
//   findings.push_back(MakeFinding(FindingKind::kIndexMissing, {}, {}));
//   findings.push_back(MakeFinding(FindingKind::kCodec, {}, 2, "V_AV1"));
//   return Worst(findings) == Severity::kError;
#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vantor::tools {

enum class Severity {
  kNote,     // worth knowing
  kWarning,  // everything is delivered, but not as a player would want it
  kError,    // something that is in the file is not delivered, or the file is refused
};
const char* SeverityName(Severity severity);

// What the complete component delivers of what an error says is lost.
enum class CompleteSays { kDelivers, kDeliversSome, kDoesNot };
const char* CompleteName(CompleteSays says);  // "delivered", "in part", "not delivered"

enum class FindingKind {
  kUnreadable,
  // The file is refused.
  kEmpty,
  kNotMatroska,
  kHeaderDamaged,
  kDocumentType,
  kVersionTooNew,
  kNoSegment,
  kNoCluster,
  kClusterEntryWrong,
  kPrivateDataBroken,
  kRefused,
  kRefusedByOther,
  // A track without a pin, or whose packets come out as something else.
  kCodec,
  kCodecIdZeroes,
  kTrackKind,
  kPrivateMissing,
  kPrivateUnusable,
  kPrivateEncoded,
  kPrivateEncrypted,
  kFramesCompressed,
  kFramesEncrypted,
  kTracksUnread,
  kTrackOverLimit,
  kPinsDiffer,
  // Packets that do not come out.
  kNoKeyFrame,
  kKeyFrameLate,
  kEndEarly,
  kClusterEndless,
  kClustersSkipped,
  kSecondSegment,
  kBlockUnread,
  kFrameTooLarge,
  kPacketsLost,
  kFramesLost,
  kFilterError,
  // The index.
  kIndexMissing,
  kIndexUnreachable,
  kIndexWrong,
  kIndexRange,
  kSeekEntryWrong,
  // Times.
  kEndBeforeLastBlock,
  kDurationDiffers,
  kDurationMissing,
  kDurationUnusable,
  kStartNotZero,
  kHeadersHeldBack,
  kNoFrameTime,
  kClusterWithoutTime,
  // The file's structure.
  kCutShort,
  kDamage,
  kBlockDamaged,
  kHeaderValue,
  kLimit,
  kNotChecked,
  kEmptySegment,
  kNumberTwice,
  kBlocksWithoutTrack,
  kTrackEmpty,
  kTrackDisabled,
  kLinked,
  kOrderedChapters,
  kFontIgnored,
  kAttachmentsUnreachable,
  kTextInvalid,
};
inline constexpr std::size_t kFindingKinds = static_cast<std::size_t>(FindingKind::kTextInvalid) + 1;

struct FindingRow {
  FindingKind kind;
  const char* id;
  Severity severity;
  const char* sentence;  // with {} for what differs
  const char* advice;
  // Packets do not come out, or as something else, of a track that is played: what whoever extracts it has to know.
  bool isOfPackets = false;
};
const FindingRow& RowOf(FindingKind kind);

struct Finding {
  FindingKind kind;
  Severity severity;
  std::optional<std::uint64_t> position;  // bytes from the file's beginning
  std::optional<std::uint64_t> track;     // its number in the file
  std::string text;
  std::optional<CompleteSays> complete = {};  // nothing: nothing is lost, or it cannot be told

  const char* Id() const { return RowOf(kind).id; }
  const char* Advice() const { return RowOf(kind).advice; }
};
using Findings = std::vector<Finding>;

// The values fill the sentence.
template <typename... Values>
Finding MakeFinding(FindingKind kind, std::optional<std::uint64_t> position, std::optional<std::uint64_t> track,
                    const Values&... values) {
  const FindingRow& row = RowOf(kind);
  return {kind, row.severity, position, track, fmt::format(fmt::runtime(row.sentence), values...)};
}

// A number with the word that fits it: CountText(1, "block is", "blocks are") is "1 block is". Where more may have come
// than were counted, it is said that there are at least so many.
std::string CountText(std::uint64_t count, const char* one, const char* many, bool isAll = true);

// Findings of one kind, of which a file can have any number. Those with the same text are one, and so are all behind
// the first few of them: how many more there are is said behind the text.
class Repeats {
 public:
  void Add(Finding finding);
  void AppendTo(Findings& findings) const;

 private:
  struct Counted {
    Finding finding;
    std::uint64_t more;
  };
  std::vector<Counted> counted_;
};

// Nothing for no findings.
std::optional<Severity> Worst(const Findings& findings);
std::size_t Count(const Findings& findings, Severity severity);
// The gravest first; otherwise the order stays.
void SortFindings(Findings& findings);

}  // namespace vantor::tools
