// Finds the first sequence and picture parameter sets in data of unknown framing and writes them as a configuration.
//
// The framing is guessed once, from the start: the letters "avcC" anywhere mean a stored configuration, a start code at
// the front means start codes, two 2-byte lengths that fit mean 2-byte lengths. Frames with 4-byte lengths below 65,536
// pass for the last as well, with an empty unit in front of every real one, since empty units are stepped over.
#include "mediatypes/avc_config.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "mediatypes/nal_units.h"
#include "platform/big_endian.h"

namespace vantor {

namespace {

constexpr std::size_t kSmallestInput = 9;
constexpr std::size_t kSmallestSequenceSet = 4;
constexpr std::size_t kLargestSet = 65535;
constexpr std::uint8_t kLetters[] = {'a', 'v', 'c', 'C'};

// The first parameter set of each kind.
class ParameterSets {
 public:
  void Offer(ByteSpan unit) {
    if (unit.empty()) return;
    const int type = unit[0] & 31;
    if (type == 7 && sequence.empty()) sequence = unit;
    if (type == 8 && picture.empty()) picture = unit;
  }
  bool Complete() const { return !sequence.empty() && !picture.empty(); }

  ByteSpan sequence;
  ByteSpan picture;
};

void WalkLengths(ByteSpan bytes, ParameterSets& sets) {
  ByteSpan unit;
  while (!sets.Complete() && TakeUnit(bytes, unit)) sets.Offer(unit);
}

bool StartsWithStartCode(ByteSpan bytes) {
  const std::size_t zeros = bytes[2] == 0 ? 3 : 2;
  return bytes[0] == 0 && bytes[1] == 0 && bytes[zeros] == 1;
}

bool StartsWithTwoLengths(ByteSpan bytes) {
  ByteSpan unit;
  return TakeUnit(bytes, unit) && TakeUnit(bytes, unit);
}

ParameterSets FindParameterSets(ByteSpan bytes) {
  ParameterSets sets;
  const auto offer = [&](ByteSpan unit) {
    sets.Offer(unit);
    return !sets.Complete();
  };
  const auto letters = std::search(bytes.begin(), bytes.end(), std::begin(kLetters), std::end(kLetters));
  if (letters != bytes.end()) {
    // As far as its sets go: a record that is cut short may still hold the first two.
    VisitParameterSets(bytes.subspan(static_cast<std::size_t>(letters - bytes.begin()) + sizeof(kLetters)), offer);
  } else if (StartsWithStartCode(bytes)) {
    VisitUnitsAfterStartCodes(bytes, offer);
  } else if (StartsWithTwoLengths(bytes)) {
    WalkLengths(bytes, sets);
  }
  return sets;
}

}  // namespace

bool BuildAvcConfig(const std::uint8_t* data, std::size_t size, Bytes& box) {
  if (data == nullptr || size < kSmallestInput) return false;
  const ParameterSets sets = FindParameterSets({data, size});
  if (!sets.Complete()) return false;
  const ByteSpan sequence = sets.sequence;
  if (sequence.size() < kSmallestSequenceSet || sequence.size() > kLargestSet || sets.picture.size() > kLargestSet) {
    return false;
  }

  const std::size_t boxSize = kAvcBoxHeaderSize + 5 + 1 + (2 + sequence.size()) + 1 + (2 + sets.picture.size());
  Bytes written(4);
  written.reserve(boxSize);
  StoreBigEndian(written.data(), written.size(), boxSize);
  written.insert(written.end(), std::begin(kLetters), std::end(kLetters));
  written.insert(written.end(), {1, sequence[1], sequence[2], sequence[3]});
  written.push_back(0xFF);  // 4-byte lengths
  written.push_back(0xE1);  // one sequence set
  AppendUnit(written, sequence);
  written.push_back(1);  // one picture set
  AppendUnit(written, sets.picture);
  box = std::move(written);
  return true;
}

}  // namespace vantor
