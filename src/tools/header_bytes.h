// HeaderBytes: a header of a file that is being put together, field by field.
//
//   HeaderBytes header;
//   header.Text("wvpk").Little(4, size).Little(2, version);
//   out.Append(header.Bytes());
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace vantor::tools {

// The number in the bytes, the lowest first.
inline std::uint64_t LittleEndian(std::span<const std::uint8_t> bytes) {
  std::uint64_t value = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) value = value << 8 | bytes[i];
  return value;
}

class HeaderBytes {
 public:
  HeaderBytes& Text(std::string_view text) {
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    return *this;
  }
  HeaderBytes& Raw(std::span<const std::uint8_t> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
  }
  HeaderBytes& Fill(std::size_t count, std::uint8_t byte) {
    bytes_.insert(bytes_.end(), count, byte);
    return *this;
  }
  // The number's low `count` bytes, the lowest first.
  HeaderBytes& Little(std::size_t count, std::uint64_t value) {
    for (; count > 0; --count, value >>= 8) bytes_.push_back(static_cast<std::uint8_t>(value));
    return *this;
  }
  // The same, the highest first.
  HeaderBytes& Big(std::size_t count, std::uint64_t value) {
    while (count-- > 0) bytes_.push_back(static_cast<std::uint8_t>(value >> 8 * count));
    return *this;
  }

  const std::vector<std::uint8_t>& Bytes() const noexcept { return bytes_; }
  std::vector<std::uint8_t>& Bytes() noexcept { return bytes_; }
  std::size_t Size() const noexcept { return bytes_.size(); }

 private:
  std::vector<std::uint8_t> bytes_;
};

}  // namespace vantor::tools
