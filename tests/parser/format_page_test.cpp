// The bytes and the bounds of docs/format.md are true: the example is parsed, and the table is compared.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "fixture.h"
#include "parser/block.h"
#include "parser/content_encoding.h"
#include "parser/element_ids.h"
#include "parser/lacing.h"

namespace vantor::test {
namespace {

std::vector<std::string> PageLines() {
  std::ifstream page(VANTOR_FORMAT_PAGE);
  EXPECT_TRUE(page.is_open()) << VANTOR_FORMAT_PAGE;
  std::vector<std::string> lines;
  for (std::string line; std::getline(page, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

// A line of the listing: the position in decimal, two spaces, pairs of hexadecimal digits, two spaces, words.
void AppendLine(const std::string& line, Raw& bytes) {
  const std::size_t from = line.find("  ") + 2;
  std::istringstream pairs(line.substr(from, line.find("  ", from) - from));
  EXPECT_EQ(std::stoul(line), bytes.size()) << line;
  for (std::string pair; pairs >> pair;) bytes.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
}

Raw ListedBytes() {
  Raw bytes;
  bool isListing = false;
  for (const std::string& line : PageLines()) {
    if (line == "```") {
      isListing = !isListing;
    } else if (isListing) {
      AppendLine(line, bytes);
    }
  }
  return bytes;
}

std::string TextOf(const FrameBytes& bytes) { return {bytes.begin(), bytes.end()}; }

std::string TextOf(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

TEST(FormatPage, FileHasTheRecordsThatThePageTells) {
  const Opened file(ListedBytes());
  ASSERT_EQ(file.result, S_OK);
  const MkvSegment& segment = file.root.segment;
  EXPECT_EQ(file.root.length, 213U);
  EXPECT_EQ(file.root.ebmlHeader.DocType, "matroska");
  EXPECT_EQ(segment.dataStart, 26U);
  EXPECT_EQ(segment.dataStart + segment.size, 213U);
  EXPECT_EQ(segment.seekHeads.at(0).at(0).SeekID.value, ids::kCues);
  EXPECT_EQ(segment.SeekTarget(segment.seekHeads.at(0).at(0)), 193U);
  EXPECT_EQ(segment.info.Duration.value, 80.0);
  EXPECT_EQ(segment.info.MuxingApp, OLESTR("hand"));
  EXPECT_EQ(file.root.startTime, 10'000'000);

  const MkvTrackEntry& video = *segment.tracks.at(0).at(0);
  EXPECT_EQ(TextOf(video.CodecID), "V_VP8");
  EXPECT_EQ(video.video.PixelWidth.value, 64U);
  EXPECT_EQ(video.video.PixelHeight.value, 48U);
  const MkvTrackEntry& audio = *segment.tracks.at(0).at(1);
  EXPECT_EQ(TextOf(audio.CodecID), "A_AC3");
  EXPECT_EQ(audio.audio.SamplingFrequency.value, 48000.0);
  EXPECT_EQ(audio.audio.Channels.value, 2U);

  const MkvCuePoint& point = segment.cues.at(0).at(0);
  EXPECT_EQ(point.CueTime.value, 1000U);
  EXPECT_EQ(point.trackPositions.at(0).CueTrack.value, 1U);
  EXPECT_EQ(segment.dataStart + point.trackPositions.at(0).CueClusterPosition.value, 126U);
}

TEST(FormatPage, FileHasTheBlocksThatThePageTells) {
  Opened file(ListedBytes());
  const MkvElement whole = MkvElement::WholeFile(file.root);
  const MkvElement segment = whole.FirstChild(ids::kSegment);
  const MkvElement cluster = segment.FirstChild(ids::kCluster);
  ASSERT_EQ(cluster.start, 126U);
  std::int64_t ticks = 0;
  ASSERT_TRUE(ReadClusterTimecode(cluster, ticks));

  MkvElement at = FirstBlock(cluster);
  MkvBlock plain;
  ASSERT_EQ(plain.Read(at, true), S_OK);
  EXPECT_EQ(ticks + plain.timecode.value, 1000);
  EXPECT_EQ(plain.flags.value, 0x80);
  ASSERT_EQ(plain.frames.size(), 1U);
  EXPECT_EQ(TextOf(plain.frames[0]), "key frame");

  ASSERT_TRUE(NextBlock(at));
  MkvBlock laced;
  ASSERT_EQ(laced.Read(at, true), S_OK);
  EXPECT_EQ(laced.trackNumber.value, 2U);
  EXPECT_EQ(ticks + laced.timecode.value, 1005);
  ASSERT_EQ(laced.frames.size(), 3U);
  EXPECT_EQ(TextOf(laced.frames[0]), "one");
  EXPECT_EQ(TextOf(laced.frames[1]), "three");
  EXPECT_EQ(TextOf(laced.frames[2]), "rest");

  ASSERT_TRUE(NextBlock(at));
  MkvBlock group;
  ASSERT_EQ(group.ReadGroup(at, true), S_OK);
  EXPECT_EQ(ticks + group.timecode.value, 998);
  EXPECT_EQ(group.BlockDuration.value, 40U);
  EXPECT_EQ(group.ReferenceBlock.value, 2);
  EXPECT_FALSE(group.IsKeyFrame());
  ASSERT_EQ(group.frames.size(), 1U);
  EXPECT_EQ(TextOf(group.frames[0]), "delta");
  EXPECT_FALSE(NextBlock(at));
}

TEST(FormatPage, DamageInTheFileIsSkippedAndNoted) {
  Opened file(ListedBytes());
  file.root.tolerated.Collect();
  const MkvElement whole = MkvElement::WholeFile(file.root);
  const MkvElement segment = whole.FirstChild(ids::kSegment);
  MkvElement child = segment.FirstChild(ids::kCluster);
  ASSERT_TRUE(child.MoveNext());
  EXPECT_EQ(child.id.value, ids::kCues);
  EXPECT_EQ(child.start, 193U);
  ASSERT_EQ(file.root.tolerated.Notes().size(), 1U);
  EXPECT_EQ(file.root.tolerated.Notes()[0], (Tolerance{Tolerated::kDamageSkipped, 190, 3}));
}

TEST(FormatPage, BoundsAreTheParsersOwn) {
  std::map<std::string, std::uint64_t> bounds;
  for (const std::string& line : PageLines()) {
    const std::size_t end = line.rfind(" |");
    const std::size_t middle = end == 0 || end == std::string::npos ? end : line.rfind("| ", end - 1);
    if (middle == std::string::npos || middle < 4 || line.find_first_not_of("0123456789", middle + 2) != end) continue;
    bounds[line.substr(2, middle - 3)] = std::stoull(line.substr(middle + 2));
  }
  const std::map<std::string, std::uint64_t> expected = {
      {"Segments of a file", CMkvFileRoot::kMaxSegments},
      {"track entries of a file", kMaxTracks},
      {"seek entries of a file", kMaxSeekEntries},
      {"content encodings of a track", kMaxContentEncodings},
      {"attached files of an Attachments element", kMaxAttachedFiles},
      {"chapter atoms of a Chapters element", kMaxChapterAtoms},
      {"chapter atoms within each other", kMaxChapterDepth},
      {"bytes of a stripped header that are put back", kLongestStrippedHeader},
      {"frames of a lace", LaceSizes::kMaxFrames},
      {"frames of a BlockGroup", MkvBlock::kMostFrames},
      {"bytes of a text or payload", kLargestPayload},
      {"bytes of the frames of a block", MkvBlock::kLargestFrame},
  };
  EXPECT_EQ(bounds, expected);
}

}  // namespace
}  // namespace vantor::test
