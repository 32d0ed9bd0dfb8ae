#include "mediatypes/alternative_media_type.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "mediatypes/format_block.h"
#include "mediatypes/lengths_to_start_codes.h"
#include "platform/result.h"
#include "published/format_blocks.h"
#include "published/media_guids.h"

namespace vantor {

namespace {

template <typename Header>
bool LoadHeader(const CMediaType& type, Header& header, std::size_t size = sizeof(Header)) {
  if (type.Format() == nullptr || type.FormatLength() < size) return false;
  std::memcpy(&header, type.Format(), size);
  return true;
}

HRESULT BuildOldVorbis(const CMediaType& own, CMediaType& alternative) {
  VorbisFormat stored{};
  if (!LoadHeader(own, stored)) return E_INVALIDARG;
  CMediaType made(&MEDIATYPE_Audio);
  made.SetSubtype(&kSubtypeVorbis);
  const HRESULT result = MakeFormatBlock(made, kFormatVorbis, sizeof(OldVorbisFormat));
  if (FAILED(result)) return result;
  // The channels are left out of the bit rate: decoders of this format count it for one channel.
  const std::uint32_t bitRate = stored.samplesPerSecond * stored.bitsPerSample;
  StoreHeader(made, OldVorbisFormat{stored.channels, stored.samplesPerSecond, bitRate, bitRate, bitRate, 0});
  alternative = std::move(made);
  return S_OK;
}

// The bytes behind the header that describe the codec: what follows a VIDEOINFOHEADER2, or an MPEG2VIDEOINFO's sequence
// header.
HRESULT SplitVideoFormat(const CMediaType& own, VIDEOINFOHEADER2& header, Bytes& codecData) {
  std::size_t offset = sizeof(VIDEOINFOHEADER2);
  std::size_t size = 0;
  if (SameGuid(*own.FormatType(), FORMAT_VideoInfo2)) {
    if (!LoadHeader(own, header)) return E_INVALIDARG;
    size = own.FormatLength() - offset;
  } else {
    MPEG2VIDEOINFO mpeg{};
    offset = offsetof(MPEG2VIDEOINFO, dwSequenceHeader);
    if (!LoadHeader(own, mpeg, offset)) return E_INVALIDARG;
    header = mpeg.hdr;
    size = std::min<std::size_t>(mpeg.cbSequenceHeader, own.FormatLength() - offset);
  }
  codecData.assign(own.Format() + offset, own.Format() + offset + size);
  return S_OK;
}

HRESULT BuildVideoInfo(const CMediaType& own, CMediaType& alternative) {
  VIDEOINFOHEADER2 source{};
  Bytes codecData;
  HRESULT result = SplitVideoFormat(own, source, codecData);
  if (FAILED(result)) return result;
  // The older decoders that this type is for take the parameter sets with start codes. Only the type changes: samples
  // are the same for both types. Sets that cannot be taken apart stay as they are.
  if (SameGuid(*own.Subtype(), SubtypeOf(FourCc("AVC1")))) {
    result = RewriteParameterSets(codecData);
    if (FAILED(result)) return result;
  }

  VIDEOINFOHEADER header{};
  header.rcSource = source.rcSource;
  header.rcTarget = source.rcTarget;
  header.dwBitRate = source.dwBitRate;
  header.dwBitErrorRate = source.dwBitErrorRate;
  header.AvgTimePerFrame = source.AvgTimePerFrame;
  header.bmiHeader = source.bmiHeader;
  // A VIDEOINFOHEADER has no size field for the codec data, so the bitmap header counts it, whatever the codec.
  header.bmiHeader.biSize = static_cast<DWORD>(sizeof(BITMAPINFOHEADER) + codecData.size());

  CMediaType made(own.Type());
  made.SetSubtype(own.Subtype());
  made.bFixedSizeSamples = own.bFixedSizeSamples;
  made.bTemporalCompression = own.bTemporalCompression;
  made.lSampleSize = own.lSampleSize;
  result = MakeFormatBlock(made, FORMAT_VideoInfo, sizeof(VIDEOINFOHEADER) + std::uint64_t{codecData.size()});
  if (FAILED(result)) return result;
  StoreHeader(made, header);
  StoreBytes(made, sizeof(VIDEOINFOHEADER), codecData);
  alternative = std::move(made);
  return S_OK;
}

HRESULT Build(const CMediaType& own, CMediaType& alternative) {
  if (SameGuid(*own.Subtype(), kSubtypeVorbis2)) return BuildOldVorbis(own, alternative);
  const GUID& format = *own.FormatType();
  if (SameGuid(format, FORMAT_VideoInfo2) || SameGuid(format, FORMAT_MPEG2Video)) {
    return BuildVideoInfo(own, alternative);
  }
  return VFW_S_NO_MORE_ITEMS;
}

}  // namespace

HRESULT BuildAlternativeMediaType(const CMediaType& own, CMediaType& alternative) {
  return Guarded([&] { return Build(own, alternative); });
}

}  // namespace vantor
