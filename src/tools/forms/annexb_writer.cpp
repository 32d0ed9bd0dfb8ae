// AVC and HEVC as byte streams (Annex B of both standards): units behind start codes, the parameter sets of the format
// block in front.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "mediatypes/nal_units.h"
#include "platform/big_endian.h"
#include "published/subtype_codes.h"
#include "tools/format_fields.h"
#include "tools/forms/stream_forms.h"

namespace vantor::tools {
namespace {

// How the units of samples are told apart, and what comes before the first of them.
struct UnitFraming {
  unsigned lengthSize = 0;                  // bytes of the length before each unit; 0: they have start codes already
  std::vector<std::uint8_t> parameterSets;  // behind start codes
};

class AnnexBWriter final : public TrackWriter {
 public:
  AnnexBWriter(OutputBytes& out, UnitFraming framing) : out_(out), framing_(std::move(framing)) {}

  void Write(const TrackSample& sample) override;
  void Finish() override {}

 private:
  OutputBytes& out_;
  const UnitFraming framing_;
  bool hasBegun_ = false;
};

constexpr std::array<std::uint8_t, 4> kStartCode = {0, 0, 0, 1};
constexpr unsigned kLargestLengthSize = 4;

bool StartsWithStartCode(ByteSpan bytes) {
  const ByteSpan front = bytes.first(std::min(bytes.size(), kLongStartCodeSize));
  return FindStartCode(front, 0) < front.size();
}

// Takes the next unit; one that is cut off is what is left of it. False at the end.
bool TakeLengthUnit(unsigned lengthSize, ByteSpan& rest, ByteSpan& unit, bool& isWhole) {
  if (rest.size() < lengthSize || rest.empty()) {
    isWhole = rest.empty();
    return false;
  }
  const auto length = BigEndian<std::size_t>(rest.data(), lengthSize);
  rest = rest.subspan(lengthSize);
  isWhole = length <= rest.size();
  unit = rest.first(std::min(length, rest.size()));
  rest = rest.subspan(unit.size());
  return true;
}

// Whether lengths lead exactly to the sample's end.
bool HasLengths(unsigned lengthSize, ByteSpan rest) {
  ByteSpan unit;
  bool isWhole = true;
  while (isWhole && TakeLengthUnit(lengthSize, rest, unit, isWhole)) {
  }
  return isWhole;
}

void AppendSet(std::vector<std::uint8_t>& sets, ByteSpan set) {
  sets.insert(sets.end(), kStartCode.begin(), kStartCode.end());
  sets.insert(sets.end(), set.begin(), set.end());
}

// Sets with lengths of two bytes, as an MPEG2VIDEOINFO has them.
std::optional<UnitFraming> FramingOfSequenceHeader(const PictureFields& fields) {
  if (fields.lengthSize > kLargestLengthSize) return std::nullopt;
  UnitFraming framing;
  framing.lengthSize = fields.lengthSize;
  ByteSpan rest = fields.codecData;
  ByteSpan set;
  while (TakeUnit(rest, set)) AppendSet(framing.parameterSets, set);
  return rest.empty() ? std::optional(framing) : std::nullopt;
}

// The configuration record of AVC, of files that hold it behind a bitmap header.
std::optional<UnitFraming> FramingOfAvcRecord(ByteSpan record) {
  constexpr std::size_t kLengthSize = 4;
  UnitFraming framing;
  if (!VisitParameterSets(record, [&](ByteSpan set) { AppendSet(framing.parameterSets, set); })) return std::nullopt;
  framing.lengthSize = (record[kLengthSize] & 3U) + 1;
  return framing;
}

// The configuration record of HEVC: 22 bytes, the count of its arrays, and of each its kind, the count of its units,
// and these.
std::optional<UnitFraming> FramingOfHevcRecord(ByteSpan record) {
  constexpr std::size_t kLengthSize = 21;
  constexpr std::size_t kArrayCount = 22;
  constexpr std::size_t kArrayHeader = 3;
  if (record.size() <= kArrayCount) return std::nullopt;
  UnitFraming framing;
  framing.lengthSize = (record[kLengthSize] & 3U) + 1;
  ByteSpan rest = record.subspan(kArrayCount + 1);
  for (unsigned left = record[kArrayCount]; left > 0; --left) {
    if (rest.size() < kArrayHeader) return std::nullopt;
    const auto count = BigEndian<unsigned>(rest.data() + 1, 2);
    rest = rest.subspan(kArrayHeader);
    if (!TakeUnits(rest, count, [&](ByteSpan set) { AppendSet(framing.parameterSets, set); })) return std::nullopt;
  }
  return framing;
}

// Behind a bitmap header: a record, or the stream's own beginning. Old files of AVC have neither.
template <typename OfRecord>
std::optional<UnitFraming> FramingOfCodecData(ByteSpan data, OfRecord&& ofRecord) {
  if (!StartsWithStartCode(data)) return ofRecord(data);
  UnitFraming framing;
  framing.parameterSets.assign(data.begin(), data.end());
  return framing;
}

bool IsOneOf(std::uint32_t code, std::initializer_list<std::uint32_t> codes) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

TrackForm MakeForm(const char* name, const char* extension, UnitFraming framing) {
  return {name, extension, {}, [framing = std::move(framing)](OutputBytes& out, OutputBytes*) {
            return std::make_unique<AnnexBWriter>(out, framing);
          }};
}

void AnnexBWriter::Write(const TrackSample& sample) {
  if (!hasBegun_) out_.Append(framing_.parameterSets);
  hasBegun_ = true;
  const unsigned lengthSize = framing_.lengthSize;
  // Some files say lengths and hold start codes all the same.
  if (lengthSize == 0 || (StartsWithStartCode(sample.payload) && !HasLengths(lengthSize, sample.payload))) {
    out_.Append(sample.payload);
    return;
  }
  ByteSpan rest = sample.payload;
  ByteSpan unit;
  bool isWhole = true;
  while (TakeLengthUnit(lengthSize, rest, unit, isWhole)) {
    if (unit.empty()) continue;
    out_.Append(kStartCode);
    out_.Append(unit);
  }
}

}  // namespace

std::optional<TrackForm> AnnexBFormOf(const AM_MEDIA_TYPE& type) {
  const std::optional<std::uint32_t> code = CodeOf(type.subtype);
  const std::optional<PictureFields> fields = PictureFieldsOf(type);
  if (!code || !fields) return std::nullopt;
  std::optional<UnitFraming> framing;
  if (IsOneOf(*code,
              {FourCc("AVC1"), FourCc("avc1"), FourCc("H264"), FourCc("h264"), FourCc("X264"), FourCc("x264")})) {
    if (SameGuid(type.formattype, FORMAT_MPEG2Video)) {
      framing = FramingOfSequenceHeader(*fields);
    } else if (fields->codecData.empty()) {
      framing = UnitFraming();
    } else {
      framing = FramingOfCodecData(fields->codecData, FramingOfAvcRecord);
    }
    if (framing) return MakeForm("AVC, Annex B", "h264", *std::move(framing));
  } else if (IsOneOf(*code, {FourCc("hev1"), FourCc("hvc1"), FourCc("HEVC"), FourCc("H265")})) {
    framing = FramingOfCodecData(fields->codecData, FramingOfHevcRecord);
    if (framing) return MakeForm("HEVC, Annex B", "h265", *std::move(framing));
  }
  return std::nullopt;
}

}  // namespace vantor::tools
