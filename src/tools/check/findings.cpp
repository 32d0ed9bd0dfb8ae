#include "tools/check/findings.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vantor::tools {
namespace {

constexpr const char* kRemux = "write the file anew with a Matroska muxer (mkvmerge, or ffmpeg -c copy)";
constexpr const char* kConvert = "convert the track to a codec that has a pin, or take another filter for it";
constexpr const char* kUncompressed =
    "write the file anew without compression (mkvmerge --compression -1:none, or ffmpeg -c copy)";
constexpr const char* kFindKeyFrames =
    "write the file anew with ffmpeg -c copy, which finds the key frames; mkvmerge keeps the flags as they are";
constexpr const char* kFetchAgain = "fetch or copy the file again; writing it anew keeps what is left";
constexpr const char* kSaveSome =
    "fetch or copy the file again; where that cannot be, ffmpeg -c copy may save some of it";
constexpr const char* kNothing = "nothing needs to be done";

using enum FindingKind;
constexpr auto kError = Severity::kError;
constexpr auto kWarning = Severity::kWarning;
constexpr auto kNote = Severity::kNote;
constexpr bool kOfPackets = true;

// In the order of the kinds.
constexpr std::array<FindingRow, kFindingKinds> kRows = {{
    {kUnreadable, "unreadable", kError, "the file is not checked: {}",
     "see to what keeps it from being read, and check it again"},

    {kEmpty, "file-empty", kError, "the file is refused: {}", "fetch or copy the file again"},
    {kNotMatroska, "not-matroska", kError, "the file is refused: {}",
     "make sure that this is the file you mean; of other kinds of media mkvmerge or ffmpeg -c copy makes Matroska"},
    {kHeaderDamaged, "header-damaged", kError, "the file is refused: {}", kSaveSome},
    {kDocumentType, "document-type", kError, "the file is refused: {}",
     "make sure that this is the file you mean; if it is, write it anew with a Matroska muxer"},
    {kVersionTooNew, "version-too-new", kError, "the file is refused: {}", kRemux},
    {kNoSegment, "no-segment", kError, "the file is refused: {}", kSaveSome},
    {kNoCluster, "no-cluster", kError, "the file is refused: {}",
     "there is nothing in the file to play: fetch or record it again"},
    {kClusterEntryWrong, "cluster-entry-wrong", kError, "the file is refused: {}", kRemux},
    {kPrivateDataBroken, "private-data-broken", kError, "the file is refused: {}",
     "make the file anew from its source, or write it anew without that track"},
    {kRefused, "refused", kError, "the file is refused: {}", kRemux},
    {kRefusedByOther, "component-refuses", kError, "the file is refused: {}, and the file tells no reason",
     "take the component that lies beside the tool, without --component"},

    {kCodec, "codec-unsupported", kError, "no pin: its codec {} is not supported for a track of {}{}", kConvert},
    {kCodecIdZeroes, "codec-id-zeroes", kError,
     "no pin: its codec identifier {} ends in zero bytes and is therefore not known for a track of {}{}", kRemux},
    {kTrackKind, "track-kind", kError, "no pin: a track of type {} is neither video, audio nor subtitles{}",
     "no pin is made for such tracks; take another program for what is in it"},
    {kPrivateMissing, "private-data-missing", kError,
     "no pin: its codec {} for {} needs private data, and there is none{}",
     "for MPEG-1 and MPEG-2 write the file anew, a muxer finds the data; for others make it anew from its source"},
    {kPrivateUnusable, "private-data-unusable", kError,
     "no pin: the private data of its codec {} for {} cannot be used{}",
     "make the file anew from its source: writing it anew keeps the data as it is"},
    {kPrivateEncoded, "private-data-encoded", kError, "no pin: the private data of its codec {} for {} is compressed{}",
     kUncompressed},
    {kPrivateEncrypted, "private-data-encrypted", kError,
     "no pin: the private data of its codec {} for {} is encrypted{}",
     "the file has to be decrypted by whoever has the key"},
    {kFramesCompressed, "frames-compressed", kError,
     "its packets are compressed in a way that is not undone; they come out as they are{}", kUncompressed, kOfPackets},
    {kFramesEncrypted, "frames-encrypted", kError, "its packets are encrypted and come out as they are{}",
     "the file has to be decrypted by whoever has the key", kOfPackets},
    {kTracksUnread, "tracks-unread", kError, "no pin: its entry stands where the filter does not look for it{}",
     kRemux},
    {kTrackOverLimit, "track-over-limit", kError, "no pin: there are more tracks in front of it than are read{}",
     "write the file anew with fewer tracks (mkvmerge --audio-tracks, --subtitle-tracks)"},
    {kPinsDiffer, "pins-differ", kWarning,
     "the component's pins are not those that the file's tracks give: {}, and not the same types",
     "tool and component may be of different versions; take both from one package"},

    {kNoKeyFrame, "no-key-frame", kError, "no block has a key flag, so that nothing is delivered{}", kFindKeyFrames,
     kOfPackets},
    {kKeyFrameLate, "key-frame-late", kError, "nothing is delivered before the first key frame at {}{}", kFindKeyFrames,
     kOfPackets},
    {kEndEarly, "end-early", kError, "playing ends at {}, before the track does{}", kRemux, kOfPackets},
    {kClusterEndless, "cluster-endless", kError,
     "an element does not say where it ends, and hides the Clusters behind it{}", kRemux, kOfPackets},
    {kClustersSkipped, "clusters-skipped", kError, "the seek index sends playing to a later Cluster{}", kRemux,
     kOfPackets},
    {kSecondSegment, "second-segment", kError, "the first Segment alone is played{}",
     "split the file in front of its second EBML header, and join the parts with a muxer (mkvmerge PART + PART)",
     kOfPackets},
    {kBlockUnread, "block-unread", kError, "blocks are laced or grouped in a way that is not read{}", kRemux,
     kOfPackets},
    {kFrameTooLarge, "frame-too-large", kError, "frames of more than 256 MiB are passed over{}",
     "encode the track anew", kOfPackets},
    {kPacketsLost, "packets-lost", kError, "played, it lacks packets that are in the file{}", kRemux},
    {kFramesLost, "frames-lost", kError, "played, the filter announces {}",
     "make sure that memory suffices; encode very large frames anew"},
    {kFilterError, "filter-error", kError, "played, the filter announces the error {}", kRemux},

    {kIndexMissing, "index-missing", kWarning, "there is no index: opening walks through the whole file", kRemux},
    {kIndexUnreachable, "index-unreachable", kWarning,
     "the index is not found by the seek index: opening walks through the whole file", kRemux},
    {kIndexWrong, "index-wrong", kWarning, "{} of {} lead{} where there is nothing of that time", kRemux},
    {kIndexRange, "index-range", kWarning, "the index ends at {}, {} at {}", kRemux},
    {kSeekEntryWrong, "seek-entry-wrong", kWarning, "a seek entry for {} leads to something else", kRemux},

    {kEndBeforeLastBlock, "end-before-last-block", kWarning,
     "the announced end {} lies before the last block's at {}; all is delivered nevertheless", kRemux, kOfPackets},
    {kDurationDiffers, "duration-differs", kWarning,
     "the file says that it lasts {}; its blocks last {}, and {} is "
     "announced",
     kRemux},
    {kDurationMissing, "duration-missing", kWarning, "the file does not say how long it lasts", kRemux},
    {kDurationUnusable, "duration-unusable", kWarning, "the duration in the file is {}", kRemux},
    {kStartNotZero, "start-not-zero", kNote, "the first Cluster is at {}, which counts as the beginning", kNothing},
    {kHeadersHeldBack, "headers-held-back", kWarning,
     "since the file does not begin at 0, the codec's headers are not delivered before its packets",
     "write the file anew with ffmpeg -c copy, which begins it at 0; mkvmerge keeps the times"},
    {kNoFrameTime, "no-frame-time", kWarning, "the file does not say how long a frame lasts",
     "write the file anew with ffmpeg -c copy, or tell mkvmerge the rate (--default-duration TRACK:25fps)"},
    {kClusterWithoutTime, "cluster-without-time", kWarning, "{} no time that can be read", kRemux},

    {kCutShort, "cut-short", kWarning, "the file is cut short: {}", kFetchAgain},
    {kDamage, "damage", kWarning, "{} damaged; {} passed over", kFetchAgain},
    {kBlockDamaged, "block-damaged", kWarning, "{} damaged and passed over", kFetchAgain},
    {kHeaderValue, "header-value", kWarning, "{} of the headers cannot be read or {} not fit", kRemux},
    {kLimit, "limit", kWarning, "there are more records than are kept: {}",
     "write the file anew with mkvmerge; of tracks, chapters and attachments leave out some"},
    {kNotChecked, "not-checked", kWarning,
     "from some place on it cannot be told what the filter does with the file; check it with --deep", kRemux},
    {kEmptySegment, "no-frames", kWarning, "there is no Cluster in the file, and nothing to deliver",
     "fetch or record the file again"},
    {kNumberTwice, "track-number-twice", kWarning, "several tracks have this number and the same blocks", kRemux},
    {kBlocksWithoutTrack, "blocks-without-track", kWarning, "{} of a track that the file does not describe", kRemux},
    {kTrackEmpty, "track-empty", kNote, "there is no packet of it in the file", kNothing},
    {kTrackDisabled, "track-disabled", kNote, "the file says that it is not to be used; it has a pin all the same",
     kNothing},
    {kLinked, "linked-segments", kNote, "the file is one part of a chain, which is not followed",
     "open the other parts by themselves, or join them with a muxer (mkvmerge FILE + FILE)"},
    {kOrderedChapters, "ordered-chapters", kWarning, "chapters are to be played in another order, which is not done",
     "write the file anew in the order wanted (mkvmerge --split parts:)"},
    {kFontIgnored, "font-ignored", kWarning, "the font {} is of type {} and is not installed",
     "give it the type that is: mkvpropedit FILE --attachment-mime-type application/x-truetype-font "
     "--update-attachment N"},
    {kAttachmentsUnreachable, "attachments-unreachable", kWarning,
     "the attachments are not found by the seek index: fonts in them are not installed", kRemux},
    {kTextInvalid, "text-invalid", kNote, "{} not UTF-8", kNothing},
}};

}  // namespace

const char* SeverityName(Severity severity) {
  switch (severity) {
    case Severity::kError:
      return "error";
    case Severity::kWarning:
      return "warning";
    case Severity::kNote:
      break;
  }
  return "note";
}

const char* CompleteName(CompleteSays says) {
  switch (says) {
    case CompleteSays::kDelivers:
      return "delivered";
    case CompleteSays::kDeliversSome:
      return "in part";
    case CompleteSays::kDoesNot:
      break;
  }
  return "not delivered";
}

const FindingRow& RowOf(FindingKind kind) { return kRows[static_cast<std::size_t>(kind)]; }

std::string CountText(std::uint64_t count, const char* one, const char* many, bool isAll) {
  return fmt::format("{}{} {}", isAll ? "" : "at least ", count, count == 1 ? one : many);
}

void Repeats::Add(Finding finding) {
  constexpr std::size_t kMost = 8;
  const auto same = std::find_if(counted_.begin(), counted_.end(), [&](const Counted& counted) {
    return counted.finding.text == finding.text && counted.finding.track == finding.track;
  });
  if (same != counted_.end()) {
    ++same->more;
  } else if (counted_.size() == kMost) {
    ++counted_.back().more;
  } else {
    counted_.push_back({std::move(finding), 0});
  }
}

void Repeats::AppendTo(Findings& findings) const {
  for (const Counted& counted : counted_) {
    findings.push_back(counted.finding);
    if (counted.more > 0) findings.back().text += fmt::format("; and {} more", counted.more);
  }
}

std::optional<Severity> Worst(const Findings& findings) {
  std::optional<Severity> worst;
  for (const Finding& finding : findings) worst = std::max(worst.value_or(Severity::kNote), finding.severity);
  return worst;
}

std::size_t Count(const Findings& findings, Severity severity) {
  return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(),
                                                [&](const Finding& finding) { return finding.severity == severity; }));
}

void SortFindings(Findings& findings) {
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& left, const Finding& right) { return left.severity > right.severity; });
}

}  // namespace vantor::tools
