#include "tools/file_shape.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/mkv_builder.h"

namespace vantor::tools {
namespace {

using Bytes = std::vector<unsigned char>;

const Bytes kHeader = {0x1A, 0x45, 0xDF, 0xA3, 0x8B, 0x42, 0x82, 0x88, 'm', 'a', 't', 'r', 'o', 's', 'k', 'a'};
const Bytes kVoid = {0xEC, 0x82, 0, 0};
const Bytes kSegmentId = {0x18, 0x53, 0x80, 0x67};

Bytes Join(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

FileShape Of(Bytes bytes) { return ShapeOf(MakeMemoryStore(std::move(bytes))); }

TEST(FileShapes, AnEmptyFileIsEmpty) { EXPECT_EQ(Of({}).kind, ShapeKind::kEmpty); }

TEST(FileShapes, TextIsNoEbml) {
  EXPECT_EQ(Of({'h', 'e', 'l', 'l', 'o'}).kind, ShapeKind::kNotEbml);
  EXPECT_EQ(Of({0}).kind, ShapeKind::kNotEbml);
  EXPECT_EQ(Of({0x1A}).kind, ShapeKind::kNotEbml);
}

TEST(FileShapes, OtherKindsOfFilesAreNamed) {
  const auto why = [](Bytes bytes, std::size_t size = 600) {
    bytes.resize(std::max(size, bytes.size()));
    return WhyRefused(Of(std::move(bytes)));
  };
  const auto named = [&](const std::string& beginning, const std::string& name) {
    EXPECT_EQ(why({beginning.begin(), beginning.end()}), "not a Matroska or WebM file: it is " + name);
  };
  named({"\0\0\0\x20"
         "ftypisom",
         12},
        "an MP4 or QuickTime file");
  named("RIFF1234AVI LIST", "an AVI file");
  named("RIFF1234WAVEfmt ", "a WAV file");
  named({"\0\0\1\xBA", 4}, "an MPEG program stream");
  named("OggS", "an Ogg file");
  named("fLaC", "a FLAC file");
  named("ID3\4", "an MP3 file, or another one of sound with a tag in front");
  named("\xFF\xFB\x90", "a stream of MPEG audio (MP3) without a container");
  named("\xFF\xF1", "a stream of AAC without a container");
  named("<!DOCTYPE html>", "a web page");
  Bytes packets(600);
  for (const std::size_t at : {0, 188, 376}) packets[at] = 0x47;
  named({packets.begin(), packets.end()}, "an MPEG transport stream");
  Bytes disc(600);
  for (const std::size_t at : {4, 196, 388}) disc[at] = 0x47;
  named({disc.begin(), disc.end()}, "an MPEG transport stream (M2TS)");
  EXPECT_EQ(why({'f', 'L', 'a', 'C'}, 4), "not a Matroska or WebM file: it is a FLAC file");
}

TEST(FileShapes, BeginningsThatTellNothingAreCalledNothing) {
  for (const std::string beginning : {"RIFF1234WEBP", "RIFF", "G", "fLa", "\xFF", "\xFF\xE0"}) {
    EXPECT_EQ(WhyRefused(Of({beginning.begin(), beginning.end()})),
              "not a Matroska or WebM file: it does not begin with an EBML header")
        << beginning;
  }
}

TEST(FileShapes, AHeaderLongerThanTheFileIsDamaged) {
  EXPECT_EQ(Of({0x1A, 0x45, 0xDF, 0xA3, 0x90, 0}).kind, ShapeKind::kDamagedHeader);
}

TEST(FileShapes, AHeaderOfUnknownSizeIsDamaged) {
  EXPECT_EQ(Of({0x1A, 0x45, 0xDF, 0xA3, 0xFF, 0x42, 0x82, 0x80}).kind, ShapeKind::kDamagedHeader);
  EXPECT_EQ(Of({0x1A, 0x45, 0xDF, 0xA3, 0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}).kind,
            ShapeKind::kDamagedHeader);
}

TEST(FileShapes, AnotherDocumentTypeIsNamed) {
  const FileShape shape = Of({0x1A, 0x45, 0xDF, 0xA3, 0x87, 0x42, 0x82, 0x84, 'x', 'm', 'l', 0x07});
  EXPECT_EQ(shape.kind, ShapeKind::kOtherDocType);
  EXPECT_EQ(shape.docType, "xml?");
  EXPECT_THAT(WhyRefused(shape), testing::HasSubstr("\"xml?\""));
}

TEST(FileShapes, AHeaderAloneHasNoSegment) {
  EXPECT_EQ(Of(kHeader).kind, ShapeKind::kNoSegment);
  EXPECT_EQ(Of(Join({kHeader, kVoid})).kind, ShapeKind::kNoSegment);
}

TEST(FileShapes, FindsTheSegmentBehindOtherElements) {
  EXPECT_EQ(Of(Join({kHeader, kVoid, kVoid, kSegmentId, {0x81, 0}})).kind, ShapeKind::kWhole);
}

TEST(FileShapes, ASegmentThatReachesPastTheEndIsTruncated) {
  const FileShape shape = Of(Join({kHeader, kSegmentId, {0x8A, 1, 2, 3}}));
  EXPECT_EQ(shape.kind, ShapeKind::kTruncated);
  EXPECT_EQ(shape.missingBytes, 7);
  EXPECT_THAT(Warning(shape), testing::HasSubstr("7 bytes"));
}

TEST(FileShapes, ASegmentOfUnknownSizeIsWhole) {
  EXPECT_EQ(Of(Join({kHeader, kSegmentId, {0xFF}})).kind, ShapeKind::kWhole);
  EXPECT_EQ(Of(Join({kHeader, kSegmentId, {0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 9}})).kind,
            ShapeKind::kWhole);
}

TEST(FileShapes, ASizeOfTheLargestKindDoesNotOverflow) {
  const FileShape shape = Of(Join({kHeader, kSegmentId, {0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 9}}));
  EXPECT_EQ(shape.kind, ShapeKind::kTruncated);
  EXPECT_EQ(shape.missingBytes, (std::int64_t{1} << 56) - 3);
}

TEST(FileShapes, EveryPrefixOfAFileHasAShapeOtherThanTheWholes) {
  const Bytes whole = Join({kHeader, kVoid, kSegmentId, {0x83, 1, 2, 3}});
  for (std::size_t size = 1; size < whole.size(); ++size) {
    const FileShape shape = Of(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    EXPECT_NE(shape.kind, ShapeKind::kWhole) << size;
    EXPECT_NE(shape.kind, ShapeKind::kEmpty) << size;
  }
  EXPECT_EQ(Of(whole).kind, ShapeKind::kWhole);
}

FileShape OfRefused(const test::Raw& file) { return ShapeOfRefused(MakeMemoryStore(file)); }

// A Segment of everything but frames.
test::Raw FramelessSegment() {
  return test::Segment({test::Info(), test::Tracks({test::Track(1, 1, "V_VP8", {test::Video(16, 16)})})});
}

TEST(RefusedFiles, WithoutADocumentTypeAreToldSo) {
  const FileShape shape =
      OfRefused(test::Join({test::Master(0x1A45DFA3, {test::UInt(0x4285, 2)}), FramelessSegment()}));
  EXPECT_EQ(shape.kind, ShapeKind::kNoDocType);
  EXPECT_THAT(WhyRefused(shape), testing::HasSubstr("document type"));
}

TEST(RefusedFiles, OfALaterVersionAreToldWhich) {
  const FileShape shape = OfRefused(test::Join({test::EbmlHeader("webm", 4), FramelessSegment()}));
  EXPECT_EQ(shape.kind, ShapeKind::kNewerVersion);
  EXPECT_THAT(WhyRefused(shape), testing::HasSubstr("version 4"));
}

TEST(RefusedFiles, WithAForeignFileBehindTheirsAreToldItsType) {
  const FileShape shape = OfRefused(test::Join({test::EbmlHeader(), FramelessSegment(), test::EbmlHeader("x\x1b")}));
  EXPECT_EQ(shape.kind, ShapeKind::kOtherDocType);
  EXPECT_EQ(shape.docType, "x?");
}

TEST(RefusedFiles, WithoutAClusterAreToldSoAndWhatIsMissing) {
  const test::Raw whole = test::Join({test::EbmlHeader(), FramelessSegment()});
  FileShape shape = OfRefused(whole);
  EXPECT_EQ(shape.kind, ShapeKind::kNoCluster);
  EXPECT_THAT(WhyRefused(shape), testing::HasSubstr("no Cluster"));
  shape = OfRefused(test::Raw(whole.begin(), whole.end() - 3));
  EXPECT_EQ(shape.kind, ShapeKind::kNoCluster);
  EXPECT_THAT(WhyRefused(shape), testing::HasSubstr("3 bytes"));
}

TEST(RefusedFiles, WhoseSeekIndexNamesAnotherPlaceForTheClustersAreToldSo) {
  const test::Raw file = test::MkvFile(
      {test::SeekHead({test::SeekEntry(0x1F43B675, 3)}), test::Info(), test::Tracks({}), test::Cluster(0, {})});
  const FileShape shape = OfRefused(file);
  EXPECT_EQ(shape.kind, ShapeKind::kClusterEntry);
  EXPECT_THAT(WhyRefused(shape), testing::HasSubstr("begin at byte " + std::to_string(shape.position)));
}

TEST(RefusedFiles, OfASoundShapeKeepIt) {
  EXPECT_EQ(OfRefused({}).kind, ShapeKind::kEmpty);
  EXPECT_EQ(OfRefused(test::MkvFile({test::Info(), test::Cluster(0, {})})).kind, ShapeKind::kWhole);
}

TEST(FileShapes, EveryRefusalHasItsOwnWords) {
  std::vector<std::string> words;
  for (const ShapeKind kind :
       {ShapeKind::kEmpty, ShapeKind::kNotEbml, ShapeKind::kDamagedHeader, ShapeKind::kOtherDocType,
        ShapeKind::kNoDocType, ShapeKind::kNewerVersion, ShapeKind::kNoSegment, ShapeKind::kNoCluster,
        ShapeKind::kClusterEntry, ShapeKind::kTruncated}) {
    FileShape shape;
    shape.kind = kind;
    words.push_back(WhyRefused(shape));
    EXPECT_NE(words.back(), "");
  }
  for (std::size_t i = 0; i < words.size(); ++i) {
    EXPECT_EQ(std::count(words.begin(), words.end(), words[i]), 1) << words[i];
  }
  EXPECT_EQ(WhyRefused({}), "");
  EXPECT_EQ(Warning({}), "");
}

}  // namespace
}  // namespace vantor::tools
