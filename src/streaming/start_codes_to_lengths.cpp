#include "streaming/start_codes_to_lengths.h"

#include "mediatypes/nal_units.h"
#include "platform/big_endian.h"

namespace vantor {

void ConvertStartCodesToLengths(std::uint8_t* data, std::size_t size) {
  const ByteSpan bytes(data, size);
  std::size_t code = FindLongStartCode(bytes, 0);
  while (code < size) {
    const std::size_t unit = code + kLongStartCodeSize;
    const std::size_t next = FindLongStartCode(bytes, unit);
    StoreBigEndian(data + code, kLongStartCodeSize, next - unit);
    code = next;
  }
}

}  // namespace vantor
