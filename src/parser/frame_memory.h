// How much of a file's frames may be in memory at once, over all pins. Tracks with numbers of their own share the
// file's bytes among them and cannot meet the limit; tracks of one number, and blocks that claim each other's bytes,
// would multiply them. A frame that is being delivered is there twice, as it was read and in its sample, so samples
// have a limit of their own; but all that is counted here is never more than a gibibyte.
//
//   const auto memory = std::make_shared<FrameMemory>(file.length);
//   if (memory->records.Take(size)) { ...; memory->records.Give(size); }
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace vantor {

// So many bytes, taken and given back by any thread; perhaps as a part of another budget, which outlives it.
class ByteBudget {
 public:
  explicit ByteBudget(std::uint64_t most, ByteBudget* whole = nullptr) : most_(most), whole_(whole) {}

  // False, and nothing taken, when that would pass the most there is.
  bool Take(std::uint64_t bytes) {
    std::uint64_t taken = taken_.load(std::memory_order_relaxed);
    do {
      if (bytes > most_ - taken) return false;
    } while (!taken_.compare_exchange_weak(taken, taken + bytes, std::memory_order_relaxed));
    if (whole_ == nullptr || whole_->Take(bytes)) return true;
    taken_.fetch_sub(bytes, std::memory_order_relaxed);
    return false;
  }
  void Give(std::uint64_t bytes) {
    taken_.fetch_sub(bytes, std::memory_order_relaxed);
    if (whole_ != nullptr) whole_->Give(bytes);
  }

  std::uint64_t Taken() const { return taken_.load(std::memory_order_relaxed); }

 private:
  const std::uint64_t most_;
  ByteBudget* const whole_;
  std::atomic<std::uint64_t> taken_{0};
};

struct FrameMemory {
  static constexpr std::uint64_t kSlack = std::uint64_t{32} << 20;
  static constexpr std::uint64_t kMost = std::uint64_t{1} << 30;
  static constexpr std::uint64_t kSampleSlack = std::uint64_t{8} << 20;
  // A record, and a pin's samples, of less than this are not counted, so that small frames cost no shared count. Bytes.
  static constexpr std::uint64_t kUncounted = 16384;
  static constexpr std::uint64_t kUncountedSample = 65536;

  explicit FrameMemory(std::uint64_t fileLength)
      : records(Within(fileLength, kSlack), &all),
        kept(Within(fileLength, kSlack) / 4, &all),
        samples(Within(fileLength, kSampleSlack), &all) {}

  ByteBudget all{kMost};
  ByteBudget records;  // frames read and not yet delivered
  ByteBudget kept;     // buffers that records keep for their next frames
  ByteBudget samples;  // for each pin the largest frame that its samples have held

 private:
  static std::uint64_t Within(std::uint64_t fileLength, std::uint64_t slack) {
    return std::min(fileLength, kMost - slack) + slack;
  }
};

}  // namespace vantor
