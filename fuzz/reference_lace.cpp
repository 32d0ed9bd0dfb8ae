#include "fuzz/reference_lace.h"

#include <bit>

namespace vantor::fuzz {

namespace {

using Sizes = std::optional<std::vector<std::uint64_t>>;

struct Cursor {
  std::span<const std::uint8_t> file;
  std::uint64_t at;

  std::optional<std::uint8_t> Byte() {
    if (at >= file.size()) return std::nullopt;
    return file[static_cast<std::size_t>(at++)];
  }

  // A number whose first byte tells its width. All bits set are the rest of the file; `half` is what a signed one is
  // biased by.
  std::optional<std::uint64_t> Vint(std::uint64_t& half) {
    const std::optional<std::uint8_t> first = Byte();
    if (!first || *first == 0) return std::nullopt;
    const int width = std::countl_zero(*first) + 1;
    std::uint64_t value = *first ^ (0x80U >> (width - 1));
    for (int i = 1; i < width; ++i) {
      const std::optional<std::uint8_t> next = Byte();
      if (!next) return std::nullopt;
      value = value * 256 + *next;
    }
    const std::uint64_t all = (std::uint64_t{1} << (7 * width)) - 1;
    half = all / 2;
    return value == all ? file.size() - at : value;
  }
};

// The size of the next frame but the last; `before` is that of the one before, nothing for the first.
std::optional<std::uint64_t> NextSize(Cursor& cursor, bool isEbml, std::optional<std::uint64_t> before) {
  std::uint64_t half = 0;
  if (!isEbml) {
    std::uint64_t size = 0;
    while (true) {
      const std::optional<std::uint8_t> byte = cursor.Byte();
      if (!byte) return std::nullopt;
      size += *byte;
      if (*byte != 255) return size;
    }
  }
  const std::optional<std::uint64_t> number = cursor.Vint(half);
  if (!number || !before) return number;
  const std::uint64_t size = *before + *number;
  if (size < half) return std::nullopt;
  return size - half;
}

Sizes Variable(Cursor& cursor, std::uint64_t end, std::size_t count, bool isEbml) {
  std::vector<std::uint64_t> sizes;
  std::uint64_t sum = 0;
  while (sizes.size() + 1 < count) {
    const auto before = sizes.empty() ? std::nullopt : std::optional(sizes.back());
    const std::optional<std::uint64_t> size = NextSize(cursor, isEbml, before);
    if (!size || *size > end) return std::nullopt;
    sizes.push_back(*size);
    sum += *size;
  }
  if (cursor.at > end || sum > end - cursor.at) return std::nullopt;
  sizes.push_back(end - cursor.at - sum);
  return sizes;
}

}  // namespace

Sizes ReferenceFrameSizes(std::span<const std::uint8_t> file, std::uint64_t begin, std::uint64_t end) {
  Cursor cursor{file, begin};
  std::uint64_t unused = 0;
  if (!cursor.Vint(unused)) return std::nullopt;
  cursor.at += 2;
  const std::optional<std::uint8_t> flags = cursor.Byte();
  if (!flags) return std::nullopt;
  const int lacing = *flags / 2 % 4;
  if (lacing == 0) {
    if (cursor.at > end) return std::nullopt;
    return std::vector<std::uint64_t>{end - cursor.at};
  }
  const std::optional<std::uint8_t> head = cursor.Byte();
  if (!head) return std::nullopt;
  const std::size_t count = std::size_t{*head} + 1;
  if (lacing != 2) {
    if (cursor.at > end || (lacing == 3 && count == 1)) return std::nullopt;
    return Variable(cursor, end, count, lacing == 3);
  }
  if (cursor.at > end || count == 256) return std::nullopt;
  return std::vector<std::uint64_t>(count, (end - cursor.at) / count);
}

}  // namespace vantor::fuzz
