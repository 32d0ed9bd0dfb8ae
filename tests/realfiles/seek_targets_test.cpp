// Seeks to many places of every file of the test media, against what the file's Cues and its packet list say.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "realfiles/expected_samples.h"
#include "realfiles/recorded_run.h"
#include "realfiles/seek_oracle.h"

namespace vantor::test {
namespace {

constexpr unsigned kSeed = 20240229;
#ifdef _WIN32
constexpr int kTargets = 40;  // a run takes several times as long there as natively
#else
constexpr int kTargets = 200;
#endif
// Of so many targets one is played to its end; of the others the first samples are looked at.
constexpr int kTargetsATail = 20;
constexpr int kActiveTargets = 20;
constexpr std::size_t kFirstSamples = 3;
constexpr std::size_t kAll = static_cast<std::size_t>(-1);

// Where to, and up to where; without a stop, that stays as it is.
struct Target {
  std::int64_t current = 0;
  std::optional<std::int64_t> stop;
};

void PrintTo(const Target& target, std::ostream* out) {
  *out << target.current;
  if (target.stop) {
    *out << " up to " << *target.stop;
  }
}

// Records a run of one pin, up to so many samples, and then ends it by failing. A flush begins another.
class RunRecorder final : public SampleListener {
 public:
  void Begin(std::size_t limit) {
    limit_ = limit;
    Clear();
  }
  const RecordedPin& Seen() const { return seen_; }

  void OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept override {
    recorder_->OnNewSegment(start, stop, rate);
  }
  HRESULT OnSample(IMediaSample* sample) noexcept override {
    const HRESULT hr = recorder_->OnSample(sample);
    return SUCCEEDED(hr) && seen_.samples.size() >= limit_ ? E_FAIL : hr;
  }
  void OnEndOfStream() noexcept override { recorder_->OnEndOfStream(); }
  // The worker is stopped by now, and what it delivered while the flush went on belonged to the run before.
  void OnEndFlush() noexcept override { Clear(); }

 private:
  void Clear() {
    seen_ = {};
    recorder_ = MakeRecorder(seen_);
  }

  std::size_t limit_ = kAll;
  RecordedPin seen_;
  std::shared_ptr<SampleListener> recorder_ = MakeRecorder(seen_);
};

class SeekTargets : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    oracle_.emplace(GetParam());
    duration_ = ExpectedDuration(List());
    for (const ExpectedPin& pin : ExpectedPins(List())) {
      headers_.push_back(pin.headersFirst ? 3 : 0);
    }
    ASSERT_EQ(graph_.Create(TestedComponent()), S_OK);
    ASSERT_EQ(graph_.ConnectInput(MakeMemoryStore(ReadMedia(GetParam())), OLESTR("test.mkv")), S_OK);
    ASSERT_EQ(graph_.ConnectSinks([&](const GraphPin&) {
      recorders_.push_back(std::make_shared<RunRecorder>());
      return recorders_.back();
    }),
              S_OK);
    ASSERT_EQ(recorders_.size(), headers_.size());
    seeking_ = graph_.Seeking();
    ASSERT_TRUE(seeking_);
    stop_ = duration_;
  }

  void TearDown() override {
    seeking_.Reset();
    graph_.Close();
    EXPECT_TRUE(TestedComponent().CanUnloadNow());
  }

  const PacketList& List() const { return oracle_->List(); }

  // Anywhere, at and right beside the times that decide, and outside the file.
  Target RandomTarget() {
    const std::vector<std::int64_t> keys = oracle_->KeyTimes();
    const std::vector<std::int64_t> cues = oracle_->CueTimes();
    const auto below = [&](std::int64_t end) {
      return std::uniform_int_distribution<std::int64_t>(0, std::max<std::int64_t>(end, 1) - 1)(random_);
    };
    const auto beside = [&](const std::vector<std::int64_t>& times) {
      return times.empty()
                 ? 0
                 : times[static_cast<std::size_t>(below(static_cast<std::int64_t>(times.size())))] + below(3) - 1;
    };
    Target target;
    const std::int64_t kind = below(20);
    if (kind < 12) {
      target.current = below(duration_ + 1);
    } else if (kind < 16) {
      target.current = beside(keys);
    } else if (kind < 18) {
      target.current = beside(cues);
    } else {
      target.current = kind == 18 ? -below(duration_) : duration_ + below(duration_);
    }
    if (below(4) == 0) {
      target.stop = below(2) == 0 ? duration_ : below(duration_ + 1);
    }
    return target;
  }

  static std::string Name(int number, const Target& target) {
    return GetParam() + ", seed " + std::to_string(kSeed) + ", target " + std::to_string(number) + ": " +
           testing::PrintToString(target);
  }

  // A target that is where playing stands would be no seek at all.
  bool Stands(const Target& target) {
    LONGLONG current = 0;
    LONGLONG stop = 0;
    EXPECT_EQ(seeking_->GetPositions(&current, &stop), S_OK);
    return current == target.current && stop == target.stop.value_or(stop);
  }

  // So many samples of each pin, besides headers.
  void Begin(std::size_t limit) {
    for (std::size_t pin = 0; pin < recorders_.size(); ++pin) {
      recorders_[pin]->Begin(limit == kAll ? kAll : limit + headers_[pin]);
    }
  }

  // Seeks and works out what must be played then.
  void Seek(const Target& target) {
    LONGLONG current = target.current;
    LONGLONG stop = target.stop.value_or(-1);
    const DWORD stopFlags = target.stop ? AM_SEEKING_AbsolutePositioning : AM_SEEKING_NoPositioning;
    ASSERT_EQ(seeking_->SetPositions(&current, AM_SEEKING_AbsolutePositioning | AM_SEEKING_ReturnTime, &stop,
                                     stopFlags | AM_SEEKING_ReturnTime),
              S_OK);
    range_.start = std::clamp<std::int64_t>(target.current, 0, duration_);
    range_.stop = std::clamp<std::int64_t>(target.stop.value_or(stop_), range_.start, duration_);
    place_ = oracle_->Find(range_.start);
    if (!place_.reached) {
      range_.start = 0;
    }
    range_.firstBlocks = place_.firstBlocks;
    stop_ = range_.stop;
    // While it plays, what is being played may have moved on by the time the call returns.
    FILTER_STATE state = State_Stopped;
    graph_.Splitter()->GetState(0, &state);
    EXPECT_TRUE(state == State_Stopped ? current == range_.start : current >= range_.start) << current;
    EXPECT_EQ(stop, range_.stop);
  }

  // Compares what has been played since the last seek. The samples beyond the limit were not asked for.
  void ExpectPlayed(std::size_t limit) {
    const std::vector<ExpectedPin> expected = ExpectedPins(List(), range_);
    for (std::size_t pin = 0; pin < expected.size(); ++pin) {
      SCOPED_TRACE("pin " + std::to_string(pin + 1) + ", " + expected[pin].codec);
      const RecordedPin& seen = recorders_[pin]->Seen();
      EXPECT_EQ(seen.segments, (std::vector<RecordedSegment>{{range_.start, range_.stop, 1.0}}));
      EXPECT_EQ(seen.ends, 1);
      EXPECT_FALSE(seen.sampleOutsideStream);
      ASSERT_GE(seen.samples.size(), headers_[pin]);
      const std::vector<ExpectedSample> samples(seen.samples.begin() + static_cast<std::ptrdiff_t>(headers_[pin]),
                                                seen.samples.end());
      ASSERT_EQ(samples.size(), std::min(expected[pin].samples.size(), limit));
      for (std::size_t index = 0; index < samples.size(); ++index) {
        ASSERT_EQ(samples[index], expected[pin].samples[index]) << "sample " << index;
        EXPECT_EQ(samples[index].preroll,
                  samples[index].start < 0 || samples[index].start > range_.stop - range_.start);
      }
    }
    ExpectPictureBegins();
  }

  // The rule that everything else serves, without the oracle's help where the Cues name all there is to know.
  void ExpectPictureBegins() {
    const std::optional<std::size_t> reference = oracle_->Reference();
    if (!reference || List().tracks[*reference].codec.front() != 'V') {
      return;
    }
    const RecordedPin& pictures = recorders_.front()->Seen();
    ASSERT_FALSE(pictures.samples.empty()) << "a key frame at the least is delivered";
    const ExpectedSample& first = pictures.samples.front();
    EXPECT_TRUE(first.sync);
    EXPECT_TRUE(first.discontinuity);
    if (!place_.reached || range_.start == 0) {
      return;
    }
    EXPECT_EQ(first.start + range_.start, place_.keyTime);
    std::int64_t latest = 0;
    for (const std::int64_t key : oracle_->KeyTimes()) {
      latest = key <= range_.start ? std::max(latest, key) : latest;
    }
    EXPECT_EQ(first.start + range_.start, latest) << "the latest key frame that is not after the target";
  }

  void ExpectEnded() { ASSERT_EQ(graph_.Wait(), WaitResult::kEnded); }

  // Everything that a pin delivered since it last began, headers left out, at its own time of the file.
  std::vector<ExpectedSample> Timeless(std::size_t pin) const {
    std::vector<ExpectedSample> samples = recorders_[pin]->Seen().samples;
    samples.erase(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(headers_[pin]));
    for (ExpectedSample& sample : samples) {
      sample.start += range_.start;
      sample.stop += range_.start;
      sample.preroll = false;
      sample.discontinuity = false;
    }
    return samples;
  }

  void SeekWhile(bool running);

  std::minstd_rand random_{kSeed};
  std::optional<SeekOracle> oracle_;
  std::int64_t duration_ = 0;
  std::int64_t stop_ = 0;             // where playing stops now
  std::vector<std::size_t> headers_;  // how many a pin sends first
  Graph graph_;
  std::vector<std::shared_ptr<RunRecorder>> recorders_;
  ComPtr<IMediaSeeking> seeking_;
  ExpectedRange range_;  // of the last seek
  SeekPlace place_;
};

TEST_P(SeekTargets, AStoppedSeekBeginsAtTheKeyFrameThatTheCuesReach) {
  for (int number = 0; number < kTargets; ++number) {
    Target target = RandomTarget();
    while (Stands(target)) {
      ++target.current;
    }
    SCOPED_TRACE(Name(number, target));
    const std::size_t limit = number % kTargetsATail == 0 ? kAll : kFirstSamples;
    Begin(limit);
    Seek(target);
    ASSERT_GE(number % 2 == 0 ? graph_.Pause() : graph_.Run(), S_OK);
    ExpectEnded();
    ASSERT_GE(graph_.Stop(), S_OK);
    ExpectPlayed(limit);
    if (HasFailure()) {
      return;
    }
  }
}

// Every other target is given up for the next one while it may still be playing.
void SeekTargets::SeekWhile(bool running) {
  Begin(kAll);
  ASSERT_GE(running ? graph_.Run() : graph_.Pause(), S_OK);
  for (int number = 0; number < kActiveTargets; ++number) {
    const Target target = RandomTarget();
    SCOPED_TRACE(Name(number, target));
    if (number % 2 != 0) {
      ExpectEnded();
    }
    if (Stands(target)) {
      continue;
    }
    Seek(target);
    if (number % 2 != 0) {
      ExpectEnded();
      ExpectPlayed(kAll);
    }
    if (HasFailure()) {
      return;
    }
  }
}

TEST_P(SeekTargets, ASeekWhilePausedPlaysTheSame) { SeekWhile(false); }
TEST_P(SeekTargets, ASeekWhileRunningPlaysTheSame) { SeekWhile(true); }

TEST_P(SeekTargets, TheSamplesAfterASeekAreThoseOfAWholeRun) {
  Begin(kAll);
  ASSERT_GE(graph_.Run(), S_OK);
  ExpectEnded();
  std::vector<RecordedPin> wholePins;
  std::vector<std::vector<ExpectedSample>> whole;
  for (std::size_t pin = 0; pin < recorders_.size(); ++pin) {
    wholePins.push_back(recorders_[pin]->Seen());
    whole.push_back(Timeless(pin));
  }
  for (std::int64_t tenth = 9; tenth >= 0; --tenth) {
    const Target target{duration_ * tenth / 10, duration_};
    SCOPED_TRACE(GetParam() + ", target " + testing::PrintToString(target));
    Seek(target);
    ExpectEnded();
    for (std::size_t pin = 0; pin < recorders_.size(); ++pin) {
      const std::vector<ExpectedSample> tail = Timeless(pin);
      ASSERT_LE(tail.size(), whole[pin].size());
      EXPECT_TRUE(std::equal(tail.rbegin(), tail.rend(), whole[pin].rbegin())) << "pin " << pin + 1;
      if (tenth == 0) {
        EXPECT_TRUE(recorders_[pin]->Seen() == wholePins[pin]) << "pin " << pin + 1 << " from the beginning";
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Media, SeekTargets, testing::ValuesIn(MediaNames()), [](const auto& media) {
  std::string name = media.param;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
});

}  // namespace
}  // namespace vantor::test
