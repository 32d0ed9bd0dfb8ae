// Ten thousand seeks from three threads while a fourth pauses, runs and stops, into sinks that hold and refuse samples.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "streaming/storm_sink.h"
#include "support/watchdog.h"

namespace vantor::test {
namespace {

constexpr unsigned kSeed = 20240317;
constexpr std::int64_t kSeeks = 10000;
constexpr int kSeekers = 3;

// The threads watch each other without ordering each other's memory: what the filter forgot to lock shall show.
template <typename T>
T Now(const std::atomic<T>& value) {
  return value.load(std::memory_order_relaxed);
}
template <typename T>
void Set(std::atomic<T>& value, T to) {
  value.store(to, std::memory_order_relaxed);
}

class SeekStormTest : public DemuxTest {
 protected:
  void SetUp() override {
    for (auto& target : targets_) target = -1;
    ASSERT_EQ(demux_.Connect(), S_OK);
    for (std::size_t track = 0; track < file_.tracks.size(); ++track) {
      const auto sink = StormSink::Create(file_, track, complaints_);
      const auto pin = demux_.Pin(static_cast<int>(track) + 1);
      ASSERT_EQ(pin->Connect(sink->Pin(), nullptr), S_OK);
      sink->knowsSegment = [this](std::int64_t start, std::int64_t stop) { return KnowsSegment(start, stop); };
      sink->callBack = [pin = pin.Get()] {
        LONGLONG current = 0;
        LONGLONG stop = 0;
        pin->GetPositions(&current, &stop);
        ComPtr<IPin> peer;
        pin->ConnectedTo(peer.Out());
      };
      sinks_.push_back(sink);
    }
  }
  void TearDown() override {
    demux_.Close();
    sinks_.clear();
    for (const std::string& complaint : complaints_.All()) ADD_FAILURE() << complaint;
    DemuxTest::TearDown();
  }

  // Every target is one of its own: whole milliseconds at random, and below them the number of the seek. So a segment
  // tells which seek it came from.
  bool KnowsSegment(std::int64_t start, std::int64_t stop) const {
    if (stop < start || stop > file_.duration) return false;
    if (start == 0) return true;
    const auto number = static_cast<std::size_t>(start % kSeeks);
    const std::int64_t asked = Now(stops_[number]);
    return Now(targets_[number]) == start && (asked < 0 || asked == stop);
  }

  void Seek(std::int64_t number, std::minstd_rand& random, IMediaSeeking& seeking) {
    const auto below = [&](std::int64_t end) { return static_cast<std::int64_t>(random()) % end; };
    static_assert(kSeeks <= kMillisecond);
    LONGLONG current = (1 + below(399)) * kMillisecond + number;
    LONGLONG stop = -1;
    if (below(4) == 0) stop = below(2) == 0 ? file_.duration : current + below(file_.duration - current + 1);
    const auto index = static_cast<std::size_t>(number);
    Set<std::int64_t>(targets_[index], current);
    Set<std::int64_t>(stops_[index], stop);
    const DWORD stopFlags = stop < 0 ? AM_SEEKING_NoPositioning : AM_SEEKING_AbsolutePositioning;
    if (seeking.SetPositions(&current, AM_SEEKING_AbsolutePositioning, &stop, stopFlags) != S_OK) {
      complaints_.Add("a seek failed");
    }
    done_.fetch_add(1, std::memory_order_relaxed);
  }

  std::uint64_t Arrived() const {
    std::uint64_t sum = 0;
    for (const auto& sink : sinks_) sum += sink->Arrived();
    return sum;
  }
  bool AllSettled() const {
    return std::all_of(sinks_.begin(), sinks_.end(), [](const auto& sink) { return sink->IsSettled(); });
  }
  // Until so many more samples have come, or none will come of itself.
  void LetPlay(std::uint64_t samples) const {
    const std::uint64_t enough = Arrived() + samples;
    while (Arrived() < enough && !AllSettled()) std::this_thread::yield();
  }

  void SeekMany(int seeker) {
    std::minstd_rand random(kSeed + static_cast<unsigned>(seeker));
    ComPtr<IMediaSeeking> seeking;
    if (seeker == 0) {
      seeking = ComPtr<IMediaSeeking>(&demux_.Filter());
    } else {
      seeking = ComPtr<IMediaSeeking>(demux_.Pin(seeker).Get());
    }
    for (std::int64_t number = next_.fetch_add(1, std::memory_order_relaxed); number < kSeeks;
         number = next_.fetch_add(1, std::memory_order_relaxed)) {
      // Some seeks come while the state changes; without a limit they would keep the change waiting for its locks. Most
      // shall meet a graph that is at work.
      while (number % 4 != 0 && (Now(changing_) || StartIsDue())) std::this_thread::yield();
      if (random() % 2 == 0) LetPlay(random() % (random() % 16 == 0 ? 600 : 30));
      Seek(number, random, *seeking.Get());
    }
  }

  bool StartIsDue() const { return Now(stopped_) && Now(done_) >= Now(due_); }

  // One change of state whenever some more seeks are done.
  void ChangeStates() {
    std::minstd_rand random(kSeed);
    std::int64_t due = 0;
    while (due < kSeeks) {
      while (Now(done_) < due) std::this_thread::yield();
      Set(changing_, true);
      switch (random() % 3) {
        case 0:
          Start([](IBaseFilter& filter) { return filter.Pause(); });
          break;
        case 1:
          Start([](IBaseFilter& filter) { return filter.Run(0); });
          break;
        default:
          Stop();
          break;
      }
      due += 1 + static_cast<std::int64_t>(random() % (Now(stopped_) ? 10 : 40));
      Set(due_, due);
      Set(changing_, false);
    }
  }

  template <typename Call>
  void Start(Call&& call) {
    if (Now(stopped_)) {
      for (const auto& sink : sinks_) sink->ExpectRun();
    }
    Set(stopped_, false);
    for (const auto& sink : sinks_) {
      if (call(*sink) != S_OK) complaints_.Add("a sink does not start");
    }
    if (call(demux_.Filter()) != S_OK) complaints_.Add("the filter does not start");
  }

  void Stop() {
    if (Now(stopped_)) return;
    for (const auto& sink : sinks_) sink->Stop();
    if (demux_.Filter().Stop() != S_OK) complaints_.Add("the filter does not stop");
    Set(stopped_, true);
    for (const auto& sink : sinks_) sink->ExpectStopped();
  }

  std::string State() const {
    std::string text = std::to_string(Now(done_)) + " seeks done, " + std::to_string(Arrived()) + " samples arrived";
    for (const auto& sink : sinks_) text += sink->IsSettled() ? ", settled" : ", under way";
    return text;
  }

  // What plays from a position to the end of the file: the numbers of the track's frames.
  std::vector<std::size_t> Expected(std::size_t track, std::int64_t from) const {
    const KnownTrack& frames = file_.tracks[track];
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i < frames.size(); ++i) {
      if (frames[i].block >= file_.BlockOf(from) && (frames[i].key || !numbers.empty())) numbers.push_back(i);
    }
    return numbers;
  }

  const KnownFile file_ = MakeKnownFile();
  Complaints complaints_;
  Demux demux_{file_.bytes};
  std::vector<ComPtr<StormSink>> sinks_;
  std::array<std::atomic<std::int64_t>, kSeeks> targets_;
  std::array<std::atomic<std::int64_t>, kSeeks> stops_{};
  std::atomic<std::int64_t> next_{0};
  std::atomic<std::int64_t> done_{0};
  std::atomic<std::int64_t> due_{0};  // so many seeks must be done before the next change of state
  std::atomic<bool> changing_{false};
  std::atomic<bool> stopped_{true};  // written by whoever changes states
};

TEST_F(SeekStormTest, TenThousandSeeksAmongStopsEndWhereTheLastOneLed) {
  const Watchdog watchdog([this] { return "the storm of seeks: " + State(); },
                          [this] { return static_cast<std::uint64_t>(Now(done_)) + Arrived(); });
  ASSERT_EQ(demux_.Seek(kMillisecond), S_OK);  // the thread that searches is there from now on
  ASSERT_EQ(demux_.Seek(0), S_OK);             // from where a run may begin that meets no seek
  const LONG alive = CBaseObject::ObjectsActive();
  std::vector<std::thread> threads;
  for (int seeker = 0; seeker < kSeekers; ++seeker) threads.emplace_back([this, seeker] { SeekMany(seeker); });
  threads.emplace_back([this] { ChangeStates(); });
  for (std::thread& thread : threads) thread.join();

  for (const auto& sink : sinks_) sink->BeWild(false);
  Start([](IBaseFilter& filter) { return filter.Run(0); });
  const std::int64_t last = 215 * kMillisecond;
  targets_[static_cast<std::size_t>(last % kSeeks)] = last;
  stops_[static_cast<std::size_t>(last % kSeeks)] = file_.duration;
  ASSERT_EQ(demux_.Seek(last, file_.duration), S_OK);
  while (!AllSettled()) std::this_thread::yield();
  Stop();
  EXPECT_EQ(CBaseObject::ObjectsActive(), alive);
  EXPECT_EQ(Now(done_), kSeeks);
  for (std::size_t track = 0; track < sinks_.size(); ++track) {
    SCOPED_TRACE("pin " + std::to_string(track + 1));
    EXPECT_EQ(sinks_[track]->Played(), Expected(track, last));
    EXPECT_TRUE(sinks_[track]->HasEnded());
    EXPECT_FALSE(sinks_[track]->Flushed().empty());
    EXPECT_EQ(sinks_[track]->Flushed(), sinks_[0]->Flushed()) << "all pins are led to the same places";
  }
}

TEST_F(SeekStormTest, RelativeSeeksFromSeveralThreadsAddUp) {
  constexpr int kEach = 2000;
  std::vector<std::thread> threads;
  for (int seeker = 0; seeker < kSeekers; ++seeker) {
    threads.emplace_back([this] {
      for (int i = 0; i < kEach; ++i) {
        LONGLONG step = 1;
        if (demux_.Filter().SetPositions(&step, AM_SEEKING_RelativePositioning, nullptr, AM_SEEKING_NoPositioning) !=
            S_OK) {
          complaints_.Add("a seek failed");
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  LONGLONG current = 0;
  EXPECT_EQ(demux_.Filter().GetCurrentPosition(&current), S_OK);
  EXPECT_EQ(current, kSeekers * kEach);
}

}  // namespace
}  // namespace vantor::test
