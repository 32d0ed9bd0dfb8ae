#include "tools/forms/subtitle_forms.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "published/format_blocks.h"
#include "published/media_guids.h"

namespace vantor::tools {
namespace {

struct SubtitleBlock {
  std::string_view language;
  std::string_view privateData;
};

// What a subtitle's format block holds, as far as it lies inside it.
std::optional<SubtitleBlock> SubtitleBlockOf(const AM_MEDIA_TYPE& type) {
  if (!SameGuid(type.formattype, kFormatSubtitle) || type.pbFormat == nullptr) return std::nullopt;
  const std::string_view block(reinterpret_cast<const char*>(type.pbFormat), type.cbFormat);
  std::uint32_t offset = 0;
  if (block.size() < sizeof(SubtitleInfo)) return std::nullopt;
  std::memcpy(&offset, block.data(), sizeof offset);
  if (offset < sizeof(SubtitleInfo) || offset > block.size()) return std::nullopt;
  const std::string_view language = block.substr(offsetof(SubtitleInfo, IsoLang), sizeof(SubtitleInfo::IsoLang));
  return SubtitleBlock{language.substr(0, language.find('\0')), block.substr(offset)};
}

}  // namespace

std::optional<TrackForm> SubtitleFormOf(const AM_MEDIA_TYPE& type) {
  // Plain text has no block.
  if (SameGuid(type.majortype, MEDIATYPE_Text)) return SubRipForm();
  if (!SameGuid(type.majortype, kTypeSubtitle)) return std::nullopt;
  const std::optional<SubtitleBlock> block = SubtitleBlockOf(type);
  if (!block) return std::nullopt;
  if (SameGuid(type.subtype, kSubtypeUtf8)) return SubRipForm();
  if (SameGuid(type.subtype, kSubtypeSsa)) return SubStationForm(block->privateData, false);
  if (SameGuid(type.subtype, kSubtypeAss)) return SubStationForm(block->privateData, true);
  if (SameGuid(type.subtype, kSubtypeVobSub)) return VobSubForm(block->privateData, block->language);
  if (SameGuid(type.subtype, kSubtypePgs)) return PgsForm();
  if (SameGuid(type.subtype, kSubtypeWebVtt)) return WebVttForm(block->privateData);
  return std::nullopt;
}

std::string SubtitleText(std::span<const std::uint8_t> payload) {
  std::string text;
  for (std::size_t i = 0; i < payload.size() && payload[i] != 0; ++i) {
    const bool isHalf = payload[i] == '\r' && i + 1 < payload.size() && payload[i + 1] == '\n';
    if (!isHalf) text += payload[i] == '\r' ? '\n' : static_cast<char>(payload[i]);
  }
  text.erase(text.find_last_not_of('\n') + 1);
  return text;
}

std::optional<ShownTime> ShownTimeOf(const TrackSample& sample) {
  constexpr std::int64_t kUnknownEnd = 30'000'000;
  constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max() - kUnknownEnd;
  if (!sample.start) return std::nullopt;
  const std::int64_t start = std::clamp<std::int64_t>(*sample.start, 0, kLatest);
  const std::int64_t stop = std::clamp<std::int64_t>(sample.stop.value_or(0), 0, kLatest);
  // The filter gives one unit to a sample whose end the file does not tell.
  return ShownTime{start, stop > start + 1 ? stop : start + kUnknownEnd};
}

std::uint64_t MpegTime(std::int64_t hundredNanoseconds) {
  const auto time = static_cast<std::uint64_t>(std::max<std::int64_t>(hundredNanoseconds, 0));
  return time / 1000 * 9 + time % 1000 * 9 / 1000;
}

void AppendText(OutputBytes& out, std::string_view text) {
  out.Append({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

}  // namespace vantor::tools
