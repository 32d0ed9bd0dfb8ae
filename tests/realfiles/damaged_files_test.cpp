// Cut files and failing sources through the whole chain: the connection is refused or the streams end, and nothing
// stays.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "realfiles/recorded_run.h"

namespace vantor::test {
namespace {

const auto kRefusals = testing::AnyOf(S_OK, E_FAIL, E_UNEXPECTED);

// What a cut file gives is the beginning of what the whole file gives: the same payloads, then at most the block that
// the cut went through, its frames shorter than they were.
void ExpectBeginningOf(const RecordedRun& whole, const RecordedRun& cut) {
  ASSERT_LE(cut.pins.size(), whole.pins.size());
  for (std::size_t pin = 0; pin < cut.pins.size(); ++pin) {
    const std::vector<ExpectedSample>& before = whole.pins[pin].samples;
    const std::vector<ExpectedSample>& after = cut.pins[pin].samples;
    ASSERT_LE(after.size(), before.size()) << cut.pins[pin].name;
    bool shortened = false;
    for (std::size_t index = 0; index < after.size(); ++index) {
      if (shortened) {
        EXPECT_EQ(after[index].size, 0U) << cut.pins[pin].name << " sample " << index;
      } else if (after[index].size == before[index].size) {
        EXPECT_EQ(after[index].crc32, before[index].crc32) << cut.pins[pin].name << " sample " << index;
      } else {
        EXPECT_LT(after[index].size, before[index].size) << cut.pins[pin].name << " sample " << index;
        shortened = true;
      }
    }
  }
}

void CutEverywhere(const std::string& name, std::size_t step) {
  const std::vector<unsigned char> bytes = ReadMedia(name);
  ASSERT_FALSE(bytes.empty());
  const RecordedRun whole = Record(MakeMemoryStore(bytes));
  ASSERT_EQ(whole.connect, S_OK);
  std::size_t refused = 0;
  std::size_t accepted = 0;
  for (std::size_t size = 0; size < bytes.size(); size += step) {
    SCOPED_TRACE(name + " cut to " + std::to_string(size) + " bytes");
    const auto end = bytes.begin() + static_cast<std::ptrdiff_t>(size);
    const RecordedRun cut = Record(MakeMemoryStore(std::vector<unsigned char>(bytes.begin(), end)));
    ASSERT_THAT(cut.connect, kRefusals);
    ++(SUCCEEDED(cut.connect) ? accepted : refused);
    ExpectBeginningOf(whole, cut);
    if (testing::Test::HasFailure()) {
      return;
    }
  }
  EXPECT_GT(refused, 0U) << "a file without its first Cluster is refused";
  EXPECT_GT(accepted, 0U) << "a file cut after its first Cluster plays";
}

// Passes reads on to memory, but for one, or for one and all that follow.
class FailingStore final : public ByteStore {
 public:
  FailingStore(const std::vector<unsigned char>& bytes, std::uint64_t failing, bool andLater)
      : bytes_(MakeMemoryStore(bytes)), failing_(failing), andLater_(andLater) {}

  std::int64_t Length() const noexcept override { return bytes_->Length(); }
  bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override {
    const std::uint64_t number = ++reads_;
    const bool fails = andLater_ ? number >= failing_ : number == failing_;
    if (fails) {
      failed_ = true;
      return false;
    }
    return bytes_->Read(position, buffer, size);
  }

  bool Failed() const noexcept { return failed_; }

 private:
  std::shared_ptr<ByteStore> bytes_;
  const std::uint64_t failing_;
  const bool andLater_;
  std::atomic<std::uint64_t> reads_{0};
  std::atomic<bool> failed_{false};
};

void FailEveryRead(const std::string& name, bool andLater) {
  const std::vector<unsigned char> bytes = ReadMedia(name);
  ASSERT_FALSE(bytes.empty());
  const RecordedRun whole = Record(MakeMemoryStore(bytes));
  ASSERT_EQ(whole.connect, S_OK);
  bool failed = true;
  bool accepted = false;
  std::uint64_t number = 1;
  for (; failed; ++number) {
    SCOPED_TRACE(name + (andLater ? " failing from read " : " failing at read ") + std::to_string(number));
    const auto store = std::make_shared<FailingStore>(bytes, number, andLater);
    const RecordedRun run = Record(store);
    failed = store->Failed();
    ASSERT_THAT(run.connect, kRefusals);
    ASSERT_LE(run.pins.size(), whole.pins.size());
    if (number == 1) {
      EXPECT_EQ(run.connect, E_FAIL) << "the first read is that of the file's first four bytes";
    }
    if (andLater && accepted) {
      EXPECT_EQ(run.connect, S_OK) << "with one more read answered the file was accepted before";
    }
    accepted = SUCCEEDED(run.connect);
    if (!failed) {
      EXPECT_TRUE(run.pins == whole.pins) << "a run without a failed read is whole";
    }
    if (testing::Test::HasFailure()) {
      return;
    }
  }
  EXPECT_GT(number, whole.reads / 2) << "the loop went through the reads of a whole run";
}

TEST(CutFiles, EverywhereInSubtitles) { CutEverywhere("subtitles.mks", 1); }
TEST(CutFiles, EverywhereInAPictureWithCues) { CutEverywhere("avc_aac.mkv", 211); }
TEST(CutFiles, EverywhereInAFileWithoutCues) { CutEverywhere("avc_no_cues.mkv", 257); }
TEST(CutFiles, EverywhereInALiveFile) { CutEverywhere("vp8_vorbis_live.webm", 173); }
TEST(CutFiles, EverywhereInLacedSound) { CutEverywhere("flac_laced.mka", 241); }
TEST(CutFiles, EverywhereInStrippedFrames) { CutEverywhere("asp_stripped.mkv", 127); }

TEST(FailingReads, OneAnywhereEndsOrderly) { FailEveryRead("subtitles.mks", false); }
TEST(FailingReads, AllFromAnywhereEndOrderly) { FailEveryRead("subtitles.mks", true); }
TEST(FailingReads, OneAnywhereInLacedSoundEndsOrderly) { FailEveryRead("flac_laced.mka", false); }

}  // namespace
}  // namespace vantor::test
