#include "mediatypes/expected_blocks.h"
#include "parser/file_root.h"
#include "support/memory_reader.h"

namespace vantor::test {
namespace {

const Raw kSequenceSet = {0x67, 0x64, 0x00, 0x28, 0xAC, 0xD9};
const Raw kPictureSet = {0x68, 0xEB, 0xE3};
const Raw kAnnexB = Join({{0, 0, 0, 1}, kSequenceSet, {0, 0, 0, 1}, kPictureSet, {0, 0, 0, 1, 0x65, 1, 2, 3}});

Raw WithLength(const Raw& bytes) { return Join({BigEndian(bytes.size(), 2), bytes}); }

Raw ConfigRecord(const std::vector<Raw>& sequences, const std::vector<Raw>& pictures, std::uint8_t byte4 = 0xFF) {
  Raw record = {1, 0x64, 0, 0x28, byte4, static_cast<std::uint8_t>(0xE0 | sequences.size())};
  for (const Raw& set : sequences) record = Join({record, WithLength(set)});
  record.push_back(static_cast<std::uint8_t>(pictures.size()));
  for (const Raw& set : pictures) record = Join({record, WithLength(set)});
  return record;
}

MkvTrackEntry AvcTrack(const Raw& codecPrivate = {}) { return VideoTrack("V_MPEG4/ISO/AVC", 320, 240, codecPrivate); }

HRESULT AvcResult(const Raw& codecPrivate) {
  MkvTrackEntry track = AvcTrack(codecPrivate);
  TrackMediaType type;
  return BuildVideo(track, type);
}

// The block of an AVC track of 320 x 240.
Raw AvcBlock(const Raw& sets, std::uint32_t lengthSize = 4) {
  return Mpeg2Block({.aspectX = 320, .aspectY = 240},
                    {.width = 320, .height = 240, .planes = 1, .bitCount = 24, .compression = "AVC1"}, sets, 0x64, 0x28,
                    lengthSize);
}

// ---- From the private data ----

TEST(AvcMediaType, ParameterSetsKeepTheirLengthsInTheSequenceHeader) {
  MkvTrackEntry track = AvcTrack(ConfigRecord({kSequenceSet}, {kPictureSet}));
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(LabelOf(type), "AVC");
  EXPECT_EQ(GuidText(*type.mediaType.Subtype()), FourCcText("AVC1"));
  EXPECT_EQ(GuidText(*type.mediaType.FormatType()), kMpeg2VideoText);
  EXPECT_EQ(BlockOf(type.mediaType), AvcBlock(Join({WithLength(kSequenceSet), WithLength(kPictureSet)})));
  EXPECT_EQ(type.bufferSize, 320U * 240 * 4);
  EXPECT_FALSE(type.convertStartCodes);
}

TEST(AvcMediaType, EverySetOfTheRecordIsTakenAndTrailingBytesAreNot) {
  const Raw record = Join({ConfigRecord({kSequenceSet, {0x67, 1}, {}}, {kPictureSet, {}, {0x68}}), Ramp(9)});
  MkvTrackEntry track = AvcTrack(record);
  SetDisplay(track, 16, 9);
  track.video.FrameRate = CMkvFloat(25.0);
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(BlockOf(type.mediaType),
            Mpeg2Block({.frameTime = 400000, .aspectX = 16, .aspectY = 9},
                       {.width = 320, .height = 240, .planes = 1, .bitCount = 24, .compression = "AVC1"},
                       Join({WithLength(kSequenceSet), WithLength({0x67, 1}), WithLength({}), WithLength(kPictureSet),
                             WithLength({}), WithLength({0x68})}),
                       0x64, 0x28, 4));
}

TEST(AvcMediaType, LengthSizeIsTwoBitsPlusOne) {
  for (std::uint8_t bits = 0; bits < 4; ++bits) {
    MkvTrackEntry track = AvcTrack(ConfigRecord({kSequenceSet}, {kPictureSet}, static_cast<std::uint8_t>(0xFC | bits)));
    TrackMediaType type;
    ASSERT_EQ(BuildVideo(track, type), S_OK);
    EXPECT_EQ(BlockOf(type.mediaType), AvcBlock(Join({WithLength(kSequenceSet), WithLength(kPictureSet)}), bits + 1U));
  }
}

TEST(AvcMediaType, RecordWithoutSetsGivesAnEmptySequenceHeader) {
  MkvTrackEntry track = AvcTrack(ConfigRecord({}, {}));
  TrackMediaType type;
  ASSERT_EQ(BuildVideo(track, type), S_OK);
  EXPECT_EQ(BlockOf(type.mediaType), AvcBlock({}));
}

TEST(AvcMediaType, RecordCutShortAnywhereIsSkipped) {
  const Raw record = ConfigRecord({kSequenceSet}, {kPictureSet});
  for (std::size_t size = 1; size < record.size(); ++size) {
    EXPECT_EQ(AvcResult(Raw(record.begin(), record.begin() + static_cast<std::ptrdiff_t>(size))), S_FALSE) << size;
  }
  EXPECT_EQ(AvcResult(record), S_OK);
}

TEST(AvcMediaType, PictureSetCountPastTheEndIsSkipped) {
  Raw record = ConfigRecord({kSequenceSet}, {});
  record.pop_back();
  EXPECT_EQ(AvcResult(record), S_FALSE);
}

TEST(AvcMediaType, WithoutPrivateDataAndSourcesTheTrackIsSkipped) { EXPECT_EQ(AvcResult({}), S_FALSE); }

// ---- From the first frame ----

// An opened file whose track 1 is AVC without private data.
class AvcProbe : public testing::Test {
 protected:
  void Open(const std::vector<Part>& clusters, const std::vector<Raw>& trackChildren = {}) {
    std::vector<Part> parts = {Info(),
                               Tracks({Track(1, 1, "V_MPEG4/ISO/AVC", Children(trackChildren)), Track(2, 2, "A_AC3")})};
    parts.insert(parts.end(), clusters.begin(), clusters.end());
    OpenBytes(MkvFile(parts));
  }

  void OpenBytes(const Raw& bytes) {
    root_.reset();
    reader_ = std::make_unique<MemoryReader>(bytes);
    root_ = std::make_unique<CMkvFileRoot>(reader_.get(), true);
    ASSERT_EQ(root_->Open(), S_OK);
    sources_.file = root_.get();
  }

  const MkvTrackEntry& FirstTrack() { return *root_->GetSegment()->tracks.at(0).at(0); }

  HRESULT Build() {
    type_ = {};
    return BuildTrackMediaType(FirstTrack(), sources_, type_);
  }

  void TearDown() override { root_.reset(); }

  std::unique_ptr<MemoryReader> reader_;
  std::unique_ptr<CMkvFileRoot> root_;
  AvcConfigSources sources_;
  TrackMediaType type_;

 private:
  static std::vector<Raw> Children(const std::vector<Raw>& more) {
    std::vector<Raw> children = {Video(320, 240)};
    children.insert(children.end(), more.begin(), more.end());
    return children;
  }
};

const Raw kProbedBlock = AvcBlock(Join({WithLength(kSequenceSet), WithLength(kPictureSet)}));

TEST_F(AvcProbe, FirstFrameYieldsTheConfigurationAndTheTrackStaysAsItIs) {
  Open({Cluster(0, {SimpleBlock(1, 0, kKey, kAnnexB)})});
  const std::uint64_t cursor = root_->position;
  ASSERT_EQ(Build(), S_OK);
  EXPECT_EQ(BlockOf(type_.mediaType), kProbedBlock);
  EXPECT_FALSE(type_.convertStartCodes);
  EXPECT_EQ(ResolveCodecPrivate(FirstTrack(), sources_).data, ConfigRecord({kSequenceSet}, {kPictureSet}));
  EXPECT_TRUE(FirstTrack().CodecPrivate.empty());
  EXPECT_EQ(root_->position, cursor);
}

TEST_F(AvcProbe, BlocksAreReadOnFromClusterToClusterUntilOneBelongsToTheTrack) {
  Open({Cluster(0, {SimpleBlock(2, 0, kKey, Ramp(20)), BlockGroup({Block(2, 1, 0, kAnnexB)})}), Cluster(5, {}),
        Void(10), Cluster(10, {SimpleBlock(2, 0, kKey, kAnnexB), SimpleBlock(1, 0, kKey, kAnnexB)})});
  ASSERT_EQ(Build(), S_OK);
  EXPECT_EQ(BlockOf(type_.mediaType), kProbedBlock);
}

TEST_F(AvcProbe, BlockGroupsAreReadToo) {
  Open({Cluster(0, {BlockGroup({Block(1, 0, 0, kAnnexB), BlockDuration(5)})})});
  ASSERT_EQ(Build(), S_OK);
  EXPECT_EQ(BlockOf(type_.mediaType), kProbedBlock);
}

TEST_F(AvcProbe, OnlyTheFirstFrameOfTheFirstBlockCounts) {
  Open({Cluster(0, {SimpleBlock(1, 0, kKey, Fill(20, 9)), SimpleBlock(1, 1, kKey, kAnnexB)})});
  EXPECT_EQ(Build(), S_FALSE);
  Open({Cluster(0, {SimpleBlock(1, 0, kKey | kXiph, XiphLace({Fill(20, 9), kAnnexB}))})});
  EXPECT_EQ(Build(), S_FALSE);
  Open({Cluster(0, {SimpleBlock(1, 0, kKey | kXiph, XiphLace({kAnnexB, Fill(20, 9)}))})});
  EXPECT_EQ(Build(), S_OK);
}

TEST_F(AvcProbe, NoOtherFrameThanTheFirstIsRead) {
  const Raw other = Fill(1000, 9);
  const Raw lace = XiphLace({kAnnexB, other, other, other});
  Open({Cluster(0, {SimpleBlock(1, 0, kKey | kXiph, lace)})});
  std::int32_t longest = 0;
  reader_->OnRead([&](std::int64_t, std::int32_t size) { longest = std::max(longest, size); });
  EXPECT_EQ(Build(), S_OK);
  EXPECT_EQ(longest, static_cast<std::int32_t>(kAnnexB.size()));
  Open({Cluster(0, {BlockGroup({Block(1, 0, kXiph, lace)})})});
  longest = 0;
  reader_->OnRead([&](std::int64_t, std::int32_t size) { longest = std::max(longest, size); });
  EXPECT_EQ(Build(), S_OK);
  EXPECT_EQ(longest, static_cast<std::int32_t>(kAnnexB.size()));
}

TEST_F(AvcProbe, DamagedBlocksArePassedOver) {
  // A lace of 256 frames in two bytes.
  Open({Cluster(0, {SimpleBlock(1, 0, kKey | kXiph, {255, 255}), SimpleBlock(1, 1, kKey, kAnnexB)})});
  EXPECT_EQ(Build(), S_OK);
}

TEST_F(AvcProbe, StrippedHeadersOfTheFrameAreRestored) {
  const Raw encoding = Master(0x6D80, {Master(0x6240, {Master(0x5034, {UInt(0x4254, 3), Bin(0x4255, {0, 0, 0, 1})})})});
  const Raw stripped(kAnnexB.begin() + 4, kAnnexB.end());
  Open({Cluster(0, {SimpleBlock(1, 0, kKey, stripped)})}, {encoding});
  ASSERT_EQ(Build(), S_OK);
  EXPECT_EQ(BlockOf(type_.mediaType), kProbedBlock);
}

TEST_F(AvcProbe, FilesWithoutASuitableFrameGiveNone) {
  Open({});
  EXPECT_EQ(Build(), S_FALSE);
  Open({Cluster(0, {}), Cluster(1, {SimpleBlock(2, 0, kKey, kAnnexB)})});
  EXPECT_EQ(Build(), S_FALSE);
  EXPECT_EQ(type_.noPin, NoPinReason::kPrivateMissing);
}

TEST_F(AvcProbe, PrivateDataOfTheTrackIsNotProbedFor) {
  Open({Cluster(0, {SimpleBlock(1, 0, kKey, kAnnexB)})}, {CodecPrivate({1})});
  reader_->ResetCounters();
  EXPECT_EQ(Build(), S_FALSE);
  EXPECT_EQ(reader_->Reads(), 0U);
}

TEST_F(AvcProbe, FailingReadsNeverGiveAWrongConfiguration) {
  Open({Cluster(0, {SimpleBlock(2, 0, kKey, Ramp(9))}), Cluster(1, {BlockGroup({Block(1, 0, 0, kAnnexB)})})});
  for (std::uint64_t n = 1;; ++n) {
    ASSERT_LT(n, 1000U);
    reader_->ResetCounters();
    reader_->FailRead(n, E_ABORT, true);
    const HRESULT result = Build();
    const bool failed = reader_->Reads() >= n;
    reader_->FailRead(0);
    if (!failed) {
      EXPECT_EQ(result, S_OK);
      break;
    }
    EXPECT_EQ(result, S_FALSE) << n;
  }
}

TEST_F(AvcProbe, WalkReadsEachPositionOnce) {
  std::vector<Part> clusters;
  for (int i = 0; i < 50; ++i) clusters.push_back(Cluster(0, {SimpleBlock(2, 0, kKey, Ramp(50))}));
  Open(clusters);
  std::map<std::int64_t, int> reads;
  reader_->OnRead([&](std::int64_t position, std::int32_t) { ++reads[position]; });
  EXPECT_EQ(Build(), S_FALSE);
  const std::int64_t firstCluster = static_cast<std::int64_t>(root_->GetSegment()->dataStart);
  int most = 0;
  for (const auto& [position, count] : reads) {
    if (position > firstCluster) most = std::max(most, count);
  }
  EXPECT_LE(most, 2);  // finding the first Cluster and walking on from it
}

TEST_F(AvcProbe, WhatIsReadCountsAgainstTheAllowanceOfTheFile) {
  Open({Cluster(0, {SimpleBlock(1, 0, kKey, kAnnexB)})});
  const std::uint64_t before = root_->allowance;
  ASSERT_EQ(Build(), S_OK);
  const std::uint64_t needed = before - root_->allowance;
  EXPECT_GT(needed, kAnnexB.size());
  root_->allowance = needed - 1;
  EXPECT_EQ(Build(), S_FALSE);
  root_->allowance = needed;
  EXPECT_EQ(Build(), S_OK);
  EXPECT_EQ(root_->allowance, 0u);
}

// ---- From the stream description ----

TEST_F(AvcProbe, StreamDescriptionIsAskedLastAndMakesStartCodesConverted) {
  Open({Cluster(0, {SimpleBlock(1, 0, kKey, Fill(20, 9))})});
  int asked = 0;
  sources_.streamDescription = [&](const MkvTrackEntry& track, Bytes& codecPrivate) {
    ++asked;
    EXPECT_EQ(&track, &FirstTrack());
    codecPrivate = ConfigRecord({kSequenceSet}, {kPictureSet});
    return true;
  };
  ASSERT_EQ(Build(), S_OK);
  EXPECT_EQ(asked, 1);
  EXPECT_TRUE(type_.convertStartCodes);
  EXPECT_EQ(BlockOf(type_.mediaType), kProbedBlock);
}

TEST_F(AvcProbe, StreamDescriptionIsNotAskedWhenTheFrameYieldsTheConfiguration) {
  Open({Cluster(0, {SimpleBlock(1, 0, kKey, kAnnexB)})});
  sources_.streamDescription = [](const MkvTrackEntry&, Bytes&) -> bool {
    ADD_FAILURE();
    return false;
  };
  ASSERT_EQ(Build(), S_OK);
  EXPECT_FALSE(type_.convertStartCodes);
}

TEST_F(AvcProbe, WithoutAnyConfigurationTheTrackIsSkipped) {
  Open({Cluster(0, {SimpleBlock(1, 0, kKey, Fill(20, 9))})});
  sources_.streamDescription = [](const MkvTrackEntry&, Bytes&) { return false; };
  EXPECT_EQ(Build(), S_FALSE);
  EXPECT_FALSE(type_.convertStartCodes);
}

}  // namespace
}  // namespace vantor::test
