#include "mediatypes/mpeg_sequence_header.h"

#include <algorithm>
#include <numeric>

#include "mediatypes/nal_units.h"
#include "platform/big_endian.h"
#include "platform/result.h"

namespace vantor {

namespace {

constexpr std::size_t kFixedPart = 12;
constexpr std::size_t kMatrixSize = 64;
constexpr std::size_t kExtensionSize = 10;
constexpr std::uint32_t kUnknownProfile = 0xFFFFFFFF;

// 27 MHz ticks a frame, by frame-rate code.
constexpr std::uint32_t kFramePeriods[16] = {0,      1126125, 1125000, 1080000, 900900, 900000, 540000, 450450,
                                             450000, 0,       0,       0,       0,      0,      0,      0};

// MPEG-1 pixel aspects, by aspect code.
constexpr float kPixelAspects[16] = {1.0F,    1.0F,    0.6735F, 0.7031F, 0.7615F, 0.8055F, 0.8437F, 0.8935F,
                                     0.9157F, 0.9815F, 1.0255F, 1.0695F, 1.0950F, 1.1575F, 1.2015F, 1.0F};

bool IsStartCode(const Bytes& data, std::size_t at, std::uint8_t code) {
  return at + 4 <= data.size() && BigEndian(&data[at], 4) == (0x100U | code);
}

// One past the fixed part and the quantiser matrices it announces.
std::size_t EndOfMatrices(const Bytes& data) {
  std::size_t end = kFixedPart;
  if ((data[end - 1] & 2) != 0) end += kMatrixSize;
  if (end > data.size()) throw ResultError(E_INVALIDARG);
  if ((data[end - 1] & 1) != 0) end += kMatrixSize;
  if (end > data.size()) throw ResultError(E_INVALIDARG);
  return end;
}

// Where the next start code is, at the latest 4 bytes before the data's end.
std::size_t FindEndOfHeader(const Bytes& data, std::size_t from) {
  return std::min(FindStartCode(data, from), std::max(from, data.size() - 4));
}

std::uint32_t Profile(std::uint8_t code) {
  constexpr std::uint32_t kProfiles[8] = {kUnknownProfile, 5, 4, 3, 2, 1, kUnknownProfile, kUnknownProfile};
  return kProfiles[code & 7];
}

std::uint32_t Level(std::uint8_t code) {
  switch (code >> 4) {
    case 4:
      return 4;
    case 6:
      return 3;
    case 8:
      return 2;
    case 10:
      return 1;
    default:
      return kUnknownProfile;
  }
}

// MPEG-2 codes the aspect of the picture.
void SetDisplayAspect(MpegSequenceHeader& header, std::uint32_t aspectCode) {
  struct Aspect {
    std::uint32_t x, y;
  };
  const Aspect picture{header.width, header.height};
  const Aspect aspects[] = {picture, picture, {4, 3}, {16, 9}, {221, 100}, picture};
  const Aspect& aspect = aspects[std::min<std::uint32_t>(aspectCode, 5)];
  header.aspectX = aspect.x;
  header.aspectY = aspect.y;
}

// MPEG-1 codes the aspect of a pixel. Single precision and rounding by a half are part of what has always come out.
void SetPixelAspect(MpegSequenceHeader& header, std::uint32_t aspectCode) {
  const float squared = static_cast<float>(header.width) / kPixelAspects[aspectCode];
  const float rounded = squared + 0.5F;
  header.aspectX = static_cast<std::uint32_t>(rounded);
  header.aspectY = header.height;
}

// What the sequence extension adds: profile and level, and the upper bits of fields that MPEG-1 had no room for.
void AddExtension(const std::uint8_t* extension, MpegSequenceHeader& header, std::uint32_t& bitRateValue,
                  std::uint32_t& period) {
  const std::uint32_t e5 = extension[5];
  const std::uint32_t e6 = extension[6];
  const std::uint32_t e9 = extension[9];
  const bool escape = (extension[4] & 8) != 0;
  header.profile = escape ? 2 : Profile(extension[4]);
  header.level = escape ? 2 : Level(extension[5]);
  header.width |= ((e5 & 1) << 8 | (e6 & 0x80)) << 5;
  header.height |= (e6 & 0x60) << 7;
  bitRateValue |= (BigEndian<std::uint32_t>(extension + 6, 2) & 0xFFFE) << 17;
  period = period * ((e9 >> 4 & 3) + 1) / ((e9 & 15) + 1);
}

}  // namespace

bool ReadMpegSequenceHeader(const Bytes& data, MpegSequenceHeader& header) {
  if (data.size() < kFixedPart || !IsStartCode(data, 0, 0xB3)) return false;

  header = {};
  const auto pictureSize = BigEndian<std::uint32_t>(&data[4], 3);  // two fields of 12 bits
  header.width = pictureSize >> 12;
  header.height = pictureSize & 0xFFF;
  const std::uint32_t aspectCode = data[7] >> 4;
  std::uint32_t period = kFramePeriods[data[7] & 15];
  std::uint32_t bitRateValue = BigEndian<std::uint32_t>(&data[8], 3) >> 6;

  const std::size_t stop = FindEndOfHeader(data, EndOfMatrices(data));
  header.isMpeg2 = IsStartCode(data, stop, 0xB5);
  if (header.isMpeg2) {
    if (data.size() - stop < kExtensionSize) return false;
    AddExtension(data.data() + stop, header, bitRateValue, period);
    SetDisplayAspect(header, aspectCode);
    header.size = stop + kExtensionSize;
  } else {
    SetPixelAspect(header, aspectCode);
    header.size = stop;
  }

  const std::uint32_t divisor = std::gcd(header.aspectX, header.aspectY);
  if (divisor != 0) {
    header.aspectX /= divisor;
    header.aspectY /= divisor;
  }
  header.frameTime = period * 10 / 27;
  header.bitRate = bitRateValue * 400;
  return true;
}

}  // namespace vantor
