// Base64 over a growable buffer.
//
//   CVKBase64Encoder encoder;
//   Bytes decoded(encoder.DecodedSize(length));
//   decoded.resize(encoder.Decode(text, length, decoded.data()));
#pragma once

#include <cstdint>

#include "diag/byte_buffer.h"

namespace vantor {

// A coder between bytes and text. Sizes are in bytes and characters, both of one byte; sizes below 1 mean nothing to
// code.
class CVKEncBase : public CBuffer {
 public:
  // At least what Decode writes for text of that many characters.
  virtual std::int32_t DecodedSize(std::int32_t length) const = 0;
  // Decodes the text into the output, which has room for DecodedSize(length), and returns the bytes written.
  virtual std::int32_t Decode(const char* text, std::int32_t length, std::uint8_t* output) const = 0;
  // Appends the text for the bytes to this buffer, without a terminator. E_OUTOFMEMORY leaves the buffer as it was.
  virtual HRESULT Encode(const std::uint8_t* bytes, std::int32_t count) = 0;
};

// The standard alphabet. Decoding skips what is not in it and ends at "="; encoding breaks lines after 76 characters.
class CVKBase64Encoder final : public CVKEncBase {
 public:
  std::int32_t DecodedSize(std::int32_t length) const override;
  std::int32_t Decode(const char* text, std::int32_t length, std::uint8_t* output) const override;
  HRESULT Encode(const std::uint8_t* bytes, std::int32_t count) override;

 private:
  HRESULT AppendText(const std::uint8_t* bytes, std::int32_t count);
};

}  // namespace vantor
