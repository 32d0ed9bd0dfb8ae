#include "fuzz/known_elements.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>

namespace vantor::fuzz {

namespace {

using enum ElementKind;

constexpr std::uint32_t kTrackEntry = 0xAE;
constexpr std::uint32_t kContentEncoding = 0x6240;
constexpr std::uint32_t kCueTrackPositions = 0xB7;
constexpr std::uint32_t kAttachedFile = 0x61A7;
constexpr std::uint32_t kEditionEntry = 0x45B9;
constexpr std::uint32_t kChapterAtom = 0xB6;

const KnownElement* FindById(std::uint32_t id) {
  static const auto kById = [] {
    std::unordered_map<std::uint32_t, const KnownElement*> byId;
    for (const KnownElement& known : KnownElements()) byId.emplace(known.id, &known);
    return byId;
  }();
  const auto found = kById.find(id);
  return found == kById.end() ? nullptr : found->second;
}

}  // namespace

const std::vector<KnownElement>& KnownElements() {
  static const std::vector<KnownElement> kElements = {
      {0, ids::kEbmlHeader, kMaster},
      {0, ids::kSegment, kMaster},
      {ids::kEbmlHeader, ids::kDocType, kText},
      {ids::kEbmlHeader, 0x42F7, kUnsigned},  // EBMLReadVersion
      {ids::kEbmlHeader, 0x42F2, kUnsigned},  // EBMLMaxIDLength
      {ids::kEbmlHeader, 0x42F3, kUnsigned},  // EBMLMaxSizeLength
      {ids::kEbmlHeader, 0x4285, kUnsigned},  // DocTypeReadVersion
      {ids::kSegment, ids::kSeekHead, kMaster},
      {ids::kSegment, ids::kInfo, kMaster},
      {ids::kSegment, ids::kTracks, kMaster},
      {ids::kSegment, ids::kCues, kMaster},
      {ids::kSegment, ids::kChapters, kMaster},
      {ids::kSegment, ids::kAttachments, kMaster},
      {ids::kSegment, ids::kTags, kMaster},
      {ids::kSegment, ids::kCluster, kMaster},
      {ids::kSegment, 0xEC, kBinary},  // Void
      {ids::kSegment, 0xBF, kBinary},  // CRC-32
      {ids::kSeekHead, 0x4DBB, kMaster},
      {0x4DBB, 0x53AB, kBinary},    // SeekID
      {0x4DBB, 0x53AC, kUnsigned},  // SeekPosition
      {ids::kInfo, 0x73A4, kBinary},
      {ids::kInfo, 0x2AD7B1, kUnsigned},  // TimecodeScale
      {ids::kInfo, 0x4489, kFloat},       // Duration
      {ids::kInfo, 0x4461, kSigned},      // DateUTC
      {ids::kInfo, 0x7BA9, kText},
      {ids::kInfo, 0x4D80, kText},
      {ids::kTracks, kTrackEntry, kMaster},
      {kTrackEntry, 0xD7, kUnsigned},    // TrackNumber
      {kTrackEntry, 0x73C5, kUnsigned},  // TrackUID
      {kTrackEntry, 0x83, kUnsigned},    // TrackType
      {kTrackEntry, 0xB9, kUnsigned},
      {kTrackEntry, 0x88, kUnsigned},
      {kTrackEntry, 0x9C, kUnsigned},
      {kTrackEntry, 0x6DE7, kUnsigned},
      {kTrackEntry, 0x6DF8, kUnsigned},
      {kTrackEntry, 0x536E, kText},        // Name
      {kTrackEntry, 0x22B59C, kText},      // Language
      {kTrackEntry, 0x86, kText},          // CodecID
      {kTrackEntry, 0x63A2, kBinary},      // CodecPrivate
      {kTrackEntry, 0x258688, kText},      // CodecName
      {kTrackEntry, 0x23E383, kUnsigned},  // DefaultDuration
      {kTrackEntry, 0x2383E3, kFloat},
      {kTrackEntry, 0x23314F, kFloat},  // TrackTimecodeScale
      {kTrackEntry, 0xE0, kMaster},     // Video
      {kTrackEntry, 0xE1, kMaster},     // Audio
      {kTrackEntry, 0x6D80, kMaster},   // ContentEncodings
      {0xE0, 0xB0, kUnsigned},
      {0xE0, 0xBA, kUnsigned},
      {0xE0, 0x54B0, kUnsigned},
      {0xE0, 0x54BA, kUnsigned},
      {0xE0, 0x54B2, kUnsigned},
      {0xE0, 0x54B3, kUnsigned},
      {0xE0, 0x9A, kUnsigned},
      {0xE0, 0x2EB524, kBinary},
      {0xE1, 0xB5, kFloat},
      {0xE1, 0x78B5, kFloat},
      {0xE1, 0x9F, kUnsigned},
      {0xE1, 0x6264, kUnsigned},
      {0x6D80, kContentEncoding, kMaster},
      {kContentEncoding, 0x5031, kUnsigned},  // order
      {kContentEncoding, 0x5032, kUnsigned},  // scope
      {kContentEncoding, 0x5033, kUnsigned},  // type
      {kContentEncoding, 0x5034, kMaster},    // compression
      {kContentEncoding, 0x5035, kMaster},    // encryption
      {0x5034, 0x4254, kUnsigned},
      {0x5034, 0x4255, kBinary},
      {0x5035, 0x47E1, kUnsigned},
      {0x5035, 0x47E2, kBinary},
      {ids::kCues, 0xBB, kMaster},
      {0xBB, 0xB3, kUnsigned},  // CueTime
      {0xBB, kCueTrackPositions, kMaster},
      {kCueTrackPositions, 0xF7, kUnsigned},    // CueTrack
      {kCueTrackPositions, 0xF1, kUnsigned},    // CueClusterPosition
      {kCueTrackPositions, 0x5378, kUnsigned},  // CueBlockNumber
      {kCueTrackPositions, 0xEA, kUnsigned},
      {kCueTrackPositions, 0xDB, kMaster},
      {0xDB, 0x96, kUnsigned},
      {ids::kCluster, ids::kTimecode, kUnsigned},
      {ids::kCluster, 0xA7, kUnsigned},
      {ids::kCluster, 0xAB, kUnsigned},
      {ids::kCluster, ids::kSimpleBlock, kBlock},
      {ids::kCluster, ids::kBlockGroup, kMaster},
      {ids::kBlockGroup, ids::kBlock, kBlock},
      {ids::kBlockGroup, 0x9B, kUnsigned},  // BlockDuration
      {ids::kBlockGroup, 0xFA, kUnsigned},
      {ids::kBlockGroup, 0xFB, kSigned},  // ReferenceBlock
      {ids::kBlockGroup, 0xFD, kSigned},
      {ids::kBlockGroup, 0xA4, kBinary},  // CodecState
      {ids::kBlockGroup, 0x75A1, kMaster},
      {0x75A1, 0xA6, kMaster},
      {0xA6, 0xA5, kBinary},
      {0xA6, 0xEE, kUnsigned},
      {ids::kAttachments, kAttachedFile, kMaster},
      {kAttachedFile, 0x467E, kText},
      {kAttachedFile, 0x466E, kText},    // FileName
      {kAttachedFile, 0x4660, kText},    // FileMimeType
      {kAttachedFile, 0x465C, kBinary},  // FileData
      {kAttachedFile, 0x46AE, kUnsigned},
      {ids::kChapters, kEditionEntry, kMaster},
      {kEditionEntry, 0x45BC, kUnsigned},
      {kEditionEntry, kChapterAtom, kMaster},
      {kChapterAtom, 0x73C4, kUnsigned},
      {kChapterAtom, 0x91, kUnsigned},
      {kChapterAtom, 0x92, kUnsigned},
      {kChapterAtom, 0x8F, kMaster},
      {0x8F, 0x89, kUnsigned},
      {kChapterAtom, 0x80, kMaster},
      {0x80, 0x85, kText},
      {0x80, 0x437C, kText},
  };
  return kElements;
}

ElementKind KindOf(std::uint32_t id) {
  const KnownElement* const known = FindById(id);
  return known == nullptr ? kBinary : known->kind;
}

std::uint32_t ParentOf(std::uint32_t id) {
  const KnownElement* const known = id >> 24 == 0 ? nullptr : FindById(id);
  return known == nullptr ? 0 : known->parent;
}

std::vector<KnownElement> ChildrenOf(std::uint32_t parent) {
  std::vector<KnownElement> children;
  std::copy_if(KnownElements().begin(), KnownElements().end(), std::back_inserter(children),
               [&](const KnownElement& known) { return known.parent == parent; });
  return children;
}

const std::vector<std::string_view>& KnownTexts() {
  static const std::vector<std::string_view> kTexts = {"matroska",
                                                       "webm",
                                                       "V_MPEG4/ISO/AVC",
                                                       "V_MPEG4/ISO/ASP",
                                                       "V_MPEGH/ISO/HEVC",
                                                       "V_MPEG1",
                                                       "V_MPEG2",
                                                       "V_MS/VFW/FOURCC",
                                                       "V_REAL/RV40",
                                                       "V_SNOW",
                                                       "V_THEORA",
                                                       "V_VP8",
                                                       "V_VP9",
                                                       "V_AV1",
                                                       "V_UNCOMPRESSED",
                                                       "A_AAC",
                                                       "A_AAC/MPEG2/LC",
                                                       "A_AAC/MPEG4/LC/SBR",
                                                       "A_AC3",
                                                       "A_AC3/BSID9",
                                                       "A_EAC3",
                                                       "A_DTS",
                                                       "A_FLAC",
                                                       "A_MPEG/L1",
                                                       "A_MPEG/L2",
                                                       "A_MPEG/L3",
                                                       "A_MS/ACM",
                                                       "A_OPUS",
                                                       "A_PCM/FLOAT/IEEE",
                                                       "A_PCM/INT/LIT",
                                                       "A_PCM/INT/BIG",
                                                       "A_REAL/COOK",
                                                       "A_REAL/14_4",
                                                       "A_TTA1",
                                                       "A_VORBIS",
                                                       "A_VORBIS2",
                                                       "A_WAVPACK4",
                                                       "S_TEXT/UTF8",
                                                       "S_TEXT/ASS",
                                                       "S_TEXT/SSA",
                                                       "S_TEXT/USF",
                                                       "S_ASS",
                                                       "S_SSA",
                                                       "S_VOBSUB",
                                                       "S_HDMV/PGS",
                                                       "eng",
                                                       "und",
                                                       "application/x-truetype-font",
                                                       "font/otf",
                                                       "image/jpeg"};
  return kTexts;
}

}  // namespace vantor::fuzz
