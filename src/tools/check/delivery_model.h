// DeliveryModel: what becomes of the blocks of one track number, told from their headers: what the filter delivers of
// them when it plays the file from its beginning.
//
//   DeliveryModel model({.hasPin = true, .stop = summary.stop});
//   const std::size_t delivered = model.Take({.start = 0, .isKey = true, .frames = 1});
#pragma once

#include <cstddef>
#include <cstdint>

namespace vantor::tools {

// A record as the filter reads it: a SimpleBlock, or a BlockGroup with all its Blocks.
struct FilterBlock {
  std::int64_t start = 0;  // 100 ns from the file's first Cluster
  bool isKey = false;
  std::size_t frames = 0;
};

class DeliveryModel {
 public:
  struct Settings {
    bool hasPin = false;
    bool sendsHeaders = false;      // codec headers go out first, and nothing waits for a key frame then
    bool hasOnlyKeyFrames = false;  // whatever the blocks say
    std::int64_t stop = 0;          // where playing ends, 100 ns
  };
  enum class Fate { kDelivered, kNoPin, kBeforeKeyFrame, kBehindEnd };

  explicit DeliveryModel(const Settings& settings) : settings_(settings), isWaiting_(!settings.sendsHeaders) {}

  // How many frames of the track's next record go out, from the first on; LastFate() says what becomes of the others.
  std::size_t Take(const FilterBlock& block) {
    const bool isKey = block.isKey || settings_.hasOnlyKeyFrames;
    fate_ = Fate::kDelivered;
    if (!settings_.hasPin) {
      fate_ = Fate::kNoPin;
    } else if (hasEnded_) {
      fate_ = Fate::kBehindEnd;
    } else if (isWaiting_ && !isKey) {
      fate_ = Fate::kBeforeKeyFrame;
    }
    if (fate_ != Fate::kDelivered || block.frames == 0) return 0;
    if (!isKey) return block.frames;
    isWaiting_ = false;
    // The end is looked at behind the first frame of a key frame's record, and nowhere else.
    hasEnded_ = block.start >= settings_.stop;
    if (!hasEnded_) return block.frames;
    fate_ = Fate::kBehindEnd;
    return 1;
  }
  Fate LastFate() const { return fate_; }
  bool IsWaiting() const { return isWaiting_; }

 private:
  Settings settings_;
  bool isWaiting_;
  bool hasEnded_ = false;
  Fate fate_ = Fate::kDelivered;
};

}  // namespace vantor::tools
