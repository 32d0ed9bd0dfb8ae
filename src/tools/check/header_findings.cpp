#include "tools/check/header_findings.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <string_view>

#include "parser/element_ids.h"
#include "parser/element_table.h"
#include "platform/text.h"
#include "published/media_guids.h"
#include "tools/chapter_order.h"
#include "tools/json_text.h"
#include "tools/media_type_words.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

constexpr std::size_t kLongestName = 80;

FindingKind KindOf(ShapeKind shape) {
  switch (shape) {
    case ShapeKind::kEmpty:
      return FindingKind::kEmpty;
    case ShapeKind::kNotEbml:
      return FindingKind::kNotMatroska;
    case ShapeKind::kDamagedHeader:
      return FindingKind::kHeaderDamaged;
    case ShapeKind::kOtherDocType:
    case ShapeKind::kNoDocType:
      return FindingKind::kDocumentType;
    case ShapeKind::kNewerVersion:
      return FindingKind::kVersionTooNew;
    case ShapeKind::kNoSegment:
      return FindingKind::kNoSegment;
    case ShapeKind::kNoCluster:
      return FindingKind::kNoCluster;
    case ShapeKind::kClusterEntry:
      return FindingKind::kClusterEntryWrong;
    case ShapeKind::kTruncated:
    case ShapeKind::kWhole:
      break;
  }
  return FindingKind::kRefused;
}

std::string ElementName(std::uint32_t id) {
  static constexpr std::array<std::pair<std::uint32_t, const char*>, 8> kNames = {{{ids::kSeekHead, "a SeekHead"},
                                                                                   {ids::kInfo, "the Info"},
                                                                                   {ids::kTracks, "the Tracks"},
                                                                                   {ids::kCues, "the index"},
                                                                                   {ids::kChapters, "the chapters"},
                                                                                   {ids::kAttachments, "attachments"},
                                                                                   {ids::kTags, "the tags"},
                                                                                   {ids::kCluster, "a Cluster"}}};
  for (const auto& [known, name] : kNames) {
    if (known == id) return name;
  }
  return fmt::format("element {:X}", id);
}

void AppendSeekEntries(CMkvFileRoot& root, Findings& findings) {
  const MkvElement wholeFile = MkvElement::WholeFile(root);
  const MkvElement segment = wholeFile.FirstChild(ids::kSegment);
  Repeats found;
  for (const auto& seekHead : root.segment.seekHeads) {
    for (const MkvSeekEntry& entry : seekHead) {
      if (!entry.SeekID.present) continue;
      const std::uint64_t target = root.segment.SeekTarget(entry);
      const MkvElement element = MkvElement::At(root, &segment, target);
      if (element && element.id.value == entry.SeekID.value) continue;
      found.Add(MakeFinding(FindingKind::kSeekEntryWrong, target, {}, ElementName(entry.SeekID.value)));
    }
  }
  found.AppendTo(findings);
}

bool HasOrderedChapters(CMkvFileRoot& root) {
  const MkvElement wholeFile = MkvElement::WholeFile(root);
  const MkvElement segment = wholeFile.FirstChild(ids::kSegment);
  const MkvElement chapters = segment.FirstChild(ids::kChapters, Search::kIndexOnly);
  return chapters && HasOrderedEdition(chapters);
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(letter < 0x80 ? std::tolower(letter) : letter); });
  return text;
}

bool IsFont(const MkvAttachedFile& file) {
  const std::string type = Lower(file.FileMimeType);
  const std::string name = Lower(WideToUtf8(file.FileName));
  return type.find("font") != std::string::npos || type.find("opentype") != std::string::npos ||
         name.ends_with(".ttf") || name.ends_with(".otf") || name.ends_with(".ttc");
}

void AppendFonts(const MkvSegment& segment, Findings& findings) {
  constexpr std::string_view kInstalled = "application/x-truetype-font";
  Repeats found;
  for (const MkvAttachmentList& list : segment.attachments) {
    for (const MkvAttachedFile& file : list) {
      if (!IsFont(file) || file.FileMimeType == kInstalled) continue;
      found.Add(MakeFinding(FindingKind::kFontIgnored, file.dataPosition, {},
                            WideToUtf8(file.FileName.substr(0, kLongestName)),
                            file.FileMimeType.substr(0, kLongestName)));
    }
  }
  found.AppendTo(findings);
}

struct Counted {
  std::uint64_t count = 0;
  std::uint64_t position = 0;
  void Add(std::uint64_t at) {
    if (count++ == 0) position = at;
  }
};

void AppendHeaderNotes(const ToleranceList& notes, Findings& findings) {
  Counted values;
  Counted texts;
  std::map<Tolerated, std::uint64_t> limits;
  for (const Tolerance& note : notes.Notes()) {
    switch (note.kind) {
      case Tolerated::kUnreadableValue:
      case Tolerated::kIntegerTooLong:
      case Tolerated::kPayloadOutOfBounds:
        values.Add(note.position);
        break;
      case Tolerated::kInvalidText:
        texts.Add(note.position);
        break;
      default:
        if (note.kind >= Tolerated::kTrackOverLimit && note.kind != Tolerated::kSegmentPassedOver) {
          limits.emplace(note.kind, note.position);
        }
        break;
    }
  }
  const bool hasAll = notes.Omitted() == 0;
  if (values.count > 0) {
    findings.push_back(MakeFinding(FindingKind::kHeaderValue, values.position, {},
                                   CountText(values.count, "value", "values", hasAll),
                                   values.count == 1 ? "does" : "do"));
  }
  if (texts.count > 0) {
    findings.push_back(MakeFinding(FindingKind::kTextInvalid, texts.position, {},
                                   CountText(texts.count, "text is", "texts are", hasAll)));
  }
  for (const auto& [kind, position] : limits) {
    findings.push_back(MakeFinding(FindingKind::kLimit, position, {}, ToleratedText(kind)));
  }
}

std::optional<FindingKind> KindOf(const TrackPin& track) {
  switch (track.noPin) {
    case NoPinReason::kTrackType:
      return FindingKind::kTrackKind;
    case NoPinReason::kCodec:
      return track.isIdZeroEnded ? FindingKind::kCodecIdZeroes : FindingKind::kCodec;
    case NoPinReason::kPrivateMissing:
      return FindingKind::kPrivateMissing;
    case NoPinReason::kPrivateUnusable:
      return FindingKind::kPrivateUnusable;
    case NoPinReason::kPrivateEncoded:
      return FindingKind::kPrivateEncoded;
    case NoPinReason::kPrivateEncrypted:
      return FindingKind::kPrivateEncrypted;
    case NoPinReason::kNone:
      break;
  }
  if (track.pin == 0) return std::nullopt;
  switch (track.frames) {
    case FrameState::kCompressed:
      return FindingKind::kFramesCompressed;
    case FrameState::kEncrypted:
      return FindingKind::kFramesEncrypted;
    case FrameState::kPlain:
      break;
  }
  return std::nullopt;
}

}  // namespace

Finding RefusalFinding(const FileShape& refusal, HRESULT result) {
  const std::string why = WhyRefused(refusal);
  std::optional<std::uint64_t> position;
  if (refusal.kind == ShapeKind::kClusterEntry) position = refusal.position;
  return MakeFinding(KindOf(refusal.kind), position, {},
                     why.empty() ? "the connection fails with " + ResultText(result) : why);
}

std::string BrokenTrackText(const TrackPins& tracks) {
  for (const TrackPin& track : tracks.tracks) {
    if (SUCCEEDED(track.failure)) continue;
    return fmt::format("the private data of track {}, codec {}, breaks off", track.entry->TrackNumber.value,
                       CodecText(*track.entry));
  }
  return {};
}

void NameBrokenTrack(const TrackPins& tracks, Finding& refusal) {
  const std::string why = BrokenTrackText(tracks);
  if (refusal.kind != FindingKind::kRefused || why.empty()) return;
  const auto broken = std::find_if(tracks.tracks.begin(), tracks.tracks.end(),
                                   [](const TrackPin& track) { return FAILED(track.failure); });
  refusal = MakeFinding(FindingKind::kPrivateDataBroken, {}, broken->entry->TrackNumber.value, why);
}

void AppendFileFindings(OpenedFile& file, const FileShape& shape, Findings& findings) {
  CMkvFileRoot& root = file.Root();
  const MkvSegmentInfo& info = root.segment.info;
  if (const std::string cut = Warning(shape); !cut.empty()) {
    findings.push_back(MakeFinding(FindingKind::kCutShort, root.length, {},
                                   CountText(shape.missingBytes, "byte is missing", "bytes are missing")));
  }
  AppendSeekEntries(root, findings);
  if (root.startTime != 0) {
    findings.push_back(MakeFinding(FindingKind::kStartNotZero, {}, {}, SaneTimeText(root.startTime)));
  }
  if (!info.Duration.present) findings.push_back(MakeFinding(FindingKind::kDurationMissing, {}, {}));
  if (const std::string trouble = file.DurationTrouble(); !trouble.empty()) {
    findings.push_back(MakeFinding(FindingKind::kDurationUnusable, {}, {}, trouble));
  }
  if (!info.PrevUID.empty() || !info.NextUID.empty()) findings.push_back(MakeFinding(FindingKind::kLinked, {}, {}));
  if (HasOrderedChapters(root)) findings.push_back(MakeFinding(FindingKind::kOrderedChapters, {}, {}));
  AppendFonts(root.segment, findings);
  AppendHeaderNotes(root.tolerated, findings);
}

void AppendTrackFinding(const TrackPin& track, const std::optional<std::string>& lostPackets, Findings& findings) {
  const std::optional<FindingKind> kind = KindOf(track);
  if (!kind) return;
  const std::string lost = lostPackets.value_or("");
  const std::uint64_t number = track.entry->TrackNumber.value;
  if (*kind == FindingKind::kTrackKind) {
    findings.push_back(MakeFinding(*kind, {}, number, track.entry->TrackType.value, lost));
  } else if (*kind == FindingKind::kFramesCompressed || *kind == FindingKind::kFramesEncrypted) {
    findings.push_back(MakeFinding(*kind, {}, number, lost));
  } else {
    const std::string codec = CodecText(*track.entry);
    findings.push_back(MakeFinding(*kind, {}, number, codec.empty() ? "(none)" : codec, TrackKind(*track.entry), lost));
  }
  if (!lostPackets) {
    findings.back().severity = Severity::kWarning;
  } else if (lost.empty()) {
    findings.back().severity = Severity::kNote;
  }
}

void AppendPinFindings(OpenedFile& file, const TrackPins& tracks, const std::vector<GraphPin>& pins,
                       Findings& findings) {
  if (!tracks.isAsExpected) {
    findings.push_back(MakeFinding(FindingKind::kPinsDiffer, {}, {}, CountText(pins.size(), "pin", "pins")));
  }
  std::map<std::uint64_t, int> numbers;
  for (const TrackPin& track : tracks.tracks) {
    const std::uint64_t number = track.entry->TrackNumber.value;
    if (++numbers[number] == 2) findings.push_back(MakeFinding(FindingKind::kNumberTwice, {}, number));
    if (track.pin == 0) continue;
    if (track.entry->FlagEnabled.value == 0) {
      findings.push_back(MakeFinding(FindingKind::kTrackDisabled, {}, number));
    }
    const GraphPin& pin = pins[static_cast<std::size_t>(track.pin - 1)];
    const StreamWords words = DescribeMediaType(pin.types.front());
    if (words.kind == "video" && words.frameDuration == 0) {
      findings.push_back(MakeFinding(FindingKind::kNoFrameTime, {}, number));
    }
    if (file.Root().startTime != 0 && SameGuid(pin.types.front().subtype, kSubtypeVorbis)) {
      findings.push_back(MakeFinding(FindingKind::kHeadersHeldBack, {}, number));
    }
  }
}

}  // namespace vantor::tools
