#include "streaming/raw_media_types.h"

#include <algorithm>

#include "mediatypes/codec_id.h"
#include "published/media_guids.h"

namespace vantor {

namespace {

// Uncompressed video that files carry under a four-character code.
constexpr std::uint32_t kRawCodes[] = {FourCc("YUY2"), FourCc("YUYV"), FourCc("UYVY"), FourCc("YVYU"), FourCc("YV12"),
                                       FourCc("I420"), FourCc("IYUV"), FourCc("NV12"), FourCc("Y800"), FourCc("AYUV"),
                                       FourCc("Y41P"), FourCc("P010"), FourCc("v210"), FourCc("Y42T"), FourCc("YVU9")};

bool IsRawVideo(const GUID& subtype) {
  for (const GUID* rgb : {&GUID_NULL, &MEDIASUBTYPE_RGB1, &MEDIASUBTYPE_RGB4, &MEDIASUBTYPE_RGB8, &MEDIASUBTYPE_RGB565,
                          &MEDIASUBTYPE_RGB555, &MEDIASUBTYPE_RGB24, &MEDIASUBTYPE_RGB32, &MEDIASUBTYPE_ARGB32}) {
    if (SameGuid(subtype, *rgb)) return true;
  }
  return std::ranges::any_of(kRawCodes, [&](std::uint32_t code) { return SameGuid(subtype, SubtypeOf(code)); });
}

bool IsRawAudio(const GUID& subtype) {
  constexpr std::uint32_t kPcm = 1;
  constexpr std::uint32_t kFloat = 3;
  return SameGuid(subtype, SubtypeOf(kPcm)) || SameGuid(subtype, SubtypeOf(kFloat));
}

}  // namespace

bool IsCompressedOrText(const AM_MEDIA_TYPE& type) {
  if (SameGuid(type.majortype, MEDIATYPE_Video)) return !IsRawVideo(type.subtype);
  if (SameGuid(type.majortype, MEDIATYPE_Audio)) return !IsRawAudio(type.subtype);
  return true;
}

}  // namespace vantor
