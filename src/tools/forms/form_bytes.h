// FormBytes: the bytes of a file's header, field by field.
//
//   FormBytes header;
//   header.Text("RIFF").Little(4, size).Text("WAVE");
//   output.Append(header.Bytes());
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace vantor::tools {

class FormBytes {
 public:
  FormBytes& Text(std::string_view text) {
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    return *this;
  }
  // The low `count` bytes of a number, the lowest first; and the highest first.
  FormBytes& Little(std::size_t count, std::uint64_t value) {
    for (std::size_t i = 0; i < count; ++i) bytes_.push_back(static_cast<std::uint8_t>(i < 8 ? value >> (8 * i) : 0));
    return *this;
  }
  FormBytes& Big(std::size_t count, std::uint64_t value) {
    for (std::size_t i = count; i-- > 0;) bytes_.push_back(static_cast<std::uint8_t>(i < 8 ? value >> (8 * i) : 0));
    return *this;
  }
  FormBytes& Append(std::span<const std::uint8_t> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
  }

  std::span<const std::uint8_t> Bytes() const { return bytes_; }
  std::vector<std::uint8_t> Take() { return std::move(bytes_); }

 private:
  std::vector<std::uint8_t> bytes_;
};

}  // namespace vantor::tools
