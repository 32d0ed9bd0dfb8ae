#include "streaming/storm_sink.h"

#include <algorithm>
#include <utility>

namespace vantor::test {

namespace {

constexpr int kClusters = 4;
constexpr int kClusterMilliseconds = 100;
constexpr int kBlockMilliseconds = 5;
constexpr int kBlocksACluster = kClusterMilliseconds / kBlockMilliseconds;
// The order of the pins; the numbers of the file's tracks are others.
enum Track : std::size_t { kPictures, kLargePictures, kSound, kSubtitles };

class FileMaker {
 public:
  KnownFile Make() {
    std::vector<TimedCluster> clusters;
    for (int cluster = 0; cluster < kClusters; ++cluster) {
      TimedCluster made{static_cast<std::uint64_t>(cluster) * kClusterMilliseconds, {}};
      for (int i = 0; i < kBlocksACluster; ++i) {
        relative_ = i * kBlockMilliseconds;
        now_ = (cluster * kClusterMilliseconds + relative_) * kMillisecond;
        const int number = cluster * kBlocksACluster + i;
        // So that key frames open some Clusters only.
        const bool key = number % 7 == 0;
        made.blocks.push_back(SimpleBlock(1, relative_, key ? kKey : 0, Frame(kPictures, key, 200, 0)));
        NextBlock();
        const Raw first = Frame(kSound, true, 20, 0);
        made.blocks.push_back(
            SimpleBlock(2, relative_, kKey | kFixed, FixedLace({first, Frame(kSound, false, 20, 1)})));
        NextBlock();
        const bool largeKey = number % 3 == 0;
        made.blocks.push_back(SimpleBlock(3, relative_, largeKey ? kKey : 0, Frame(kLargePictures, largeKey, 1100, 0)));
        NextBlock();
        if (number % 2 == 0) {
          made.blocks.push_back(BlockGroup({Block(4, relative_, 0, Frame(kSubtitles, true, 10, 0)), BlockDuration(8)}));
          NextBlock();
        }
      }
      clusters.push_back(made);
    }
    file_.duration = std::int64_t{kClusters} * kClusterMilliseconds * kMillisecond;
    file_.bytes = MediaFile(kClusters * kClusterMilliseconds,
                            {VideoTrack(1), AudioTrack(2), VideoTrack(3), SubtitleTrack(4)}, clusters);
    SetStops();
    return std::move(file_);
  }

 private:
  Raw Frame(Track track, bool key, std::size_t size, int inBlock) {
    KnownTrack& frames = file_.tracks[track];
    Raw bytes = Fill(size, static_cast<std::uint8_t>(frames.size() * 7 + track));
    bytes[0] = static_cast<std::uint8_t>(frames.size() >> 8);
    bytes[1] = static_cast<std::uint8_t>(frames.size());
    frames.push_back({now_ + inBlock * kBlockMilliseconds * kMillisecond / 2, 0, key, block_, bytes});
    return bytes;
  }
  void NextBlock() { ++block_; }

  // A frame lasts until the next of its track; the last, unless the file says more, for one unit.
  void SetStops() {
    for (std::size_t track = 0; track < file_.tracks.size(); ++track) {
      KnownTrack& frames = file_.tracks[track];
      for (std::size_t i = 0; i < frames.size(); ++i) {
        frames[i].stop = i + 1 < frames.size() ? frames[i + 1].start : frames[i].start + 1;
        if (track == kSubtitles) frames[i].stop = frames[i].start + 8 * kMillisecond;
      }
    }
    KnownTrack& sound = file_.tracks[kSound];
    KnownFrame& last = sound.back();
    KnownFrame& beforeLast = sound[sound.size() - 2];
    beforeLast.stop = beforeLast.start + 1;
    last.start = beforeLast.stop;
    last.stop = last.start + 1;
  }

  KnownFile file_;
  std::size_t block_ = 0;
  int relative_ = 0;
  std::int64_t now_ = 0;
};

}  // namespace

KnownFile MakeKnownFile() { return FileMaker().Make(); }

std::size_t KnownFile::BlockOf(std::int64_t target) const {
  // A Cluster that has no key frame up to the target leaves the search to the one before.
  const KnownTrack& pictures = tracks[kPictures];
  for (std::int64_t cluster = kClusters - 1; cluster >= 0; --cluster) {
    const std::int64_t begin = cluster * kClusterMilliseconds * kMillisecond;
    const std::int64_t end = begin + kClusterMilliseconds * kMillisecond;
    const KnownFrame* found = nullptr;
    for (const KnownFrame& frame : pictures) {
      if (frame.key && frame.start >= begin && frame.start < end && frame.start <= target) found = &frame;
    }
    if (found != nullptr) return found->block;
  }
  return 0;
}

void Complaints::Add(const std::string& text) {
  const std::lock_guard<std::mutex> hold(lock_);
  if (texts_.size() < 20) texts_.push_back(text);
}

std::vector<std::string> Complaints::All() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return texts_;
}

class StormSink::Call {
 public:
  explicit Call(StormSink& sink) : sink_(sink) {
    if (sink_.inside_.fetch_add(1, std::memory_order_relaxed) != 0) sink_.Complain("two calls of the worker at once");
  }
  ~Call() { sink_.inside_.fetch_sub(1, std::memory_order_relaxed); }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

 private:
  StormSink& sink_;
};

HRESULT StormSinkPin::Active() {
  const std::lock_guard<std::mutex> hold(Owner()->gate_);
  Owner()->stopped_ = false;
  return CBaseInputPin::Active();
}

HRESULT StormSinkPin::Inactive() {
  {
    const std::lock_guard<std::mutex> hold(Owner()->gate_);
    Owner()->stopped_ = true;
  }
  Owner()->opened_.notify_all();
  return CBaseInputPin::Inactive();
}

STDMETHODIMP StormSinkPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double) {
  const StormSink::Call call(*Owner());
  Owner()->OnSegment(start, stop);
  return S_OK;
}

STDMETHODIMP StormSinkPin::Receive(IMediaSample* sample) {
  const StormSink::Call call(*Owner());
  Owner()->OnSample(sample);
  HRESULT result = CBaseInputPin::Receive(sample);
  if (result == S_OK) result = Owner()->Answer();
  if (FAILED(result)) Owner()->run_.mustEnd = true;
  return result;
}

STDMETHODIMP StormSinkPin::EndOfStream() {
  const StormSink::Call call(*Owner());
  Owner()->OnEnd();
  return S_OK;
}

STDMETHODIMP StormSinkPin::BeginFlush() {
  if (Owner()->flushes_++ % 2 != 0) Owner()->Complain("a flush inside a flush");
  const HRESULT result = CBaseInputPin::BeginFlush();
  {
    const std::lock_guard<std::mutex> hold(Owner()->gate_);
    Owner()->flushing_ = true;
  }
  Owner()->opened_.notify_all();
  return result;
}

STDMETHODIMP StormSinkPin::EndFlush() {
  if (Owner()->flushes_++ % 2 != 1) Owner()->Complain("the end of a flush that did not begin");
  Owner()->EndRun();
  Owner()->run_.afterFlush = true;
  const HRESULT result = CBaseInputPin::EndFlush();
  const std::lock_guard<std::mutex> hold(Owner()->gate_);
  Owner()->flushing_ = false;
  return result;
}

ComPtr<StormSink> StormSink::Create(const KnownFile& file, std::size_t track, Complaints& complaints) {
  return ComPtr<StormSink>(new StormSink(file, track, complaints));
}

StormSink::StormSink(const KnownFile& file, std::size_t track, Complaints& complaints)
    : file_(file),
      trackNumber_(track),
      track_(file.tracks[track]),
      complaints_(complaints),
      random_(static_cast<unsigned>(20240317 + track)) {}

void StormSink::Complain(const std::string& text) const {
  std::string played;
  if (!run_.played.empty()) played = ", last frame " + std::to_string(run_.played.back());
  complaints_.Add("pin " + std::to_string(trackNumber_ + 1) + ", segment " + std::to_string(run_.start) + " to " +
                  std::to_string(run_.stop) + played + ": " + text);
}

void StormSink::EndRun() {
  if (inside_.load(std::memory_order_relaxed) != 0) Complain("a call of the worker is under way when its run is over");
  if (!run_.announced) Complain("a run without a segment");
  last_ = std::move(run_);
  run_ = {};
  Settle(false);
}

void StormSink::ExpectRun() {
  if (run_.announced) Complain("a run that nobody saw stop");
  run_ = {};
  Settle(false);
}

void StormSink::ExpectStopped() {
  EndRun();
  Settle(true);
}

std::size_t StormSink::NextKey(std::size_t from) const {
  while (from < track_.size() && !track_[from].key) ++from;
  return from;
}

void StormSink::OnSegment(std::int64_t start, std::int64_t stop) {
  if (run_.announced) Complain("a second segment, " + std::to_string(start));
  run_.announced = true;
  run_.start = start;
  run_.stop = stop;
  if (knowsSegment && !knowsSegment(start, stop)) Complain("nobody asked for this segment");
  if (run_.afterFlush) flushed_.push_back(start);
  if (start == position_) return;  // stopped and started again: goes on
  position_ = start;
  run_.exact = true;
  next_ = 0;
  const std::size_t block = file_.BlockOf(start);
  while (next_ < track_.size() && track_[next_].block < block) ++next_;
  next_ = NextKey(next_);
}

void StormSink::OnSample(IMediaSample* sample) {
  arrived_.fetch_add(1, std::memory_order_relaxed);
  BYTE* data = nullptr;
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  const auto size = static_cast<std::size_t>(sample->GetActualDataLength());
  if (FAILED(sample->GetPointer(&data)) || sample->GetTime(&start, &stop) != S_OK || size < 2) {
    return Complain("a sample without time or bytes");
  }
  const std::size_t number = static_cast<std::size_t>(data[0]) << 8 | data[1];
  const auto complain = [&](const std::string& text) { Complain("frame " + std::to_string(number) + ": " + text); };
  if (number >= track_.size()) return complain("not of this file");
  const KnownFrame& frame = track_[number];
  if (!run_.announced) complain("before the segment");
  if (run_.ended) complain("after the end of the stream");
  if (run_.mustEnd) complain("after the stop position or a failure");

  const bool first = run_.played.empty();
  // A frame that was under way when a run was stopped is lost; what is left begins anew with a key frame.
  const bool follows = first && !run_.exact ? number >= next_ && frame.key : number == next_;
  if (!follows) complain("out of turn, expected " + std::to_string(next_));
  if (start + run_.start != frame.start || stop + run_.start != frame.stop) {
    complain("starts at " + std::to_string(start) + " and stops at " + std::to_string(stop));
  }
  const std::int64_t length = run_.stop - run_.start;
  if ((sample->IsSyncPoint() == S_OK) != frame.key) complain("sync point");
  if ((sample->IsDiscontinuity() == S_OK) != first) complain("discontinuity");
  if ((sample->IsPreroll() == S_OK) != (start < 0 || start > length)) complain("preroll");
  if (size != frame.bytes.size() || !std::equal(frame.bytes.begin(), frame.bytes.end(), data)) complain("other bytes");
  if (frame.key && start >= length) run_.mustEnd = true;
  run_.played.push_back(number);
  next_ = number + 1;
}

void StormSink::OnEnd() {
  if (!run_.announced) Complain("an end before the segment");
  if (run_.ended) Complain("a second end");
  run_.ended = true;
  const bool unknown = run_.played.empty() && !run_.exact;
  if (!run_.mustEnd && !unknown && next_ < track_.size()) Complain("an end before the last frame");
  Settle(true);
}

HRESULT StormSink::Answer() {
  if (!wild_.load(std::memory_order_relaxed)) return S_OK;
  switch (random_() % 64) {
    case 0:
      return E_FAIL;
    case 1:
      return S_FALSE;
    case 2:
    case 3:
      return Hold();
    case 4:
      if (callBack) callBack();
      return S_OK;
    default:
      return S_OK;
  }
}

HRESULT StormSink::Hold() {
  std::unique_lock<std::mutex> hold(gate_);
  Settle(true);
  opened_.wait(hold, [this] { return flushing_ || stopped_; });
  return flushing_ ? S_FALSE : VFW_E_WRONG_STATE;
}

}  // namespace vantor::test
