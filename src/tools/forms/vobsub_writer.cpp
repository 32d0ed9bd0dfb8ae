// VobSub: an MPEG program stream of pictures (.sub, the companion) and a text that names their times and places in it
// (.idx), whose lines on size and palette are the private data. A picture is a sample: it begins with its own size in
// two bytes, and is cut into packs of one sector each, the last of which is filled up. A pack is its header, and one
// packet of private data with the first stream's number in front.
#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "platform/big_endian.h"
#include "tools/forms/form_bytes.h"
#include "tools/forms/subtitle_forms.h"

namespace vantor::tools {
namespace {

constexpr std::size_t kSector = 2048;
constexpr std::size_t kPackHeader = 14;
constexpr std::size_t kPacketHeader = 6;  // of any packet: a code of four bytes, the size of what follows in two
constexpr std::uint8_t kSubtitleStream = 0x20;

struct LanguageCode {
  std::string_view three;
  std::string_view two;
};

// Indexes name languages by two letters. These are the discs' commonest; others keep their three.
constexpr LanguageCode kDiscLanguages[] = {
    {"ara", "ar"}, {"bul", "bg"}, {"chi", "zh"}, {"zho", "zh"}, {"cze", "cs"}, {"ces", "cs"}, {"dan", "da"},
    {"dut", "nl"}, {"nld", "nl"}, {"eng", "en"}, {"est", "et"}, {"fin", "fi"}, {"fre", "fr"}, {"fra", "fr"},
    {"ger", "de"}, {"deu", "de"}, {"gre", "el"}, {"ell", "el"}, {"heb", "he"}, {"hin", "hi"}, {"hrv", "hr"},
    {"hun", "hu"}, {"ice", "is"}, {"isl", "is"}, {"ind", "id"}, {"ita", "it"}, {"jpn", "ja"}, {"kor", "ko"},
    {"lav", "lv"}, {"lit", "lt"}, {"nor", "no"}, {"per", "fa"}, {"fas", "fa"}, {"pol", "pl"}, {"por", "pt"},
    {"rum", "ro"}, {"ron", "ro"}, {"rus", "ru"}, {"slo", "sk"}, {"slk", "sk"}, {"slv", "sl"}, {"spa", "es"},
    {"srp", "sr"}, {"swe", "sv"}, {"tha", "th"}, {"tur", "tr"}, {"ukr", "uk"}, {"vie", "vi"},
};

std::string IndexLanguage(std::string_view language) {
  const auto isLetter = [](char letter) { return letter >= 'a' && letter <= 'z'; };
  if (language.empty() || !std::ranges::all_of(language, isLetter)) return "--";
  const auto* const found = std::ranges::find(kDiscLanguages, language, &LanguageCode::three);
  return std::string(found != std::end(kDiscLanguages) ? found->two : language);
}

// The private data's lines but those that this file has of its own; empty when none says what an index must.
std::string IndexHeader(std::string_view privateData) {
  constexpr std::string_view kOwn[] = {"# VobSub index file", "id:", "timestamp:", "langidx:"};
  const std::string text =
      SubtitleText({reinterpret_cast<const std::uint8_t*>(privateData.data()), privateData.size()});
  std::string header;
  bool isIndex = false;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const std::string_view line = std::string_view(text).substr(at, end - at);
    at = end + 1;
    isIndex = isIndex || line.starts_with("size:") || line.starts_with("palette:");
    const bool isOwn = std::ranges::any_of(kOwn, [&](std::string_view word) { return line.starts_with(word); });
    if (!isOwn) header.append(line).append("\n");
  }
  return isIndex ? header : std::string();
}

// A number of 33 bits in three parts, each followed by a bit that is set.
std::array<std::uint8_t, 5> MpegTimeFields(std::uint8_t prefix, std::uint64_t time) {
  return {static_cast<std::uint8_t>(prefix << 4 | (time >> 30 & 7) << 1 | 1), static_cast<std::uint8_t>(time >> 22),
          static_cast<std::uint8_t>((time >> 15 & 0x7F) << 1 | 1), static_cast<std::uint8_t>(time >> 7),
          static_cast<std::uint8_t>((time & 0x7F) << 1 | 1)};
}

void AppendPackHeader(FormBytes& pack, std::uint64_t time) {
  // The clock in 33 and 9 bits, with a bit that is set behind each part, then the rate and no filling bytes.
  const std::uint64_t clock = (std::uint64_t{1} << 46) | (time >> 30 & 7) << 43 | std::uint64_t{1} << 42 |
                              (time >> 15 & 0x7FFF) << 27 | std::uint64_t{1} << 26 | (time & 0x7FFF) << 11 |
                              std::uint64_t{1} << 10 | 1;
  constexpr std::uint32_t kRate = 25'200;  // of 50 bytes a second: a disc's
  pack.Big(4, 0x1BA).Big(6, clock).Big(3, kRate << 2 | 3).Big(1, 0xF8);
}

std::span<const std::uint8_t> Filling(std::size_t size) {
  static constexpr auto kFilling = [] {
    std::array<std::uint8_t, kSector> bytes{};
    bytes.fill(0xFF);
    return bytes;
  }();
  return std::span(kFilling).first(size);
}

// One sector with as much of the picture as it holds; gives what is left.
std::span<const std::uint8_t> AppendSector(OutputBytes& out, std::span<const std::uint8_t> picture, std::uint64_t time,
                                           bool isFirst) {
  const std::size_t timeSize = isFirst ? 5 : 0;
  const std::size_t room = kSector - kPackHeader - kPacketHeader - 3 - timeSize - 1;
  const auto part = picture.first(std::min(picture.size(), room));
  std::size_t left = room - part.size();
  // Filling that is too short for a packet of its own goes into the header.
  const std::size_t stuffing = left < kPacketHeader ? left : 0;
  left -= stuffing;

  FormBytes pack;
  AppendPackHeader(pack, time);
  pack.Big(4, 0x1BD).Big(2, 3 + timeSize + stuffing + 1 + part.size());
  pack.Big(1, 0x81).Big(1, isFirst ? 0x80 : 0).Big(1, timeSize + stuffing);
  if (isFirst) pack.Append(MpegTimeFields(2, time));
  pack.Append(Filling(stuffing)).Big(1, kSubtitleStream).Append(part);
  if (left > 0) pack.Big(4, 0x1BE).Big(2, left - kPacketHeader).Append(Filling(left - kPacketHeader));
  out.Append(pack.Bytes());
  return picture.subspan(part.size());
}

class VobSubWriter final : public TrackWriter {
 public:
  VobSubWriter(OutputBytes& index, OutputBytes& pictures, const std::string& header, const std::string& language)
      : index_(index), pictures_(pictures) {
    AppendText(index_, fmt::format("# VobSub index file, v7 (do not modify this line!)\n{}langidx: 0\n\n"
                                   "id: {}, index: 0\n",
                                   header, language));
  }

  void Write(const TrackSample& sample) override {
    const std::optional<ShownTime> shown = ShownTimeOf(sample);
    if (!shown || !IsPicture(sample.payload)) return;
    const std::int64_t milliseconds = shown->start / 10'000;
    AppendText(index_, fmt::format("timestamp: {:02}:{:02}:{:02}:{:03}, filepos: {:09x}\n", milliseconds / 3'600'000,
                                   milliseconds / 60'000 % 60, milliseconds / 1000 % 60, milliseconds % 1000,
                                   pictures_.Size()));
    const std::uint64_t time = MpegTime(shown->start);
    bool isFirst = true;
    for (std::span<const std::uint8_t> rest = sample.payload; !rest.empty(); isFirst = false) {
      rest = AppendSector(pictures_, rest, time, isFirst);
    }
  }

  void Finish() override {}

 private:
  // Its size, and the place of its commands inside it.
  static bool IsPicture(std::span<const std::uint8_t> payload) {
    constexpr std::size_t kSmallest = 4;
    if (payload.size() < kSmallest) return false;
    const auto size = BigEndian<std::size_t>(payload.data(), 2);
    return size <= payload.size() && BigEndian<std::size_t>(&payload[2], 2) < size;
  }

  OutputBytes& index_;
  OutputBytes& pictures_;
};

}  // namespace

std::optional<TrackForm> VobSubForm(std::string_view privateData, std::string_view language) {
  std::string header = IndexHeader(privateData);
  if (header.empty()) return std::nullopt;
  return TrackForm{
      .name = "VobSub",
      .extension = "idx",
      .companion = "sub",
      .make = [kept = std::move(header), name = IndexLanguage(language)](OutputBytes& out, OutputBytes* companion) {
        return std::make_unique<VobSubWriter>(out, *companion, kept, name);
      }};
}

}  // namespace vantor::tools
