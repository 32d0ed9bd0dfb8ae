#include "support/control_file.h"

#include <algorithm>
#include <string>

namespace vantor::test {

namespace {

// Pictures of 16 times 16 are given buffers of 1,024 bytes.
constexpr std::size_t kLarge = 5000;
constexpr std::uint64_t kClusterMilliseconds = 60;
constexpr int kBlockMilliseconds = 20;

class Maker {
 public:
  ControlFile Make() {
    const Raw first =
        Cluster(0, {Plain(0, 0), Laced(1, 0, 2), Plain(0, 1, kLarge), Plain(1, 1), Laced(0, 2, 3), Plain(1, 2)});
    const Raw second = Cluster(kClusterMilliseconds, {Plain(0, 0, 2 * kLarge), Plain(1, 0), Plain(0, 1, 30),
                                                      Laced(1, 1, 4), Plain(0, 2), Plain(1, 2)});
    file_.seekTarget = static_cast<std::int64_t>(kClusterMilliseconds) * 10000 + 1;
    file_.bytes =
        MkvFile({Part(Info(1000000, 120)),
                 Part(Tracks({Track(1, 1, "V_VP8", {Video(16, 16)}), Track(2, 2, "A_AC3", {Audio(48000, 2)})})),
                 Part("first", first), Part("second", second), Part([](const Positions& at) {
                   return Cues({CuePoint(0, 1, at["first"]), CuePoint(kClusterMilliseconds, 1, at["second"])});
                 })});
    for (std::size_t track = 0; track < 2; ++track) file_.secondBlock[track] = Find(second_[track]);
    file_.soughtBlock = Find(file_.frames[0][file_.frames[0].size() - 3]);
    return file_;
  }

 private:
  // Every frame is like no other: it begins with its track and its number.
  Raw Frame(std::size_t track, std::size_t size) {
    std::vector<Raw>& frames = file_.frames[track];
    Raw bytes = Ramp(size);
    bytes[0] = static_cast<std::uint8_t>(0xC0 + track);
    bytes[1] = static_cast<std::uint8_t>(frames.size());
    bytes[2] = 0xFE;
    frames.push_back(bytes);
    return bytes;
  }
  static int TimeOf(int block) { return block * kBlockMilliseconds; }
  Raw Plain(std::size_t track, int block, std::size_t size = 100) {
    if (block == 1 && second_[track].empty()) file_.framesBefore[track] = file_.frames[track].size();
    const Raw frame = Frame(track, size);
    if (block == 1 && second_[track].empty()) second_[track] = frame;
    return SimpleBlock(track + 1, TimeOf(block), kKey, frame);
  }
  Raw Laced(std::size_t track, int block, int count) {
    std::vector<Raw> frames;
    for (int i = 0; i < count; ++i) frames.push_back(Frame(track, 40));
    return SimpleBlock(track + 1, TimeOf(block), kKey | kXiph, XiphLace(frames));
  }
  std::uint64_t Find(const Raw& frame) const {
    const auto found = std::search(file_.bytes.begin(), file_.bytes.end(), frame.begin(), frame.end());
    return static_cast<std::uint64_t>(found - file_.bytes.begin());
  }

  ControlFile file_;
  std::array<Raw, 2> second_;
};

}  // namespace

const ControlFile& ControlFile::Get() {
  static const ControlFile file = Maker().Make();
  return file;
}

}  // namespace vantor::test
