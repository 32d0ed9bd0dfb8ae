#include "streaming/start_code_conversion.h"

namespace vantor {

namespace {

constexpr std::size_t kCodeSize = 4;

bool IsStartCode(const std::uint8_t* at) { return at[0] == 0 && at[1] == 0 && at[2] == 0 && at[3] == 1; }

void WriteLength(std::uint8_t* code, const std::uint8_t* end) {
  const std::uint32_t length = static_cast<std::uint32_t>(end - code - static_cast<std::ptrdiff_t>(kCodeSize));
  code[0] = static_cast<std::uint8_t>(length >> 24);
  code[1] = static_cast<std::uint8_t>(length >> 16);
  code[2] = static_cast<std::uint8_t>(length >> 8);
  code[3] = static_cast<std::uint8_t>(length);
}

}  // namespace

void ConvertStartCodesToLengths(std::uint8_t* data, std::size_t size) {
  std::uint8_t* const end = data + size;
  std::uint8_t* previous = nullptr;
  std::uint8_t* at = data;
  while (static_cast<std::size_t>(end - at) >= kCodeSize) {
    if (!IsStartCode(at)) {
      ++at;
      continue;
    }
    if (previous != nullptr) WriteLength(previous, at);
    previous = at;
    at += kCodeSize;
  }
  if (previous != nullptr) WriteLength(previous, end);
}

}  // namespace vantor
