// VP8, VP9 and AV1 in IVF: a header of 32 bytes, and before each frame its size and its time in milliseconds.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "published/subtype_codes.h"
#include "tools/format_fields.h"
#include "tools/forms/av1_units.h"
#include "tools/forms/form_bytes.h"
#include "tools/forms/stream_forms.h"

namespace vantor::tools {
namespace {

struct IvfSettings {
  std::uint32_t fourCc = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool isAv1 = false;
  std::vector<std::uint8_t> sequenceHeader;  // AV1: for a first frame that has none
};

class IvfWriter final : public TrackWriter {
 public:
  IvfWriter(OutputBytes& out, const IvfSettings& settings);

  void Write(const TrackSample& sample) override;
  void Finish() override;

 private:
  void WriteFrame(std::span<const std::uint8_t> frame, std::uint64_t time);

  OutputBytes& out_;
  const IvfSettings settings_;
  std::vector<std::uint8_t> temporalUnit_;
  std::uint64_t frames_ = 0;
  std::uint64_t nextTime_ = 0;
};

constexpr std::uint64_t kIvfHeaderSize = 32;
constexpr std::uint64_t kFrameCountAt = 24;
constexpr std::uint64_t kTimesASecond = 1000;
constexpr std::int64_t kTime = 10'000;  // one of them, in 100 ns

// Behind the four bytes of AV1's configuration record.
constexpr std::size_t kAv1RecordHeader = 4;

IvfWriter::IvfWriter(OutputBytes& out, const IvfSettings& settings) : out_(out), settings_(settings) {
  FormBytes header;
  header.Text("DKIF").Little(2, 0).Little(2, kIvfHeaderSize).Little(4, settings.fourCc);
  header.Little(2, settings.width).Little(2, settings.height).Little(4, kTimesASecond).Little(4, 1);
  header.Little(4, 0).Little(4, 0);
  out_.Append(header.Bytes());
}

void IvfWriter::Write(const TrackSample& sample) {
  std::uint64_t time = nextTime_;
  if (sample.start) time = static_cast<std::uint64_t>(std::max<std::int64_t>(*sample.start, 0) / kTime);
  nextTime_ = time + 1;
  if (!settings_.isAv1) return WriteFrame(sample.payload, time);
  const bool lacksHeader = frames_ == 0 && !HasSequenceHeader(sample.payload);
  MakeTemporalUnit(sample.payload, lacksHeader ? std::span(settings_.sequenceHeader) : std::span<const std::uint8_t>(),
                   temporalUnit_);
  WriteFrame(temporalUnit_, time);
}

void IvfWriter::WriteFrame(std::span<const std::uint8_t> frame, std::uint64_t time) {
  FormBytes header;
  out_.Append(header.Little(4, frame.size()).Little(8, time).Bytes());
  out_.Append(frame);
  ++frames_;
}

void IvfWriter::Finish() {
  FormBytes count;
  out_.Replace(kFrameCountAt, count.Little(4, frames_).Bytes());
}

}  // namespace

std::optional<TrackForm> IvfFormOf(const AM_MEDIA_TYPE& type) {
  const std::optional<std::uint32_t> code = CodeOf(type.subtype);
  const std::optional<PictureFields> fields = PictureFieldsOf(type);
  if (!code || !fields) return std::nullopt;
  const bool isAv1 = *code == FourCc("AV01");
  if (!isAv1 && *code != FourCc("VP80") && *code != FourCc("VP90")) return std::nullopt;
  IvfSettings settings;
  settings.fourCc = *code;
  settings.width = static_cast<std::uint32_t>(fields->bitmap.biWidth);
  settings.height = static_cast<std::uint32_t>(fields->bitmap.biHeight);
  settings.isAv1 = isAv1;
  if (isAv1 && fields->codecData.size() > kAv1RecordHeader) {
    settings.sequenceHeader.assign(fields->codecData.begin() + kAv1RecordHeader, fields->codecData.end());
  }
  return TrackForm{
      .name = "IVF",
      .extension = "ivf",
      .companion = {},
      .make = [settings](OutputBytes& out, OutputBytes*) { return std::make_unique<IvfWriter>(out, settings); },
      .changesItsHead = true};
}

}  // namespace vantor::tools
