// The forms of subtitles, each by what its format block holds: nothing when that is not what the file takes.
//
//   const TrackForm pgs = PgsForm();
//   std::unique_ptr<TrackWriter> pictures = pgs.make(output, nullptr);
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/forms/track_writer.h"

namespace vantor::tools {

TrackForm SubRipForm();
// Of private data that begins with "WEBVTT", or of none: then each sample brings the identifier and the settings of its
// cue in two lines before the text.
TrackForm WebVttForm(std::string_view privateData);
// The private data: all of the script but its lines, which are sorted, so many bytes of them at a time.
inline constexpr std::size_t kMostScriptBytes = std::size_t{64} << 20;
std::optional<TrackForm> SubStationForm(std::string_view privateData, bool isAdvanced,
                                        std::size_t mostBytes = kMostScriptBytes);
// The private data: the index file's lines on size and palette. The language has three letters, or none.
std::optional<TrackForm> VobSubForm(std::string_view privateData, std::string_view language);
TrackForm PgsForm();

// What the forms that are text share.

// Of a sample of text: what stands before a zero byte, line ends as line feeds alone and none at the end.
std::string SubtitleText(std::span<const std::uint8_t> payload);
// Where a text is shown: nothing for a sample without a start. The last one of a stream may have no end: it is then
// shown for three seconds.
struct ShownTime {
  std::int64_t start = 0;
  std::int64_t stop = 0;
};
std::optional<ShownTime> ShownTimeOf(const TrackSample& sample);
// In 90,000ths of a second, as MPEG counts.
std::uint64_t MpegTime(std::int64_t hundredNanoseconds);
void AppendText(OutputBytes& out, std::string_view text);

}  // namespace vantor::tools
