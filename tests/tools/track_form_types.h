// Media types and samples for the tests of writers.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "baseclasses/media_type.h"
#include "platform/com.h"
#include "published/subtype_codes.h"
#include "tools/forms/track_writer.h"
#include "tools/memory_output.h"

namespace vantor::tools {

using ByteList = std::vector<std::uint8_t>;

template <typename Header>
CMediaType TypeOf(const GUID& major, const GUID& subtype, const GUID& format, const Header& header,
                  const ByteList& behind, std::size_t headerSize = sizeof(Header)) {
  ByteList block(headerSize + behind.size());
  std::memcpy(block.data(), &header, headerSize);
  std::copy(behind.begin(), behind.end(), block.begin() + static_cast<std::ptrdiff_t>(headerSize));
  CMediaType type(&major);
  type.SetSubtype(&subtype);
  type.SetFormatType(&format);
  type.SetFormat(block.data(), static_cast<ULONG>(block.size()));
  return type;
}

inline CMediaType WaveType(std::uint16_t tag, WORD channels, WORD bits, const ByteList& extra = {}) {
  WAVEFORMATEX header = {};
  header.wFormatTag = tag;
  header.nChannels = channels;
  header.nSamplesPerSec = 48000;
  header.wBitsPerSample = bits;
  header.nBlockAlign = static_cast<WORD>(channels * bits / 8);
  header.nAvgBytesPerSec = header.nSamplesPerSec * header.nBlockAlign;
  header.cbSize = static_cast<WORD>(extra.size());
  return TypeOf(MEDIATYPE_Audio, SubtypeOf(tag), FORMAT_WaveFormatEx, header, extra);
}

inline CMediaType Mpeg2Type(const GUID& subtype, const ByteList& sequenceHeader, DWORD flags = 0) {
  MPEG2VIDEOINFO header = {};
  header.hdr.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  header.cbSequenceHeader = static_cast<DWORD>(sequenceHeader.size());
  header.dwFlags = flags;
  return TypeOf(MEDIATYPE_Video, subtype, FORMAT_MPEG2Video, header, sequenceHeader,
                offsetof(MPEG2VIDEOINFO, dwSequenceHeader));
}

inline CMediaType BitmapType(std::uint32_t fourCc, const ByteList& behind) {
  VIDEOINFOHEADER2 header = {};
  header.bmiHeader.biSize = static_cast<DWORD>(sizeof(BITMAPINFOHEADER) + behind.size());
  header.bmiHeader.biWidth = 320;
  header.bmiHeader.biHeight = 240;
  return TypeOf(MEDIATYPE_Video, SubtypeOf(fourCc), FORMAT_VideoInfo2, header, behind);
}

// What the type's form makes of these payloads, each beginning 40 ms after the one before it.
inline ByteList WrittenOf(const CMediaType& type, const std::vector<ByteList>& payloads) {
  const std::optional<TrackForm> form = FormOf(type);
  if (!form) return {};
  MemoryOutput out;
  const auto writer = form->make(out, nullptr);
  std::int64_t start = 0;
  for (const ByteList& payload : payloads) {
    TrackSample sample;
    sample.payload = payload;
    sample.start = start;
    sample.stop = start += 400'000;
    writer->Write(sample);
  }
  writer->Finish();
  return out.bytes;
}

inline ByteList Joined(const std::vector<ByteList>& parts) {
  ByteList joined;
  for (const ByteList& part : parts) joined.insert(joined.end(), part.begin(), part.end());
  return joined;
}

}  // namespace vantor::tools
