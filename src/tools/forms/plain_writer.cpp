// Streams that are files as they are: samples one after the other. Of video, the sequence header of the format block
// comes first, where the first sample has none of its own.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "mediatypes/nal_units.h"
#include "published/media_guids.h"
#include "published/subtype_codes.h"
#include "tools/format_fields.h"
#include "tools/forms/stream_forms.h"

namespace vantor::tools {
namespace {

// Start codes by their last byte: of the header that may be there, and of what comes behind headers only.
struct HeaderCodes {
  std::uint8_t first = 0;
  std::uint8_t last = 0;
  std::uint8_t picture = 0;
};

class PlainWriter final : public TrackWriter {
 public:
  explicit PlainWriter(OutputBytes& out) : out_(out), hasBegun_(true) {}
  PlainWriter(OutputBytes& out, std::vector<std::uint8_t> header, const HeaderCodes& codes)
      : out_(out), header_(std::move(header)), codes_(codes) {}

  void Write(const TrackSample& sample) override;
  void Finish() override {}

 private:
  OutputBytes& out_;
  const std::vector<std::uint8_t> header_;
  const HeaderCodes codes_;
  bool hasBegun_ = false;
};

constexpr HeaderCodes kMpegVideo = {0xB3, 0xB3, 0x00};
constexpr HeaderCodes kMpeg4Video = {0x20, 0x2F, 0xB6};  // any video object layer

struct PlainKind {
  GUID subtype;
  const char* name;
  const char* extension;
  const HeaderCodes* codes;  // null: there is no header
};

constexpr std::uint16_t kTagAdts = 0x1600;  // WAVE_FORMAT_MPEG_ADTS_AAC of mmreg.h

const PlainKind kKinds[] = {
    {SubtypeOf(format_tags::kAc3), "AC-3", "ac3", nullptr},
    {kSubtypeEac3, "E-AC-3", "eac3", nullptr},
    {SubtypeOf(format_tags::kDts), "DTS", "dts", nullptr},
    {SubtypeOf(format_tags::kMpegLayer3), "MP3", "mp3", nullptr},
    {SubtypeOf(format_tags::kMpeg), "MPEG audio", "mp2", nullptr},
    {SubtypeOf(kTagAdts), "AAC, ADTS", "aac", nullptr},
    {MEDIASUBTYPE_MPEG1Payload, "MPEG-1 video", "m1v", &kMpegVideo},
    {MEDIASUBTYPE_MPEG2_VIDEO, "MPEG-2 video", "m2v", &kMpegVideo},
    {SubtypeOf(FourCc("MP4V")), "MPEG-4 video", "m4v", &kMpeg4Video},
    {SubtypeOf(FourCc("mp4v")), "MPEG-4 video", "m4v", &kMpeg4Video},
    {SubtypeOf(FourCc("XVID")), "MPEG-4 video", "m4v", &kMpeg4Video},
    {SubtypeOf(FourCc("xvid")), "MPEG-4 video", "m4v", &kMpeg4Video},
    {SubtypeOf(FourCc("DIVX")), "MPEG-4 video", "m4v", &kMpeg4Video},
    {SubtypeOf(FourCc("divx")), "MPEG-4 video", "m4v", &kMpeg4Video},
    {SubtypeOf(FourCc("DX50")), "MPEG-4 video", "m4v", &kMpeg4Video},
    {SubtypeOf(FourCc("FMP4")), "MPEG-4 video", "m4v", &kMpeg4Video},
};

bool HasHeader(ByteSpan sample, const HeaderCodes& codes) {
  for (std::size_t at = FindStartCode(sample, 0); at + kStartCodeSize < sample.size();
       at = FindStartCode(sample, at + kStartCodeSize)) {
    const std::uint8_t code = sample[at + kStartCodeSize];
    if (code == codes.picture) return false;
    if (code >= codes.first && code <= codes.last) return true;
  }
  return false;
}

void PlainWriter::Write(const TrackSample& sample) {
  if (!hasBegun_ && !HasHeader(sample.payload, codes_)) out_.Append(header_);
  hasBegun_ = true;
  out_.Append(sample.payload);
}

}  // namespace

std::optional<TrackForm> PlainFormOf(const AM_MEDIA_TYPE& type) {
  const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                        [&](const PlainKind& k) { return SameGuid(k.subtype, type.subtype); });
  if (kind == std::end(kKinds)) return std::nullopt;
  TrackForm form = {kind->name, kind->extension, {}, {}};
  if (kind->codes == nullptr) {
    form.make = [](OutputBytes& out, OutputBytes*) { return std::make_unique<PlainWriter>(out); };
    return form;
  }
  const std::optional<PictureFields> fields = PictureFieldsOf(type);
  if (!fields) return std::nullopt;
  const std::vector<std::uint8_t> header(fields->codecData.begin(), fields->codecData.end());
  form.make = [header, codes = *kind->codes](OutputBytes& out, OutputBytes*) {
    return std::make_unique<PlainWriter>(out, header, codes);
  };
  return form;
}

}  // namespace vantor::tools
