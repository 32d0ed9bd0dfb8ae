#include "tools/check/packet_check.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "baseclasses/media_sample.h"
#include "support/mkv_builder.h"
#include "tools/opened_file.h"

namespace vantor::tools {
namespace {

using test::Raw;

// A track's packets at 0, 10, 20... ms, and samples that are handed to the check as a pin would.
class CheckedTrack {
 public:
  explicit CheckedTrack(const std::vector<Raw>& blocks, const std::vector<Raw>& entry = {},
                        const TrackPin& how = TrackPin())
      : store_(MakeMemoryStore(test::MkvFile(
            {test::Info(), test::Tracks({test::Track(1, 1, "V_VP8", entry)}), test::Cluster(0, blocks)}))),
        file_(store_, OLESTR("/checked.mkv")) {
    TrackPin track = how;
    track.entry = file_.Root().segment.tracks.front().front().get();
    check_ = std::make_unique<PacketCheck>(file_.Root(), store_, track);
  }

  void Deliver(Raw bytes, int milliseconds) {
    CMediaSample sample;
    sample.Attach(nullptr, bytes.data(), static_cast<LONG>(bytes.size()));
    sample.BeginUse();
    REFERENCE_TIME start = milliseconds * 10000;
    REFERENCE_TIME stop = start + 10000;
    sample.SetTime(&start, &stop);
    EXPECT_EQ(check_->OnSample(&sample), S_OK);
  }
  PacketTotals Finish() { return check_->Finish(); }

 private:
  std::shared_ptr<ByteStore> store_;
  OpenedFile file_;
  std::unique_ptr<PacketCheck> check_;
};

Raw At(int milliseconds, const Raw& frame) {
  return test::SimpleBlock(1, static_cast<std::int16_t>(milliseconds), test::kKey, frame);
}

TEST(PacketCheck, WhatComesAsItIsIsNotLost) {
  CheckedTrack track({At(0, {1, 2}), At(10, {3}), At(20, {4, 5, 6})});
  track.Deliver({1, 2}, 0);
  track.Deliver({3}, 10);
  track.Deliver({4, 5, 6}, 20);
  const PacketTotals totals = track.Finish();
  EXPECT_EQ(totals.packets, 3U);
  EXPECT_EQ(totals.lost, 0U);
  EXPECT_TRUE(totals.isComplete);
}

TEST(PacketCheck, WhatIsPassedOverInTheMiddleAndAtTheEndIsLost) {
  CheckedTrack track({At(0, {1}), At(10, {2}), At(20, {3}), At(30, {4})});
  track.Deliver({1}, 0);
  track.Deliver({3}, 20);
  const PacketTotals totals = track.Finish();
  EXPECT_EQ(totals.packets, 4U);
  EXPECT_EQ(totals.lost, 2U);
  EXPECT_GT(totals.firstLost, 0U);
}

TEST(PacketCheck, AnotherPayloadIsNoPacket) {
  CheckedTrack track({At(0, {1, 2, 3})});
  track.Deliver({1, 2, 4}, 0);
  track.Deliver({1, 2}, 0);
  EXPECT_EQ(track.Finish().lost, 1U);
}

TEST(PacketCheck, OfFramesThatAreAlikeTheTimeTells) {
  CheckedTrack track({At(0, {7}), At(10, {8}), At(20, {7}), At(30, {9})});
  track.Deliver({7}, 0);
  track.Deliver({7}, 20);
  track.Deliver({9}, 30);
  EXPECT_EQ(track.Finish().lost, 1U);
}

TEST(PacketCheck, CodecHeadersInFrontAreNoPackets) {
  CheckedTrack track({At(0, {1}), At(10, {2})});
  track.Deliver({9, 9, 9}, 0);
  track.Deliver({1}, 0);
  track.Deliver({2}, 10);
  EXPECT_EQ(track.Finish().lost, 0U);
}

TEST(PacketCheck, AHeaderThatWasStrippedIsPutBack) {
  using test::Master;
  using test::UInt;
  const Raw encoding = Master(
      0x6D80, {Master(0x6240, {UInt(0x5032, 1), Master(0x5034, {UInt(0x4254, 3), test::Bin(0x4255, {0xAA, 0xBB})})})});
  CheckedTrack track({At(0, {1}), At(10, {2})}, {encoding});
  track.Deliver({0xAA, 0xBB, 1}, 0);
  track.Deliver({2}, 10);
  EXPECT_EQ(track.Finish().lost, 1U);
}

TEST(PacketCheck, StartCodesMayBeOtherwiseWhereTheyAreConverted) {
  TrackPin converted;
  converted.convertsStartCodes = true;
  CheckedTrack track({At(0, {0, 0, 0, 1, 5}), At(10, {0, 0, 0, 1, 6})}, {}, converted);
  track.Deliver({0, 0, 0, 9, 5}, 0);
  track.Deliver({0, 0, 0, 9, 7}, 10);
  EXPECT_EQ(track.Finish().lost, 1U);
}

TEST(PacketCheck, AFrameHeaderInFrontIsNoPartOfThePacketWhereItIsAdded) {
  const Raw sample = {0, 0, 0, 10, 'i', 'c', 'p', 'f', 1, 2};
  TrackPin added;
  added.addsFrameHeaders = true;
  CheckedTrack track({At(0, {1, 2})}, {}, added);
  track.Deliver(sample, 0);
  EXPECT_EQ(track.Finish().lost, 0U);
  CheckedTrack other({At(0, {1, 2})});
  other.Deliver(sample, 0);
  EXPECT_EQ(other.Finish().lost, 1U);
}

TEST(PacketCheck, AFrameHeaderIsAddedInFrontOfTheHeaderThatWasStripped) {
  const Raw encoding = test::Master(
      0x6D80, {test::Master(0x6240, {test::UInt(0x5032, 1),
                                     test::Master(0x5034, {test::UInt(0x4254, 3), test::Bin(0x4255, {0xAA, 0xBB})})})});
  TrackPin added;
  added.addsFrameHeaders = true;
  CheckedTrack track({At(0, {1}), At(10, {2})}, {encoding}, added);
  track.Deliver({0, 0, 0, 11, 'i', 'c', 'p', 'f', 0xAA, 0xBB, 1}, 0);
  track.Deliver({0, 0, 0, 11, 'i', 'c', 'p', 'f', 2}, 10);
  EXPECT_EQ(track.Finish().lost, 1U);
}

}  // namespace
}  // namespace vantor::tools
