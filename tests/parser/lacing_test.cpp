#include "parser/lacing.h"

#include <gtest/gtest.h>

#include <vector>

#include "fixture.h"
#include "parser/block.h"

namespace vantor::test {
namespace {

// The sizes that a block's payload behind the flags gives, or nothing when the block is rejected.
std::vector<std::uint64_t> Sizes(int flags, const Raw& payload, std::size_t extra = 0) {
  Source source(Join({SimpleBlock(1, 0, flags, payload), Fill(extra)}));
  const MkvElement element = source.First();
  MkvBlock block;
  block.ReadHeader(element);
  LaceSizes sizes;
  if (ReadLaceSizes(element, block.flags.value, sizes) != S_OK) return {};
  return {sizes.size.begin(), sizes.size.begin() + static_cast<std::ptrdiff_t>(sizes.count)};
}

using Expected = std::vector<std::uint64_t>;
const Expected kRejected{};

struct Case {
  const char* name;
  int flags;
  Raw payload;
  Expected sizes;
};

TEST(Lacing, SizesAreWorkedOutOrTheBlockIsRejected) {
  const auto with = [](const Raw& head, std::size_t rest) { return Join({head, Fill(rest)}); };
  const std::vector<Case> cases{
      {"no lacing", 0x00, Fill(12), {12}},
      {"no lacing, key frame", 0x80, Fill(12), {12}},
      {"no lacing, all other flags", 0xF9, Fill(12), {12}},

      {"xiph, sums of 255", kXiph, with({2, 255, 10, 40}, 265 + 40 + 7), {265, 40, 7}},
      {"xiph, 255 exactly", kXiph, with({1, 255, 0}, 255 + 3), {255, 3}},
      {"xiph, one frame", kXiph, with({0}, 9), {9}},
      {"xiph, empty frames", kXiph, {2, 0, 0}, {0, 0, 0}},
      {"xiph, nothing left for the last", kXiph, with({1, 5}, 5), {5, 0}},
      {"xiph, one byte too few", kXiph, with({1, 5}, 4), kRejected},
      {"xiph, sum exceeds the payload", kXiph, with({2, 200, 200}, 300), kRejected},
      {"xiph, sizes run out of the payload", kXiph, with({5}, 2), kRejected},
      {"xiph, no count", kXiph, {}, kRejected},

      {"fixed, even", kFixed, with({2}, 9), {3, 3, 3}},
      {"fixed, remainder left unread", kFixed, with({2}, 10), {3, 3, 3}},
      {"fixed, one frame", kFixed, with({0}, 4), {4}},
      {"fixed, more frames than bytes", kFixed, with({3}, 2), {0, 0, 0, 0}},
      {"fixed, 255 frames", kFixed, with({254}, 510), Expected(255, 2)},
      {"fixed, count of 256 wraps to none", kFixed, with({255}, 512), kRejected},

      {"ebml, size, delta, rest", kEbml, with({2, 0x81, 0xC0}, 1 + 2 + 5), {1, 2, 5}},
      {"ebml, negative delta", kEbml, with({2, 0x85, 0xBD}, 5 + 3 + 1), {5, 3, 1}},
      {"ebml, two frames need no delta", kEbml, with({1, 0x84}, 4 + 6), {4, 6}},
      {"ebml, two-byte size and delta", kEbml, with({2, 0x41, 0x2C, 0x60, 0x00}, 300 + 301 + 2), {300, 301, 2}},
      {"ebml, one frame", kEbml, with({0}, 9), kRejected},
      {"ebml, delta below zero", kEbml, with({2, 0x81, 0xBD}, 20), kRejected},
      {"ebml, size exceeds the payload", kEbml, with({1, 0x8A}, 9), kRejected},
      {"ebml, sum exceeds the payload", kEbml, with({2, 0x8A, 0xBF}, 19), kRejected},
      {"ebml, nothing left for the last", kEbml, with({2, 0x8A, 0xBF}, 20), {10, 10, 0}},
      {"ebml, size cannot be read", kEbml, with({1, 0x00}, 9), kRejected},
      {"ebml, delta cannot be read", kEbml, with({2, 0x81, 0x00}, 9), kRejected},
      {"ebml, eight-byte delta far above", kEbml, with({2, 0x81, 0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}, 20),
       kRejected},
      {"ebml, eight-byte delta far below", kEbml, with({2, 0x81, 0x01, 0, 0, 0, 0, 0, 0, 0}, 20), kRejected},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Sizes(c.flags, c.payload), c.sizes) << c.name;
    EXPECT_EQ(Sizes(c.flags, c.payload, 1000), c.sizes) << c.name << ", with more of the file behind the block";
  }
}

TEST(Lacing, HeadsAndSizesAreReadByteByByte) {
  Source source(SimpleBlock(1, 0, kXiph, XiphLace({Fill(600), Fill(30), Fill(5)})));
  const MkvElement element = source.First();
  MkvBlock block;
  block.ReadHeader(element);
  source.reader.ResetCounters();
  LaceSizes sizes;
  EXPECT_EQ(ReadLaceSizes(element, block.flags.value, sizes), S_OK);
  EXPECT_EQ(source.reader.Reads(), 1u + 3u + 1u);
  EXPECT_EQ(source.reader.LargestRead(), 1u);
}

TEST(Lacing, CursorIsLeftOnTheFirstFrame) {
  Source source(SimpleBlock(1, 0, kEbml, EbmlLace({Fill(4, 7), Fill(5), Fill(6)})));
  const MkvElement element = source.First();
  MkvBlock block;
  block.ReadHeader(element);
  LaceSizes sizes;
  EXPECT_EQ(ReadLaceSizes(element, block.flags.value, sizes), S_OK);
  EXPECT_EQ(source.file.position, element.DataEnd() - 15);
}

TEST(Lacing, EndlessXiphSizeIsGivenUpOnceItIsOverThePayload) {
  Source source(Join({SimpleBlock(1, 0, kXiph, {1, 255, 255}), Fill(1000000, 255)}));
  const MkvElement element = source.First();
  MkvBlock block;
  EXPECT_EQ(block.Read(element, true), E_FAIL);
  EXPECT_LT(source.reader.Reads(), 20u);
}

TEST(Lacing, EveryReadThatFailsInTheHeadRejectsTheBlock) {
  for (const int flags : {+kXiph, +kFixed, +kEbml}) {
    const std::vector<Raw> frames{Fill(4, 1), Fill(4, 2), Fill(4, 3)};
    const Raw payload = flags == kXiph ? XiphLace(frames) : flags == kFixed ? FixedLace(frames) : EbmlLace(frames);
    const std::uint64_t headReads = payload.size() - 12;
    for (std::uint64_t n = 1; n <= headReads; ++n) {
      Source source(SimpleBlock(1, 0, flags, payload));
      const MkvElement element = source.First();
      MkvBlock block;
      block.ReadHeader(element);
      source.reader.FailRead(n, E_ABORT);
      EXPECT_EQ(block.ReadFrames(element), E_FAIL) << flags << " " << n;
      EXPECT_TRUE(block.frames.empty());
    }
  }
}

TEST(Lacing, FramesComeOutInLaceOrderWhateverTheLacing) {
  const std::vector<Raw> frames{Ramp(300), Ramp(1), Ramp(70), {}, Ramp(255), Ramp(510), Ramp(9)};
  for (const auto& [flags, payload] :
       std::vector<std::pair<int, Raw>>{{kXiph, XiphLace(frames)}, {kEbml, EbmlLace(frames)}}) {
    Source source(SimpleBlock(1, 0, flags, payload));
    MkvBlock block;
    EXPECT_EQ(block.Read(source.First(), true), S_OK);
    ASSERT_EQ(block.frames.size(), frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
      EXPECT_EQ(Raw(block.frames[i].begin(), block.frames[i].end()), frames[i]) << i;
    }
  }
}

}  // namespace
}  // namespace vantor::test
