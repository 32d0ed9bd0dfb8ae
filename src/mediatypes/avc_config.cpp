// Finds the first sequence and picture parameter sets in data of unknown framing and writes them as a configuration.
//
// The framing is guessed once, from the start: the letters "avcC" anywhere mean a stored configuration, a start code at
// the front means start codes, two 2-byte lengths that fit mean 2-byte lengths. Frames with 4-byte lengths below 65,536
// pass for the last as well, with an empty unit in front of every real one, since empty units are stepped over.
#include "mediatypes/avc_config.h"

#include <algorithm>
#include <cstring>

namespace vantor {

namespace {

constexpr std::size_t kSmallestInput = 9;
constexpr std::size_t kSmallestSequenceSet = 4;
constexpr std::size_t kLargestSet = 65535;
constexpr std::uint8_t kLetters[] = {'a', 'v', 'c', 'C'};

struct Span {
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;

  std::uint8_t operator[](std::size_t index) const { return data[index]; }
  Span From(std::size_t offset) const { return {data + offset, size - offset}; }
  Span First(std::size_t count) const { return {data, count}; }
};

std::size_t BigEndian16(Span bytes) { return static_cast<std::size_t>(bytes[0]) << 8 | bytes[1]; }

// The first parameter set of each kind.
class ParameterSets {
 public:
  void Offer(Span unit) {
    if (unit.size == 0) return;
    const int type = unit[0] & 31;
    if (type == 7 && sequence.data == nullptr) sequence = unit;
    if (type == 8 && picture.data == nullptr) picture = unit;
  }
  bool Complete() const { return sequence.data != nullptr && picture.data != nullptr; }

  Span sequence;
  Span picture;
};

// Takes a unit with a 2-byte length from the front of the bytes; false when it does not fit.
bool TakeUnit(Span& bytes, Span& unit) {
  if (bytes.size < 2) return false;
  const std::size_t length = BigEndian16(bytes);
  if (length > bytes.size - 2) return false;
  unit = bytes.From(2).First(length);
  bytes = bytes.From(2 + length);
  return true;
}

// Takes `count` units from the front of the bytes.
bool WalkArray(Span& bytes, unsigned count, ParameterSets& sets) {
  Span unit;
  for (unsigned i = 0; i < count; ++i) {
    if (!TakeUnit(bytes, unit)) return false;
    sets.Offer(unit);
  }
  return true;
}

void WalkStoredConfiguration(Span record, ParameterSets& sets) {
  constexpr std::size_t kSequenceCount = 5;
  if (record.size <= kSequenceCount) return;
  Span rest = record.From(kSequenceCount + 1);
  if (!WalkArray(rest, record[kSequenceCount] & 31U, sets) || rest.size == 0) return;
  const unsigned pictureCount = rest[0];
  rest = rest.From(1);
  WalkArray(rest, pictureCount, sets);
}

void WalkLengths(Span bytes, ParameterSets& sets) {
  Span unit;
  while (!sets.Complete() && TakeUnit(bytes, unit)) sets.Offer(unit);
}

bool StartsWithStartCode(Span bytes) {
  const std::size_t zeros = bytes[2] == 0 ? 3 : 2;
  return bytes[0] == 0 && bytes[1] == 0 && bytes[zeros] == 1;
}

// The offset of the next 00 00 01, or the size.
std::size_t FindStartCode(Span bytes, std::size_t from) {
  for (std::size_t at = from; at + 3 <= bytes.size; ++at) {
    if (bytes[at] == 0 && bytes[at + 1] == 0 && bytes[at + 2] == 1) return at;
  }
  return bytes.size;
}

void WalkStartCodes(Span bytes, ParameterSets& sets) {
  std::size_t code = FindStartCode(bytes, 0);
  while (code < bytes.size && !sets.Complete()) {
    const std::size_t begin = code + 3;
    const std::size_t next = FindStartCode(bytes, begin);
    std::size_t end = next;
    if (next < bytes.size) {
      while (end > begin && bytes[end - 1] == 0) --end;
    }
    sets.Offer(bytes.From(begin).First(end - begin));
    code = next;
  }
}

bool StartsWithTwoLengths(Span bytes) {
  Span unit;
  return TakeUnit(bytes, unit) && TakeUnit(bytes, unit);
}

ParameterSets FindParameterSets(Span bytes) {
  ParameterSets sets;
  const std::uint8_t* end = bytes.data + bytes.size;
  const std::uint8_t* letters = std::search(bytes.data, end, std::begin(kLetters), std::end(kLetters));
  if (letters != end) {
    WalkStoredConfiguration(bytes.From(static_cast<std::size_t>(letters - bytes.data) + sizeof(kLetters)), sets);
  } else if (StartsWithStartCode(bytes)) {
    WalkStartCodes(bytes, sets);
  } else if (StartsWithTwoLengths(bytes)) {
    WalkLengths(bytes, sets);
  }
  return sets;
}

void AppendSet(Bytes& box, Span set) {
  box.push_back(static_cast<std::uint8_t>(set.size >> 8));
  box.push_back(static_cast<std::uint8_t>(set.size));
  box.insert(box.end(), set.data, set.data + set.size);
}

}  // namespace

bool BuildAvcConfig(const std::uint8_t* data, std::size_t size, Bytes& box) {
  if (data == nullptr || size < kSmallestInput) return false;
  const ParameterSets sets = FindParameterSets({data, size});
  if (!sets.Complete()) return false;
  const Span sequence = sets.sequence;
  if (sequence.size < kSmallestSequenceSet || sequence.size > kLargestSet || sets.picture.size > kLargestSet) {
    return false;
  }

  const std::size_t boxSize = kAvcBoxHeaderSize + 5 + 1 + (2 + sequence.size) + 1 + (2 + sets.picture.size);
  Bytes written;
  written.reserve(boxSize);
  for (int shift = 24; shift >= 0; shift -= 8) written.push_back(static_cast<std::uint8_t>(boxSize >> shift));
  written.insert(written.end(), std::begin(kLetters), std::end(kLetters));
  written.insert(written.end(), {1, sequence[1], sequence[2], sequence[3]});
  written.push_back(0xFF);  // 4-byte lengths
  written.push_back(0xE1);  // one sequence set
  AppendSet(written, sequence);
  written.push_back(1);  // one picture set
  AppendSet(written, sets.picture);
  box = std::move(written);
  return true;
}

}  // namespace vantor
