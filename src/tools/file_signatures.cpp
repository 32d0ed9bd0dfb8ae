#include "tools/file_signatures.h"

#include <algorithm>
#include <string_view>

namespace vantor::tools {
namespace {

using namespace std::string_view_literals;

struct FileSignature {
  std::size_t at;
  std::string_view bytes;
  const char* name;
  std::string_view more = {};  // eight bytes further on
};

constexpr FileSignature kSignatures[] = {
    {4, "ftyp"sv, "an MP4 or QuickTime file"},
    {4, "styp"sv, "a part of an MP4 stream"},
    {4, "moof"sv, "a part of an MP4 stream"},
    {4, "moov"sv, "a QuickTime file"},
    {4, "mdat"sv, "a QuickTime file"},
    {4, "wide"sv, "a QuickTime file"},
    {0, "RIFF"sv, "an AVI file", "AVI "sv},
    {0, "RIFF"sv, "a WAV file", "WAVE"sv},
    {0, "RF64"sv, "a WAV file", "WAVE"sv},
    {0, "FORM"sv, "an AIFF file", "AIF"sv},
    {0, "\x00\x00\x01\xBA"sv, "an MPEG program stream"},
    {0, "\x00\x00\x01\xB3"sv, "a stream of MPEG video without a container"},
    {0, "\x00\x00\x00\x01"sv, "a video stream without a container"},
    {0, "OggS"sv, "an Ogg file"},
    {0, "fLaC"sv, "a FLAC file"},
    {0, "ID3"sv, "an MP3 file, or another one of sound with a tag in front"},
    {0, "TTA1"sv, "a True Audio file"},
    {0, "wvpk"sv, "a WavPack file"},
    {0, "DKIF"sv, "an IVF file"},
    {0, "FLV\x01"sv, "a Flash video file"},
    {0, ".RMF"sv, "a RealMedia file"},
    {0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11"sv, "a Windows Media file"},
    {0, "\x89PNG"sv, "a PNG picture"},
    {0, "\xFF\xD8\xFF"sv, "a JPEG picture"},
    {0, "PK\x03\x04"sv, "a ZIP archive"},
    {0, "Rar!\x1A\x07"sv, "a RAR archive"},
    {0, "7z\xBC\xAF\x27\x1C"sv, "a 7z archive"},
    {0, "\x1F\x8B"sv, "a gzip archive"},
    {0, "%PDF"sv, "a PDF document"},
    {0, "#EXTM3U"sv, "a playlist"},
    {0, "<!DOCTYPE html"sv, "a web page"},
    {0, "<!doctype html"sv, "a web page"},
    {0, "<html"sv, "a web page"},
};

bool HasAt(std::span<const std::uint8_t> bytes, std::size_t at, std::string_view wanted) {
  return bytes.size() >= at + wanted.size() &&
         std::ranges::equal(bytes.subspan(at, wanted.size()), wanted,
                            [](std::uint8_t byte, char letter) { return byte == static_cast<std::uint8_t>(letter); });
}

// Packets of one size, each with its first byte there; three of them are no accident.
bool IsTransportStream(std::span<const std::uint8_t> bytes, std::size_t packetSize, std::size_t at) {
  for (int packet = 0; packet < 3; ++packet, at += packetSize) {
    if (!HasAt(bytes, at, "\x47"sv)) return false;
  }
  return true;
}

// The frame of a stream of sound begins with eleven bits that are set, a version and a layer; the layer 0 is AAC's. The
// layer whose bits are both set is hardly met, but so begin bytes that are all ones, and text of 16 bits.
const char* SoundStreamName(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < 2 || bytes[0] != 0xFF || (bytes[1] & 0xE0) != 0xE0) return nullptr;
  const int layer = bytes[1] >> 1 & 3;
  constexpr int kLayer1 = 3;
  if (layer == kLayer1 || (bytes[1] & 0x18) == 0x08) return nullptr;
  if (layer != 0) return "a stream of MPEG audio (MP3) without a container";
  return (bytes[1] & 0xF0) == 0xF0 ? "a stream of AAC without a container" : nullptr;
}

}  // namespace

const char* SignatureName(std::span<const std::uint8_t> bytes) {
  for (const FileSignature& signature : kSignatures) {
    constexpr std::size_t kMoreAt = 8;
    const bool isMoreThere = signature.more.empty() || HasAt(bytes, signature.at + kMoreAt, signature.more);
    if (isMoreThere && HasAt(bytes, signature.at, signature.bytes)) {
      return signature.name;
    }
  }
  constexpr std::size_t kPacket = 188;
  constexpr std::size_t kTimes = 4;  // in front of each packet, on discs
  if (IsTransportStream(bytes, kPacket, 0)) return "an MPEG transport stream";
  if (IsTransportStream(bytes, kPacket + kTimes, kTimes)) return "an MPEG transport stream (M2TS)";
  return SoundStreamName(bytes);
}

}  // namespace vantor::tools
